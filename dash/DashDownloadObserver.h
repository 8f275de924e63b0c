#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "dash/IDashDownloadObserver.h"

namespace dash {

class IDashAdaptationSet;

// Times the segment downloads of one adaptation set and keeps the last rates for the bit-rate
// strategies; tells the set when a segment finished, successfully or not.
//
// Measurement: IN_PROGRESS takes the start time (steady clock) unless a segment is already being
// timed; COMPLETED stores the elapsed whole milliseconds as the last download time and, when that
// is above 0, the rate (bytes / ms) x 8000 in bits per second, kept in its low 32 bits, appended to
// a history of the last 5 rates. The byte count is the last one OnDownloadRateChanged reported.
// A new observer counts as already timing a segment, so its first measurement runs from the
// steady clock's zero (a very long time, so a very low rate); this head start is intended.
// ERROR logs "Download error, acting as if it is completed", ends the timing without a measurement
// and tells the set exactly as COMPLETED does. The other states are only recorded.
//
// Ownership: the owner is not owned and may be null (then nobody is told; used by tests and
// tools that only measure). It must outlive every transfer the observer is attached to.
//
// Threads: OnDownloadRateChanged / OnDownloadStateChanged come from the transfer thread; the
// transfers of one observer must not overlap (the adaptation set runs one download at a time).
// The getters may be called from any thread without a lock: every value they read is atomic, so a
// reader sees either the previous or the new figures of a segment, never a torn value; the history
// may mix the two while a segment completes.
class DashDownloadObserver : public IDashDownloadObserver {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr size_t kHistorySize = 5;

    explicit DashDownloadObserver(const IDashAdaptationSet* owner);
    // The same with another time source (tests); `clock` must be callable from the transfer thread.
    DashDownloadObserver(const IDashAdaptationSet* owner, Clock clock);

    // Bytes received so far by the current transfer.
    void OnDownloadRateChanged(uint64_t bytes) override;
    void OnDownloadStateChanged(dash::network::DownloadState state) override;

    dash::network::DownloadState getState() const override { return mState.load(); }
    int32_t getLastDownloadRate() const override { return mLastDownloadRate.load(); }  // bits per second
    int32_t getLastDownloadTime() const override { return mLastDownloadTime.load(); }  // ms
    // Mean of the history truncated toward zero; 0 when it is empty.
    int32_t getAverageHistoricDownloadRate() const override;

    // The history, oldest first (at most kHistorySize rates, bits per second).
    std::vector<int32_t> getDownloadRateHistory() const;

private:
    void completeSegment();

    std::atomic<dash::network::DownloadState> mState{dash::network::NOT_STARTED};
    const IDashAdaptationSet* mOwner;
    Clock mClock;
    std::atomic<int32_t> mLastDownloadRate{0};
    std::atomic<int32_t> mLastDownloadTime{0};
    std::atomic<uint64_t> mDownloadBytes{0};
    std::chrono::steady_clock::time_point mStartTime{};  // transfer thread only
    std::array<std::atomic<int32_t>, kHistorySize> mHistory{};  // ring, slot = index % kHistorySize
    std::atomic<uint64_t> mHistoryAppended{0};                  // rates appended so far
    bool mIsSegmentDownloadInprogress = true;                   // transfer thread only
};

}  // namespace dash
