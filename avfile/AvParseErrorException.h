#pragma once

#include "avfile/AvBaseException.h"

namespace avfile {

// The content could not be parsed (the demuxer refused it, a DASH MPD was invalid). Code 3.
class AvParseErrorException : public AvBaseException {
public:
    explicit AvParseErrorException(const std::string& message) : AvBaseException(message) {}
    int getErrorCode() const override { return 3; }
};

}  // namespace avfile
