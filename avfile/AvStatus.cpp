#include "avfile/AvStatus.h"

namespace avfile {

std::string toString(const AvStatus& status) {
    switch (status) {
        case AvStatus::OK:
            return "OK";
        case AvStatus::EndOfFile:
            return "EndOfFile";
        case AvStatus::NotEnoughData:
            return "NotEnoughData";
        default:
            return "Unknown";
    }
}

std::ostream& operator<<(std::ostream& os, const AvStatus& status) {
    return os << toString(status);
}

}  // namespace avfile
