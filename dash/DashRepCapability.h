#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dash/DashContentProtection.h"

namespace dash {

// What a host may know about one adaptation set of a DASH presentation: the choices it offers and
// the choice in force. One entry of DashCapability, filled by the downloader's getCapability().
//
// The file layer copies, for the video entry, `bandwidths` and `currentBandwidth` into an AvTrack's
// integer list and integer, and for the audio entry `languages` and `currentLanguage` into its
// string list and string: a host shows the bit rates it may be playing and the languages it may
// ask for, and which one it is on. The file layer also reads `endOfSegments` to end a track at the
// natural end of an on-demand presentation (the session status stays READY there). The remaining
// fields are for statistics (velar-play --stats) and for the host's DRM client.
//
// Units: milliseconds on the presentation time line, bits per second, lines. A plain record.
struct DashRepCapability {
    std::string mimeType;  // the adaptation set's MIME type ("video/mp4", "audio/mp4")
    // On demand: the presentation's duration as the current representation reckons it. Live: the
    // end of the last segment now available (the live edge), which grows with each MPD refresh.
    uint64_t durationMs = 0;
    uint64_t earliestPositionMs = 0;       // start of the first segment still available
    std::vector<int32_t> bandwidths;       // every representation, in the set's order (bits/s)
    int32_t currentBandwidth = 0;          // the current representation's (bits/s)
    std::vector<std::string> languages;    // distinct languages of the representations, first seen first
    std::string currentLanguage;           // the current representation's language
    std::string currentRepresentationId;   // Representation@id of the current one
    uint32_t currentHeight = 0;            // its @height (lines), 0 when absent
    // The set has nothing in flight and its position has run off the end (backwards: the start)
    // of an on-demand presentation: once its queue is empty, nothing more will come. Read before
    // bufferedSegments, so that true together with 0 buffered is final. Never set for live.
    bool endOfSegments = false;
    uint32_t bufferedSegments = 0;         // segments queued and not yet taken
    int32_t lastDownloadRate = 0;          // rate of the last finished segment download (bits/s)
    // The representation of the segment the streaming side took last, i.e. the one being played;
    // it follows the current one after the segments queued before a switch. 0 and empty before
    // the first segment is taken.
    int32_t playingBandwidth = 0;          // bits/s
    std::string playingRepresentationId;
    std::vector<DashContentProtection> contentProtections;
};

}  // namespace dash
