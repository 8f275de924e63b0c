#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "avfile/AvTrackType.h"
#include "avfile/IAvCodecData.h"

namespace avfile {

// Description of one track; a value type. Copies share (do not clone) the codec data object.
// Members 6 to 11 are filled only for DASH tracks, from the DASH capability record.
struct AvTrack {
    uint32_t id = 0;                          // index of the track in its file (FFmpeg: stream index)
    AvTrackType type = AvTrackType::Unknown;
    std::string codec;                        // "avc1", "aac" or empty
    uint64_t durationMs = 0;                  // milliseconds
    std::shared_ptr<IAvCodecData> codecData;  // empty when the factory had nothing for the codec
    std::vector<int32_t> intList;             // DASH video: available bandwidths, bits per second
    std::vector<std::string> stringList;      // DASH audio: available languages
    std::vector<std::string> stringList2;     // kept and copied; filled by no file kind yet
    int32_t intValue = 0;                     // DASH video: current bandwidth, bits per second
    std::string stringValue;                  // DASH audio: current language
    std::string stringValue2;                 // kept and copied; filled by no file kind yet

    std::string toString() const;
};

// "track:<id> type:<type text> codec:<codec> durationMs:<ms>"
std::ostream& operator<<(std::ostream& os, const AvTrack& track);

}  // namespace avfile
