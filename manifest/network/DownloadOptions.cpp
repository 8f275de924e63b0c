#include "manifest/network/DownloadOptions.h"

#include <mutex>

namespace dash {
namespace network {

namespace {

std::mutex& defaultsMutex() {
    static std::mutex mutex;
    return mutex;
}

DownloadOptions& storedDefaults() {
    static DownloadOptions options;
    return options;
}

}  // namespace

DownloadOptions DownloadOptions::defaults() {
    std::lock_guard<std::mutex> lock(defaultsMutex());
    return storedDefaults();
}

void DownloadOptions::setDefaults(const DownloadOptions& options) {
    std::lock_guard<std::mutex> lock(defaultsMutex());
    storedDefaults() = options;
}

}  // namespace network
}  // namespace dash
