#pragma once

namespace avfile {

// Checked codec-private data of a track (H264AvcData, AacData). Made once when the track is opened
// and shared by every sample of the track; users find the concrete type by dynamic_cast.
class IAvCodecData {
public:
    virtual ~IAvCodecData() {}
};

}  // namespace avfile
