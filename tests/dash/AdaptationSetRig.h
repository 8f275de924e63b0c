#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ScratchDir.h"
#include "dash/DashFactory.h"

namespace velar_test {

// The settings the adaptation-set tests run with: the video height limits are 180 to 720 lines on
// demand and 180 to 480 for a live MPD, at most 10 buffered segments (so at least 3).
inline const char* adaptationSetSettings() {
    return "<?xml version=\"1.0\"?>\n"
           "<VexaSetting><Dash>"
           "<maxBufferedSegment>10</maxBufferedSegment><maxBuffer>50</maxBuffer><Livestreaming>30</Livestreaming>"
           "<MaxResolution>720</MaxResolution><MaxResolutionLive>480</MaxResolutionLive>"
           "</Dash><Drm><DrmType>Playready</DrmType></Drm></VexaSetting>\n";
}

// A real factory whose cached settings are adaptationSetSettings() (loaded before any adaptation
// set asks, so the installed settings file is never read).
inline std::shared_ptr<dash::DashFactory> adaptationSetFactory() {
    ScratchDir dir("aset-settings");
    const std::string path = dir.write("dash_settings.xml", std::string(adaptationSetSettings()));
    auto factory = std::make_shared<dash::DashFactory>();
    EXPECT_NE(nullptr, factory->getDashConfiguration(path));
    return factory;
}

}  // namespace velar_test
