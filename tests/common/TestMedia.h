#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "avfile/AvBaseException.h"
#include "avfile/IAvFile.h"

namespace velar_test {

// Path of a generated test clip (see tests/data/README.md for the list), for example
// testMedia("high_bframes.mp4").
//
// The first call in a process runs tests/data/make-media.sh into VELAR_TEST_WORK_DIR "/media",
// holding an exclusive flock on a lock file there, so that test processes started in parallel
// make the media once and never see half-written files. The script is quick when the clips exist.
// Throws std::runtime_error when the script fails or the named clip does not exist.
std::string testMedia(const std::string& name);

// Reads a whole file; throws std::runtime_error when it cannot be read.
std::vector<unsigned char> readFileBytes(const std::string& path);

// Reads samples until the status is not OK (at most `limit`); `last` receives that status.
inline std::vector<avfile::AvSample> readSamples(avfile::IAvFile& file, avfile::AvStatus& last,
                                                 size_t limit = 20000) {
    std::vector<avfile::AvSample> samples;
    avfile::AvSample sample;
    last = avfile::AvStatus::OK;
    while (samples.size() < limit && (last = file.getNextSample(sample)) == avfile::AvStatus::OK) {
        samples.push_back(sample);
    }
    return samples;
}

// Expects two runs of samples to agree in every field but the track description.
inline void expectSameSamples(const std::vector<avfile::AvSample>& expected,
                              const std::vector<avfile::AvSample>& got) {
    ASSERT_EQ(expected.size(), got.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const avfile::AvSample& e = expected[i];
        const avfile::AvSample& g = got[i];
        EXPECT_EQ(std::tie(e.track, e.dts, e.pts, e.keyFrame, e.firstSample, e.data),
                  std::tie(g.track, g.dts, g.pts, g.keyFrame, g.firstSample, g.data))
            << "sample " << i;
    }
}

// What `open` threw: the file layer's code (AvBaseException::getErrorCode), -1 for any other
// std::exception, -2 when nothing was thrown; and the exception's text.
inline std::pair<int, std::string> failureOf(const std::function<void()>& open) {
    try {
        open();
    } catch (const avfile::AvBaseException& e) {
        return {e.getErrorCode(), e.what()};
    } catch (const std::exception& e) {
        return {-1, e.what()};
    }
    return {-2, ""};
}

}  // namespace velar_test
