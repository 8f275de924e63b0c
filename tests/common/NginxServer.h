#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ScratchDir.h"

namespace velar_test {

// Debian's nginx serving a folder on a free port of 127.0.0.1, for the length of a test. Started
// in the foreground as a child of the test (config from tests/servers/nginx.conf.in, logs and temp
// paths in a private folder), with keep-alive and single Range requests; stopped by the destructor.
//
// Every request is logged with the serial number of its TCP connection, so a test can count the
// connections a client opened. nginx logs a request after its response went out: wait for the
// line with waitForRequests() before reading the log.
class NginxServer {
public:
    struct Request {
        uint64_t connection = 0;  // serial number of the TCP connection
        std::string range;        // the Range header, "-" when none
    };

    // Starts nginx serving `root` (HTTPS with a self-signed certificate for 127.0.0.1 when `tls`);
    // throws std::runtime_error (with nginx's error log) when it does not answer within 10 s.
    explicit NginxServer(const std::string& root, bool tls = false);

    // Whether Debian's nginx is installed (tests skip with a message when not).
    static bool available();

    // "http://127.0.0.1:PORT/" (or https) followed by `path`.
    std::string url(const std::string& path) const;
    std::vector<Request> requests() const;
    // Waits until at least `count` requests are logged.
    bool waitForRequests(size_t count) const;

private:
    ScratchDir mFolder{"nginx"};  // config, logs and temp paths; outlives the process
    std::string mScheme;
    uint16_t mPort = 0;
    std::unique_ptr<ChildProcess> mProcess;
};

}  // namespace velar_test
