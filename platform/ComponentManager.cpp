#include "platform/ComponentManager.h"

namespace ZUNCOM {

ErrorCode ComponentManager::registerService(const char* name, ISupports* service) {
    if (name == nullptr || service == nullptr) {
        return kInvalidArgument;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mServices.emplace(name, service).second) {
        return kAlreadyExists;
    }
    return kOk;
}

ErrorCode ComponentManager::unregisterService(const char* name) {
    if (name == nullptr) {
        return kInvalidArgument;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    return mServices.erase(name) == 1 ? kOk : kNotFound;
}

ErrorCode ComponentManager::getService(const char* name, ISupports** out) {
    if (out == nullptr) {
        return kInvalidArgument;
    }
    *out = nullptr;
    if (name == nullptr) {
        return kInvalidArgument;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = mServices.find(name);
    if (it == mServices.end()) {
        return kNotFound;
    }
    *out = it->second;
    return kOk;
}

}  // namespace ZUNCOM
