#pragma once

#include <memory>

#include "dash/IDashFactory.h"

namespace dash {

// Holds the process's one DASH factory. Made on first use and never destroyed, so that a
// downloader thread still running at process exit never reaches a destroyed factory.
class DashFactoryBuilder {
public:
    static DashFactoryBuilder* getInstance();
    std::shared_ptr<IDashFactory> getDashFactory() const { return mFactory; }

private:
    DashFactoryBuilder();
    std::shared_ptr<IDashFactory> mFactory;
};

}  // namespace dash
