#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "manifest/network/IDownloadObserver.h"

namespace velar_test {

// An IDownloadObserver that records every call in order (thread-safe), for tests of downloads.
class DownloadRecorder : public dash::network::IDownloadObserver {
public:
    struct Event {
        bool isState;  // OnDownloadStateChanged, else OnDownloadRateChanged
        dash::network::DownloadState state;
        uint64_t bytes;
    };

    void OnDownloadRateChanged(uint64_t bytesDownloaded) override { add({false, dash::network::NOT_STARTED, bytesDownloaded}); }
    void OnDownloadStateChanged(dash::network::DownloadState state) override { add({true, state, 0}); }

    std::vector<Event> events() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEvents;
    }
    std::vector<dash::network::DownloadState> states() const {
        std::vector<dash::network::DownloadState> out;
        for (const Event& e : events()) if (e.isState) out.push_back(e.state);
        return out;
    }
    // Byte counts reported so far, in order.
    std::vector<uint64_t> counts() const {
        std::vector<uint64_t> out;
        for (const Event& e : events()) if (!e.isState) out.push_back(e.bytes);
        return out;
    }
    uint64_t lastCount() const {
        const auto c = counts();
        return c.empty() ? 0 : c.back();
    }

private:
    void add(const Event& e) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEvents.push_back(e);
    }
    mutable std::mutex mMutex;
    std::vector<Event> mEvents;
};

}  // namespace velar_test
