#pragma once

#include "platform/ZUNCOM.h"

// The library's entry points, exported unmangled for the host's component framework, which finds
// them with dlsym after loading libvelar.so.

extern "C" {

// Stores `mgr` as the library's component manager, registers the services and returns 0 whatever
// the registration answered.
__attribute__((visibility("default"))) ZUNCOM::ErrorCode ZUNCOM_LibraryEntry(
    ZUNCOM::IComponentManager* mgr);

// Registers Mp4Service::getInstance() under "Mp4Service" with `mgr`; returns the manager's answer
// (ZUNCOM::kInvalidArgument for a null manager, after a log line).
__attribute__((visibility("default"))) ZUNCOM::ErrorCode ZUNCOM_RegisterServices(
    ZUNCOM::IComponentManager* mgr);

}  // extern "C"

namespace ZUNCOM {

// The manager stored by ZUNCOM_LibraryEntry; null (and a level 1 log line) when none was stored.
// Any thread may call it.
__attribute__((visibility("default"))) IComponentManager* getComponentManager();

}  // namespace ZUNCOM
