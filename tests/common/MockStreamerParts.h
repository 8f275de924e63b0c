#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "avfile/AvRouter.h"
#include "tests/common/MockAvFeeder.h"
#include "tests/common/MockAvFeederFactory.h"
#include "tests/common/MockAvFile.h"
#include "tests/common/MockAvPacketBuffer.h"

namespace velar_test {

// What a streamer is built on: doubles at the edges, the real router in the middle.
// - The file has an audio track 1 ("aac") and a video track 2 ("avc1"), in that order, so that the
//   timing track is neither the first nor track 0. Each read answers `nextRead`.
// - The feeder factory makes a timing feeder for "avc1" and a plain one for "aac" (none at all
//   when `makeFeeders` is false); each fed sample calls `onFeed`.
// Calls are noted in a journal that listeners of a test may share: "seek <track> <ms>",
// "filter <n>", "discard" / "resume" (discardData true / false), and for each fed sample the
// feeder's codec and the sample's track ("avc1 2").
// Change the defaults before a worker thread starts.
class MockStreamerParts {
public:
    MockStreamerParts() {
        using ::testing::_;
        ON_CALL(*file, getTracks()).WillByDefault([] {
            return std::vector<avfile::AvTrack>{track(false), track(true)};
        });
        ON_CALL(*file, jumpToTime(_, _)).WillByDefault([this](uint32_t t, uint64_t ms) {
            note("seek " + std::to_string(t) + " " + std::to_string(ms));
            return seekAnswer();
        });
        ON_CALL(*file, setSampleFilter(_)).WillByDefault([this](avfile::AvSampleFilter f) {
            note("filter " + std::to_string(static_cast<int>(f)));
        });
        ON_CALL(*file, getNextSample(_)).WillByDefault([this](avfile::AvSample& sample) {
            ++reads;
            return nextRead(sample);
        });
        ON_CALL(*packets, discardData(_)).WillByDefault([this](bool discard) {
            note(discard ? "discard" : "resume");
        });
        ON_CALL(*feederFactory, getFeeder(_)).WillByDefault([this](const std::string& codec) {
            std::shared_ptr<MockAvFeeder> feeder;
            if (makeFeeders && (codec == "avc1" || codec == "aac")) {
                feeder = std::make_shared<::testing::NiceMock<MockAvFeeder>>();
                ON_CALL(*feeder, isTimingTrack()).WillByDefault(::testing::Return(codec == "avc1"));
                ON_CALL(*feeder, feedSample(_)).WillByDefault([this, codec](const avfile::AvSample& s) {
                    note(codec + " " + std::to_string(s.track));
                    if (onFeed) onFeed(s);
                });
            }
            return feeder;
        });
    }

    static avfile::AvTrack track(bool video) {
        avfile::AvTrack t;
        t.id = video ? 2 : 1;
        t.type = video ? avfile::AvTrackType::Video : avfile::AvTrackType::Audio;
        t.codec = video ? "avc1" : "aac";
        t.durationMs = 5000;
        return t;
    }

    // Fills `sample` as a demuxer would for a key frame at 100 ms.
    static avfile::AvStatus deliver(bool video, avfile::AvSample& sample) {
        sample.trackInfo = track(video);
        sample.track = sample.trackInfo.id;
        sample.data.assign(64, 0x22);
        sample.pts = sample.dts = 9000;
        sample.keyFrame = true;
        return avfile::AvStatus::OK;
    }

    void note(const std::string& entry) {
        std::lock_guard<std::mutex> lock(mMutex);
        mJournal.push_back(entry);
    }
    std::vector<std::string> journal() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mJournal;
    }

    template <typename T>
    using Nice = std::shared_ptr<::testing::NiceMock<T>>;
    Nice<MockAvFile> file = std::make_shared<::testing::NiceMock<MockAvFile>>();
    Nice<MockAvFeederFactory> feederFactory =
        std::make_shared<::testing::NiceMock<MockAvFeederFactory>>();
    std::shared_ptr<avfile::AvRouter> router = std::make_shared<avfile::AvRouter>(feederFactory);
    Nice<MockAvPacketBuffer> packets = std::make_shared<::testing::NiceMock<MockAvPacketBuffer>>();

    bool makeFeeders = true;
    std::function<bool()> seekAnswer = [] { return true; };  // may throw
    std::function<avfile::AvStatus(avfile::AvSample&)> nextRead = [](avfile::AvSample& s) {
        return deliver(true, s);
    };
    std::function<void(const avfile::AvSample&)> onFeed;  // may throw
    std::atomic<int> reads{0};

private:
    mutable std::mutex mMutex;
    std::vector<std::string> mJournal;
};

}  // namespace velar_test
