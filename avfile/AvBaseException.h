#pragma once

#include <stdexcept>
#include <string>

namespace avfile {

// Base of the file layer's exceptions. Codes are fixed values callers may compare against:
// AvBaseException 0, AvParseErrorException 3, AvFileNotFoundException 6.
class AvBaseException : public std::runtime_error {
public:
    explicit AvBaseException(const std::string& message) : std::runtime_error(message) {}
    virtual int getErrorCode() const { return 0; }
};

}  // namespace avfile
