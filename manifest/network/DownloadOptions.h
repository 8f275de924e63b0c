#pragma once

#include <cstdint>

namespace dash {
namespace network {

// Tuning of HTTP transfers. Defaults suit a set-top box on a home network; tests shorten them.
struct DownloadOptions {
    uint32_t connectTimeoutMs = 5000;   // TCP + TLS connect
    uint32_t stallTimeoutMs = 10000;    // no byte received for this long ends the attempt
    uint32_t maxRetries = 2;            // extra attempts after a transient failure
    uint32_t retryBackoffMs = 250;      // first back-off; doubles per retry
    uint32_t maxRedirects = 5;
    bool verifyTls = true;              // certificate verification stays on

    // Process-wide defaults used when a caller passes none (settable by tests and hosts).
    static DownloadOptions defaults();
    static void setDefaults(const DownloadOptions& options);
};

}  // namespace network
}  // namespace dash
