#pragma once

#include <memory>
#include <string>

#include "avfile/IAvFeederFactory.h"
#include "avfile/IAvPacketBuffer.h"

namespace avfile {

// Makes the feeder for a track from its codec name: "avc1" gives an H264Feeder, "aac" an
// AacFeeder, each over a PES buffer of its own on top of the one shared packet buffer. Any other
// name (compared case-sensitively) gives an empty pointer without a message.
//
// Never throws: a failure while making a feeder is logged ("end, Failed to parse %s") and gives
// an empty pointer. Holds no mutable state; called by the router on the host's thread at the first
// positioning.
class AvFeederFactory : public IAvFeederFactory {
public:
    // Throws std::invalid_argument for an empty packet buffer.
    explicit AvFeederFactory(std::shared_ptr<IAvPacketBuffer> packetBuffer);
    ~AvFeederFactory() override;

    std::shared_ptr<IAvFeeder> getFeeder(const std::string& codec) override;

private:
    std::shared_ptr<IAvPacketBuffer> mPacketBuffer;
};

}  // namespace avfile
