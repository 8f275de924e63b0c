#include "avfile/AvFeederFactory.h"

#include <stdexcept>
#include <utility>

#include "avfile/AacFeeder.h"
#include "avfile/AvPesBuffer.h"
#include "avfile/H264Feeder.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvFeederFactory")

namespace avfile {

AvFeederFactory::AvFeederFactory(std::shared_ptr<IAvPacketBuffer> packetBuffer)
    : mPacketBuffer(std::move(packetBuffer)) {
    if (!mPacketBuffer) {
        throw std::invalid_argument("AvFeederFactory needs a packet buffer");
    }
}

AvFeederFactory::~AvFeederFactory() {}

std::shared_ptr<IAvFeeder> AvFeederFactory::getFeeder(const std::string& codec) {
    try {
        if (codec == H264Feeder::mCodec) {
            auto pesBuffer = std::make_shared<AvPesBuffer>(mPacketBuffer);
            ZUN_LOG(0, "pesBuffer %p", static_cast<void*>(pesBuffer.get()));
            return std::make_shared<H264Feeder>(pesBuffer);
        }
        if (codec == AacFeeder::mCodec) {
            auto pesBuffer = std::make_shared<AvPesBuffer>(mPacketBuffer);
            return std::make_shared<AacFeeder>(pesBuffer);
        }
    } catch (...) {
        ZUN_LOG(0, "end, Failed to parse %s", codec.c_str());
    }
    return nullptr;
}

}  // namespace avfile
