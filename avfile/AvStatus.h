#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace avfile {

// Result of IAvFile::getNextSample.
enum class AvStatus : int32_t {
    OK = 0,             // a sample was delivered
    EndOfFile = 1,      // no more samples will come (until a successful jumpToTime)
    NotEnoughData = 2,  // nothing now, more may come later: retry
};

std::string toString(const AvStatus& status);
std::ostream& operator<<(std::ostream& os, const AvStatus& status);

}  // namespace avfile
