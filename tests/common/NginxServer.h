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
// paths in a private folder under the tests' work folder), with keep-alive and single Range
// requests; stopped and its folder removed by the destructor.
//
// Every request is logged with the serial number of its TCP connection, so a test can count the
// connections a client opened. nginx writes a log line after the response went out: wait for the
// line with waitForRequests() before reading the log.
class NginxServer {
public:
    struct Options {
        bool tls = false;  // HTTPS with a self-signed certificate for 127.0.0.1, made at start
    };

    // One request as logged.
    struct Request {
        uint64_t connection = 0;          // TCP connection serial number
        uint64_t connectionRequests = 0;  // index of the request on its connection (from 1)
        int status = 0;
        uint64_t bytesSent = 0;
        std::string method;
        std::string uri;    // as requested, with the query
        std::string range;  // the Range header, empty when none
    };

    // Starts nginx serving `root`; throws std::runtime_error (with nginx's error log) when it does
    // not answer within 10 s.
    explicit NginxServer(const std::string& root);
    NginxServer(const std::string& root, const Options& options);
    ~NginxServer();
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    // Whether Debian's nginx is installed (tests skip with a message when not).
    static bool available();

    uint16_t port() const { return mPort; }
    const std::string& root() const { return mRoot; }
    // "http://127.0.0.1:PORT/" followed by `path` (a leading '/' is not doubled).
    std::string url(const std::string& path) const;

    std::vector<Request> requests() const;
    // Waits until at least `count` requests are logged.
    bool waitForRequests(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
    // Distinct connection serial numbers among the requests logged so far.
    size_t connectionCount() const;
    // Forgets the requests logged so far (the counts above start again from 0).
    void clearLog();
    std::string errorLog() const;

private:
    void start();

    std::string mRoot;
    Options mOptions;
    ScratchDir mFolder{"nginx"};  // config, logs and temp paths; outlives the process
    uint16_t mPort = 0;
    size_t mLogSkip = 0;  // lines logged before the last clearLog()
    std::unique_ptr<ChildProcess> mProcess;
};

}  // namespace velar_test
