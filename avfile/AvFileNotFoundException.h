#pragma once

#include "avfile/AvBaseException.h"

namespace avfile {

// The source does not exist or cannot be reached. Code 6.
class AvFileNotFoundException : public AvBaseException {
public:
    explicit AvFileNotFoundException(const std::string& message) : AvBaseException(message) {}
    int getErrorCode() const override { return 6; }
};

}  // namespace avfile
