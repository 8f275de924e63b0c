#include "NginxServer.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "TestPorts.h"

namespace velar_test {

namespace fs = std::filesystem;

namespace {

std::string nginxBinary() {
    for (const char* candidate : {"/usr/sbin/nginx", "/usr/bin/nginx", "/usr/local/sbin/nginx"}) {
        if (::access(candidate, X_OK) == 0) {
            return candidate;
        }
    }
    return std::string();
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, pos + to.size())) {
        text.replace(pos, from.size(), to);
    }
}

}  // namespace

bool NginxServer::available() { return !nginxBinary().empty(); }

NginxServer::NginxServer(const std::string& root) : NginxServer(root, Options()) {}

NginxServer::NginxServer(const std::string& root, const Options& options)
    : mRoot(fs::absolute(root).string()), mOptions(options) {
    fs::create_directories(mFolder.path() + "/tmp");
    start();
}

NginxServer::~NginxServer() = default;

void NginxServer::start() {
    const std::string& prefix = mFolder.path();
    const std::string binary = nginxBinary();
    if (binary.empty()) {
        throw std::runtime_error("nginx is not installed");
    }
    std::string tlsLines;
    if (mOptions.tls) {
        const std::string command =
            "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 "
            "-addext subjectAltName=IP:127.0.0.1 -keyout '" + prefix + "/key.pem' -out '" +
            prefix + "/cert.pem' >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("openssl could not make a test certificate");
        }
        tlsLines = "ssl_certificate " + prefix + "/cert.pem; ssl_certificate_key " + prefix +
                   "/key.pem;";
    }
    const std::string templateText = readFile(std::string(VELAR_SOURCE_DIR) + "/tests/servers/nginx.conf.in");
    if (templateText.empty()) {
        throw std::runtime_error("tests/servers/nginx.conf.in is missing");
    }
    std::string lastError;
    // The free port is found by binding port 0; another process may take it before nginx does,
    // so a start that fails on the port is tried again with a new one.
    for (int tries = 0; tries < 5; ++tries) {
        mPort = freeLoopbackPort();
        std::string conf = templateText;
        replaceAll(conf, "@PREFIX@", prefix);
        replaceAll(conf, "@ROOT@", mRoot);
        replaceAll(conf, "@LISTEN@",
                   "127.0.0.1:" + std::to_string(mPort) + (mOptions.tls ? " ssl" : ""));
        replaceAll(conf, "@TLS@", tlsLines);
        std::ofstream(prefix + "/nginx.conf") << conf;
        std::ofstream(mFolder.path() + "/access.log", std::ios::trunc).close();
        mLogSkip = 0;
        mProcess = std::make_unique<ChildProcess>(
            std::vector<std::string>{binary, "-p", prefix + "/", "-c", prefix + "/nginx.conf", "-e",
                                     prefix + "/error.log"},
            prefix + "/stdout.log", prefix + "/stderr.log");
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline && mProcess->running()) {
            if (loopbackPortAccepts(mPort)) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        lastError = errorLog() + readFile(prefix + "/stderr.log");
        mProcess.reset();
        if (lastError.find("Address already in use") == std::string::npos) {
            break;
        }
    }
    throw std::runtime_error("nginx did not start: " + lastError);
}

std::string NginxServer::url(const std::string& path) const {
    const std::string scheme = mOptions.tls ? "https" : "http";
    return scheme + "://127.0.0.1:" + std::to_string(mPort) + "/" +
           (!path.empty() && path[0] == '/' ? path.substr(1) : path);
}

std::vector<NginxServer::Request> NginxServer::requests() const {
    std::vector<Request> out;
    std::ifstream in(mFolder.path() + "/access.log");
    std::string line;
    size_t index = 0;
    while (std::getline(in, line)) {
        if (index++ < mLogSkip) {
            continue;
        }
        // $connection $connection_requests $status $bytes_sent $request_method "$request_uri" "$http_range"
        std::istringstream fields(line);
        Request r;
        fields >> r.connection >> r.connectionRequests >> r.status >> r.bytesSent >> r.method;
        const size_t q1 = line.find('"');
        const size_t q2 = line.find('"', q1 + 1);
        const size_t q3 = line.find('"', q2 + 1);
        const size_t q4 = line.find('"', q3 + 1);
        if (q4 == std::string::npos) {
            continue;  // a line being written
        }
        r.uri = line.substr(q1 + 1, q2 - q1 - 1);
        r.range = line.substr(q3 + 1, q4 - q3 - 1);
        if (r.range == "-") {
            r.range.clear();
        }
        out.push_back(r);
    }
    return out;
}

bool NginxServer::waitForRequests(size_t count, std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (requests().size() < count) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

size_t NginxServer::connectionCount() const {
    std::set<uint64_t> seen;
    for (const Request& r : requests()) {
        seen.insert(r.connection);
    }
    return seen.size();
}

void NginxServer::clearLog() {
    std::ifstream in(mFolder.path() + "/access.log");
    std::string line;
    size_t lines = 0;
    while (std::getline(in, line)) {
        ++lines;
    }
    mLogSkip = lines;
}

std::string NginxServer::errorLog() const { return readFile(mFolder.path() + "/error.log"); }

}  // namespace velar_test
