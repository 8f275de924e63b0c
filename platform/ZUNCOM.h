// The host's component framework: the root interface every service implements, interface
// identifiers, error codes and the component manager through which a host finds services.
//
// On a device the host provides these in its common library; this project's copy is what the
// tests and the velar-play tool use.
#pragma once

#include <cstdint>
#include <cstring>

namespace ZUNCOM {

// Result of framework calls. 0 is success; the other values are this framework's own.
typedef int32_t ErrorCode;

const ErrorCode kOk = 0;
const ErrorCode kNoInterface = 1;      // QueryInterface: the object does not implement the id
const ErrorCode kNotFound = 2;         // no service registered under the name
const ErrorCode kAlreadyExists = 3;    // a service of that name is registered already
const ErrorCode kInvalidArgument = 4;  // null name or null object

// An interface identifier. Two ComIds are equal when their names are equal as C strings,
// whatever the addresses of the texts. The ComId does not own its text: the text must outlive it
// (string literals in practice).
class ComId {
public:
    explicit ComId(const char* name) : mName(name) {}
    const char* getName() const { return mName; }
    bool operator==(const ComId& other) const {
        if (mName == nullptr || other.mName == nullptr) {
            return mName == other.mName;
        }
        return std::strcmp(mName, other.mName) == 0;
    }
    bool operator!=(const ComId& other) const { return !(*this == other); }

private:
    const char* mName;
};

// Root interface of every component. Virtual slots in this order: AddRef, Release,
// QueryInterface, destructor.
class ISupports {
public:
    virtual int32_t AddRef() = 0;
    virtual int32_t Release() = 0;
    // On success stores the object's address for the interface in *out and returns kOk; otherwise
    // stores null and returns kNoInterface.
    virtual ErrorCode QueryInterface(ComId id, void** out) = 0;
    virtual ~ISupports() {}
};

// Registry of named services. It does not take references on what it holds (no AddRef or
// Release): a registered service must outlive its registration.
class IComponentManager {
public:
    virtual ~IComponentManager() {}
    virtual ErrorCode registerService(const char* name, ISupports* service) = 0;
    virtual ErrorCode unregisterService(const char* name) = 0;
    // Stores the service registered under `name` in *out (null when none) and returns kOk or
    // kNotFound.
    virtual ErrorCode getService(const char* name, ISupports** out) = 0;
};

}  // namespace ZUNCOM
