#include "tools/LibraryLoader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#ifndef VELAR_LIBRARY_DIR
#define VELAR_LIBRARY_DIR ""
#endif

namespace velar_play {

namespace {

typedef ZUNCOM::ErrorCode (*LibraryEntry)(ZUNCOM::IComponentManager*);

const char* const kLibraryName = "libvelar.so";
const char* const kServiceName = "Mp4Service";
const char* const kInterfaceName = "IMp4Service";

std::string lastDlError() {
    const char* text = dlerror();
    return text != nullptr ? text : "unknown error";
}

}  // namespace

void* LibraryLoader::open() {
    const char* fromEnv = std::getenv("VELAR_LIBRARY");
    if (fromEnv != nullptr && *fromEnv != '\0') {
        mPath = fromEnv;
        void* handle = dlopen(mPath.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            throw std::runtime_error("cannot load the library named by VELAR_LIBRARY: " +
                                     lastDlError());
        }
        return handle;
    }

    std::string beside = std::string(VELAR_LIBRARY_DIR) + "/" + kLibraryName;
    if (VELAR_LIBRARY_DIR[0] != '\0' && access(beside.c_str(), F_OK) == 0) {
        mPath = beside;
        void* handle = dlopen(mPath.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            throw std::runtime_error("cannot load " + mPath + ": " + lastDlError());
        }
        return handle;
    }

    mPath = kLibraryName;
    void* handle = dlopen(kLibraryName, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        throw std::runtime_error(std::string("cannot load ") + kLibraryName + " (set VELAR_LIBRARY "
                                 "to its path): " + lastDlError());
    }
    return handle;
}

velar::IMp4Service* LibraryLoader::load(ZUNCOM::IComponentManager& manager) {
    mHandle = open();

    dlerror();
    void* symbol = dlsym(mHandle, "ZUNCOM_LibraryEntry");
    if (symbol == nullptr) {
        throw std::runtime_error(mPath + " has no entry point ZUNCOM_LibraryEntry: " +
                                 lastDlError());
    }
    LibraryEntry entry = reinterpret_cast<LibraryEntry>(symbol);
    ZUNCOM::ErrorCode result = entry(&manager);
    if (result != ZUNCOM::kOk) {
        throw std::runtime_error(mPath + ": ZUNCOM_LibraryEntry failed with code " +
                                 std::to_string(result));
    }

    ZUNCOM::ISupports* service = nullptr;
    if (manager.getService(kServiceName, &service) != ZUNCOM::kOk || service == nullptr) {
        throw std::runtime_error(mPath + " registered no service \"" + kServiceName + "\"");
    }
    void* object = nullptr;
    if (service->QueryInterface(ZUNCOM::ComId(kInterfaceName), &object) != ZUNCOM::kOk ||
        object == nullptr) {
        throw std::runtime_error(std::string("service \"") + kServiceName +
                                 "\" does not implement " + kInterfaceName);
    }
    // The reference QueryInterface added stays with us for the life of the process: releasing it
    // would bring the service's count back to 0 and make it delete its own static instance.
    return static_cast<velar::IMp4Service*>(object);
}

}  // namespace velar_play
