#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ScratchDir.h"

namespace velar_test {

// The fault-injecting HTTP server (tests/servers/fault_server.py, Python standard library) on a
// free port of 127.0.0.1, for the length of a test. The behaviour of a request is chosen by its
// query (?size=N&status=503&times=2, see the script's help for reset, truncate, stall, rate, delay,
// redirect, norange).
class FaultServer {
public:
    // `root`: folder whose files are served (empty: generated bodies only). Throws
    // std::runtime_error when the server does not report its port within 10 s.
    explicit FaultServer(const std::string& root = std::string());

    // "http://127.0.0.1:PORT/" followed by `pathAndQuery` (a leading '/' is not doubled).
    std::string url(const std::string& pathAndQuery) const;
    // The Range headers ("" for none) of the requests received so far for `path`, in order.
    std::vector<std::string> requestRanges(const std::string& path) const;

    // The generated body the server sends for ?size=: bytes [first, first + count).
    static std::vector<uint8_t> generatedBytes(uint64_t first, uint64_t count);

private:
    ScratchDir mFolder{"faultserver"};  // logs; outlives the process
    uint16_t mPort = 0;
    std::unique_ptr<ChildProcess> mProcess;
};

}  // namespace velar_test
