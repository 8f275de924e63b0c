#include "dash/DashFactoryBuilder.h"

#include "dash/DashFactory.h"

namespace dash {

DashFactoryBuilder::DashFactoryBuilder() : mFactory(std::make_shared<DashFactory>()) {}

DashFactoryBuilder* DashFactoryBuilder::getInstance() {
    static DashFactoryBuilder* const instance = new DashFactoryBuilder();
    return instance;
}

}  // namespace dash
