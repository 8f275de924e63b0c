#pragma once

#include <cstdint>

#include "manifest/network/IDownloadObserver.h"

namespace dash {

// Watches the segment downloads of one adaptation set: times each one, keeps a short history of
// rates (bits per second) for the bit-rate strategies and tells the set when a segment finished.
// The manifest library calls the two On... operations from its download thread; the getters are
// read unlocked from the segment-processing thread (a rate may lag one segment).
class IDashDownloadObserver : public dash::network::IDownloadObserver {
public:
    virtual dash::network::DownloadState getState() const = 0;
    virtual int32_t getLastDownloadRate() const = 0;             // bits per second
    virtual int32_t getLastDownloadTime() const = 0;             // ms
    virtual int32_t getAverageHistoricDownloadRate() const = 0;  // bits per second
};

}  // namespace dash
