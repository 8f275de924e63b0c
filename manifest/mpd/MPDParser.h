#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "manifest/mpd/MPD.h"

namespace dash {
namespace mpd {

// Builds the MPD model from the text of a document (ISO/IEC 23009-1 5.3).
//
// Decisions:
// - Element and attribute names are matched by local name whatever their namespace (or lack of
//   one, or an undeclared prefix), so documents under the 2011 namespace, with the namespace
//   spelled in other case, or without any namespace all read the same. MPD attributes are read
//   only when written without prefix; prefixed (vendor) attributes are ignored, except on
//   descriptors, which keep every attribute.
// - Unknown elements and attributes are skipped.
// - A document larger than kMaxDocumentBytes, text that is not well-formed XML, or a root element
//   other than MPD gives null and a log line. Missing required attributes do not: the element is
//   kept with the defaults (empty text, 0, and the schema defaults timescale 1, startNumber 1,
//   type "static").
// - Numbers are read with saturation (NumberParser): overflowing values become the largest value
//   of the type; negative or non-numeric values of unsigned attributes are ignored with a log
//   line, and so is timescale="0" (it would divide by zero).
// - An S element without a positive @d is dropped with a log line; @r below -1 reads 0.
// - SegmentBase, SegmentList and SegmentTemplate inherit what they leave out from the element of
//   the same kind at the enclosing AdaptationSet and Period (5.3.9.1); a level without its own
//   element reports none (callers do their own lookup up the tree).
// Stateless; several threads may parse at once.
class MPDParser {
public:
    static constexpr size_t kMaxDocumentBytes = 16 * 1024 * 1024;

    // `documentUrl` is the absolute URL the text came from (relative URLs resolve against it);
    // `fetchTime` is the epoch second it was fetched.
    static std::shared_ptr<MPD> Parse(const char* data, size_t size, const std::string& documentUrl,
                                      uint32_t fetchTime);
};

}  // namespace mpd
}  // namespace dash
