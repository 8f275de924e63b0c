#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/ZUNCOM.h"

namespace ZUNCOM {

// The host's component manager: a thread-safe name-to-service table. Any thread may call it.
// Services are held as plain pointers (see IComponentManager).
class ComponentManager : public IComponentManager {
public:
    ComponentManager() = default;
    ~ComponentManager() override = default;
    ComponentManager(const ComponentManager&) = delete;
    ComponentManager& operator=(const ComponentManager&) = delete;

    ErrorCode registerService(const char* name, ISupports* service) override;
    ErrorCode unregisterService(const char* name) override;
    ErrorCode getService(const char* name, ISupports** out) override;

private:
    std::mutex mMutex;
    std::map<std::string, ISupports*> mServices;
};

}  // namespace ZUNCOM
