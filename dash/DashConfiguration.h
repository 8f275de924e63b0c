#pragma once

#include <string>

#include "dash/IDashConfiguration.h"

class TiXmlNode;

namespace dash {

// The DASH client's tuning with its built-in defaults, filled from the settings file:
//
//   <VexaSetting>
//     <Dash>                         first child element, name exactly "Dash"
//       <maxBufferedSegment>10</maxBufferedSegment>     segments per adaptation set
//       <maxBuffer>50</maxBuffer>
//       <Livestreaming>30</Livestreaming>
//       <MaxResolution>1080</MaxResolution>             video height on demand, lines
//       <MaxResolutionLive>720</MaxResolutionLive>      video height for live content, lines
//     </Dash>
//     <Drm>                          the element after the first one, name any case
//       <DrmType>Playready</DrmType>
//     </Drm>
//   </VexaSetting>
//
// Setting names are compared without regard to case; "VexaSetting" and "Dash" must match exactly.
// Comments and text between elements are skipped. init() only logs what it cannot use and keeps the
// defaults (or earlier values) for it; it never throws. Loading the file from a path, caching the
// object and refusing unreadable or malformed files belong to the factory
// (IDashFactory::getDashConfiguration), which calls init() on the loaded document.
//
// Threads: written only by the constructor and init() before the object is shared; afterwards read
// without a lock from the controlling and the downloader threads.
//
// Decisions:
// - Numbers are read like atoi (leading blanks, an optional sign, then digits; anything else ends
//   the number, no digits give 0), but a value beyond the int range saturates at INT_MIN / INT_MAX
//   instead of being undefined.
// - A maxBufferedSegment below 3 is reported but kept as it is: the warning is the only effect.
// - A null node given to init() is treated as a document without "VexaSetting".
class DashConfiguration : public IDashConfiguration {
public:
    // Where hosts install the settings file.
    static constexpr const char* kSettingsPath = "/opt/velar/dash_settings.xml";

    // The settings file to load: the value of the environment variable VELAR_DASH_SETTINGS when it
    // is set and not empty (a host or a test points the library at another file with it), else
    // kSettingsPath. The environment is read on every call.
    static std::string settingsPath();

    // A null pointer or an empty text gives 0; otherwise the leading number as atoi reads it
    // (saturated to the int range, see above).
    static int convertStringToIntValue(const char* text);

    DashConfiguration();

    // Applies the values of a loaded settings document (see above). Never throws.
    void init(TiXmlNode* document);

    void setMaxBufferedSegment(int value) override { mMaxBufferedSegment = value; }
    int getMaxBufferedSegment() const override { return mMaxBufferedSegment; }
    // ceil(max buffered segments x 0.25) in single precision: 10 -> 3, 3 -> 1, 13 -> 4.
    int getMinBufferedSegment() const override;
    void setMaxBuffer(int value) override { mMaxBuffer = value; }
    int getMaxBufferSize() const override { return mMaxBuffer; }
    void setLivePlaybackBuffer(int value) override { mLivePlaybackBuffer = value; }
    int getLivePlaybackBuffer() const override { return mLivePlaybackBuffer; }
    void setMaxResolutionLive(int value) override { mMaxResolutionLive = value; }
    int getMaxResolutionLive() const override { return mMaxResolutionLive; }
    int getMinResolutionLive() const override { return kMinResolution; }
    void setMaxResolution(int value) override { mMaxResolution = value; }
    int getMaxResolution() const override { return mMaxResolution; }
    int getMinResolution() const override { return kMinResolution; }
    void setDrmType(const std::string& value) override { mDrmType = value; }
    std::string getDrmType() const override { return mDrmType; }

private:
    static constexpr int kMinResolution = 180;  // lines, live and on demand

    int mMaxBufferedSegment;
    int mMaxBuffer;
    int mLivePlaybackBuffer;
    int mMaxResolutionLive;
    int mMaxResolution;
    std::string mDrmType;
};

}  // namespace dash
