#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "manifest/mpd/IMPD.h"
#include "manifest/mpd/MPDParser.h"

namespace velar_test {

// Parses an MPD written in a test as if it had been fetched from `url` at `fetchTime` (epoch
// seconds). Fails the test (and returns null) when the manifest library refuses the text.
inline std::shared_ptr<dash::mpd::IMPD> parseMpd(const std::string& xml,
                                                 const std::string& url = "http://127.0.0.1/media/manifest.mpd",
                                                 uint32_t fetchTime = 1700000000) {
    std::shared_ptr<dash::mpd::IMPD> mpd = dash::mpd::MPDParser::Parse(xml.data(), xml.size(), url, fetchTime);
    EXPECT_NE(mpd, nullptr) << "the manifest library refused:\n" << xml;
    return mpd;
}

}  // namespace velar_test
