#pragma once

#include <cstdint>

namespace dash {
namespace network {

// Tuning of HTTP transfers. Defaults suit a set-top box on a home network; tests shorten them.
//
// Time-outs, in milliseconds:
// - connectTimeoutMs: TCP connect plus TLS handshake of one attempt.
// - stallTimeoutMs: no byte (header or body) received for this long ends the attempt. Before the
//   first byte of an attempt the connect time-out is added, so a slow connect is not counted twice.
// Retries: a transient failure (connection refused or reset, time-out or stall, body cut short,
// HTTP 5xx, 408 or 429) is retried up to maxRetries times, after retryBackoffMs, doubled per
// retry. A retry resumes at the first byte not yet received (a Range request), so the bytes
// already handed out are never repeated. Other failures (HTTP 4xx, unknown host, TLS verification,
// a local file that does not exist) end the transfer at once.
struct DownloadOptions {
    uint32_t connectTimeoutMs = 5000;   // TCP + TLS connect
    uint32_t stallTimeoutMs = 10000;    // no byte received for this long ends the attempt
    uint32_t maxRetries = 2;            // extra attempts after a transient failure
    uint32_t retryBackoffMs = 250;      // first back-off; doubles per retry
    uint32_t maxRedirects = 5;
    bool verifyTls = true;              // certificate verification stays on
    uint64_t maxBodyBytes = 256ull << 20;  // a larger body ends the transfer in error (bounded memory)

    // Process-wide defaults used when a caller passes none (settable by tests and hosts).
    static DownloadOptions defaults();
    static void setDefaults(const DownloadOptions& options);
};

}  // namespace network
}  // namespace dash
