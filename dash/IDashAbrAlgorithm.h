#pragma once

#include "dash/DashAbrAdjustment.h"
#include "dash/DashAbrData.h"

namespace dash {

// A bit-rate strategy. Called only from the thread that processes the completed segments of its
// adaptation set; no lock.
class IDashAbrAlgorithm {
public:
    virtual ~IDashAbrAlgorithm() {}
    virtual DashAbrAdjustment adjustAbr(const DashAbrData& data) = 0;
};

}  // namespace dash
