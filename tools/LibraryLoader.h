// Loads libvelar.so at run time and reaches its service the way a host does: dlopen, the
// unmangled entry ZUNCOM_LibraryEntry with the host's component manager, the service registered
// as "Mp4Service", then QueryInterface for "IMp4Service". velar-play links no symbol of the
// library: everything after the entry point goes through virtual calls.
//
// Where the library is looked for, first hit wins:
//   1. the path in the environment variable VELAR_LIBRARY (a missing file there is an error);
//   2. libvelar.so in the build folder velar-play was built beside (VELAR_LIBRARY_DIR);
//   3. "libvelar.so" through the loader's default search path (LD_LIBRARY_PATH, ld.so.cache).
//
// Ownership: the library is never closed (the service is a static of the library and its
// streamer threads run code from it until the process ends). The IMp4Service reference that
// QueryInterface added is kept and never released: the service counts from 0 and deletes itself
// (a static) when a Release brings the count back to 0, so a host must not balance that
// reference. Only the main thread calls load().
#pragma once

#include <string>

#include "platform/ZUNCOM.h"
#include "velar/IMp4Service.h"

namespace velar_play {

class LibraryLoader {
public:
    LibraryLoader() = default;
    LibraryLoader(const LibraryLoader&) = delete;
    LibraryLoader& operator=(const LibraryLoader&) = delete;

    // Loads the library and returns its service. Throws std::runtime_error with a one-line text
    // when any step fails.
    velar::IMp4Service* load(ZUNCOM::IComponentManager& manager);

    // Path or name the library was loaded from (empty before load()).
    const std::string& libraryPath() const { return mPath; }

private:
    void* open();

    void* mHandle = nullptr;
    std::string mPath;
};

}  // namespace velar_play
