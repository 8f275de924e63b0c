#include "dash/DashDownloadObserver.h"

#include <cstdint>
#include <utility>

#include "dash/IDashAdaptationSet.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashDownloadObserver")

namespace dash {

DashDownloadObserver::DashDownloadObserver(const IDashAdaptationSet* owner)
    : DashDownloadObserver(owner, [] { return std::chrono::steady_clock::now(); }) {}

DashDownloadObserver::DashDownloadObserver(const IDashAdaptationSet* owner, Clock clock)
    : mOwner(owner), mClock(std::move(clock)) {}

void DashDownloadObserver::OnDownloadRateChanged(uint64_t bytes) {
    mDownloadBytes.store(bytes);
}

void DashDownloadObserver::OnDownloadStateChanged(dash::network::DownloadState state) {
    mState.store(state);
    switch (state) {
        case dash::network::IN_PROGRESS:
            if (!mIsSegmentDownloadInprogress) {
                mStartTime = mClock();
                mIsSegmentDownloadInprogress = true;
            }
            break;
        case dash::network::COMPLETED:
            completeSegment();
            if (mOwner != nullptr) {
                mOwner->handleCompleteSegment();
            }
            break;
        case dash::network::ERROR:
            ZUN_LOG(0, "Download error, acting as if it is completed");
            mIsSegmentDownloadInprogress = false;
            if (mOwner != nullptr) {
                mOwner->handleCompleteSegment();
            }
            break;
        default:
            break;
    }
}

void DashDownloadObserver::completeSegment() {
    if (!mIsSegmentDownloadInprogress) {
        return;
    }
    const int64_t elapsedNs = std::chrono::duration_cast<std::chrono::nanoseconds>(mClock() - mStartTime).count();
    const int32_t elapsedMs = static_cast<int32_t>(elapsedNs / 1000000);
    mLastDownloadTime.store(elapsedMs);
    if (elapsedMs > 0) {
        // Unsigned arithmetic: a rate beyond 32 bits keeps its low 32 bits.
        const uint64_t rate = (mDownloadBytes.load() / static_cast<uint64_t>(elapsedMs)) * 8000u;
        const int32_t kept = static_cast<int32_t>(static_cast<uint32_t>(rate));
        mLastDownloadRate.store(kept);
        const uint64_t index = mHistoryAppended.load();
        mHistory[index % kHistorySize].store(kept);
        mHistoryAppended.store(index + 1);
    }
    mIsSegmentDownloadInprogress = false;
}

std::vector<int32_t> DashDownloadObserver::getDownloadRateHistory() const {
    const uint64_t appended = mHistoryAppended.load();
    const uint64_t first = appended > kHistorySize ? appended - kHistorySize : 0;
    std::vector<int32_t> rates;
    for (uint64_t i = first; i < appended; ++i) {
        rates.push_back(mHistory[i % kHistorySize].load());
    }
    return rates;
}

int32_t DashDownloadObserver::getAverageHistoricDownloadRate() const {
    const std::vector<int32_t> rates = getDownloadRateHistory();
    if (rates.empty()) {
        return 0;
    }
    double sum = 0;
    for (int32_t rate : rates) {
        sum += rate;
    }
    const double average = sum / static_cast<double>(rates.size());
    if (average >= static_cast<double>(INT32_MAX)) {
        return INT32_MAX;
    }
    if (average <= static_cast<double>(INT32_MIN)) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(average);
}

}  // namespace dash
