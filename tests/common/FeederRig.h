#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "avfile/AvPacketBuffer.h"
#include "avfile/AvPesBuffer.h"
#include "avfile/AvSample.h"
#include "avfile/IAvFeeder.h"
#include "tests/common/LogCapture.h"
#include "tests/common/RecordingPesRing.h"

namespace velar_test {

// Fixture of the feeder tests: a feeder's real way down to a host ring (PES buffer, packet
// buffer, ContigMemBuffer) and a sample at PTS 90000, DTS 87000.
class FeederRig : public ::testing::Test {
protected:
    FeederRig() {
        sample.pts = 90000;
        sample.dts = 87000;
    }

    // Feeds `sample`, expecting the refusal `what` after the one log line `logged` and nothing
    // more in the ring.
    void expectRefusal(avfile::IAvFeeder& feeder, const std::string& what,
                       const std::string& logged) {
        LogCapture log;
        const uint64_t written = ring.buffer->totalWritten();
        try {
            feeder.feedSample(sample);
            ADD_FAILURE() << "fed, expected " << what;
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(what, e.what());
        }
        EXPECT_EQ(std::vector<std::string>{logged}, log.messages());
        EXPECT_EQ(written, ring.buffer->totalWritten());
    }

    RecordingPesRing ring;
    std::shared_ptr<avfile::AvPesBuffer> pes = std::make_shared<avfile::AvPesBuffer>(
        std::make_shared<avfile::AvPacketBuffer>(ring.buffer));
    avfile::AvSample sample;
};

}  // namespace velar_test
