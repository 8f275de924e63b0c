#include "velar/LibraryEntry.h"

#include <atomic>

#include "platform/zun_log.h"
#include "velar/Mp4Service.h"

ZUN_LOG_SOURCE("velar/LibraryEntry")

namespace {
// The library-wide component manager, stored by ZUNCOM_LibraryEntry.
std::atomic<ZUNCOM::IComponentManager*> gComponentManager{nullptr};
}  // namespace

extern "C" ZUNCOM::ErrorCode ZUNCOM_LibraryEntry(ZUNCOM::IComponentManager* mgr) {
    gComponentManager.store(mgr);
    ZUNCOM_RegisterServices(mgr);
    return 0;
}

extern "C" ZUNCOM::ErrorCode ZUNCOM_RegisterServices(ZUNCOM::IComponentManager* mgr) {
    ZUN_LOG(0, "Registering  Mp4Service...\tmgr=%p", static_cast<void*>(mgr));
    if (mgr == nullptr) {
        ZUN_LOG(0, "end, No component manager to register Mp4Service with");
        return ZUNCOM::kInvalidArgument;
    }
    return mgr->registerService("Mp4Service", velar::Mp4Service::getInstance());
}

namespace ZUNCOM {

IComponentManager* getComponentManager() {
    IComponentManager* mgr = gComponentManager.load();
    if (mgr == nullptr) {
        ZUN_LOG(1, "Failed, no ComponentManager.  You must call setComponentManager in RegisterService");
    }
    return mgr;
}

}  // namespace ZUNCOM
