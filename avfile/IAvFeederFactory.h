#pragma once

#include <memory>
#include <string>

#include "avfile/IAvFeeder.h"

namespace avfile {

// Makes the feeder for a codec name ("avc1", "aac"); empty pointer for anything else. Never throws.
class IAvFeederFactory {
public:
    virtual ~IAvFeederFactory() {}
    virtual std::shared_ptr<IAvFeeder> getFeeder(const std::string& codec) = 0;
};

}  // namespace avfile
