#include "NginxServer.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "TestPorts.h"

namespace velar_test {

namespace {

const char* const kBinary = "/usr/sbin/nginx";

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, pos + to.size())) {
        text.replace(pos, from.size(), to);
    }
}

}  // namespace

bool NginxServer::available() { return ::access(kBinary, X_OK) == 0; }

NginxServer::NginxServer(const std::string& root, bool tls) : mScheme(tls ? "https" : "http") {
    const std::string& prefix = mFolder.path();
    std::filesystem::create_directories(prefix + "/tmp");
    std::string tlsLines;
    if (tls) {
        const std::string command =
            "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 -addext "
            "subjectAltName=IP:127.0.0.1 -keyout '" + prefix + "/key.pem' -out '" + prefix + "/cert.pem' >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) throw std::runtime_error("openssl could not make a test certificate");
        tlsLines = "ssl_certificate " + prefix + "/cert.pem; ssl_certificate_key " + prefix + "/key.pem;";
    }
    std::string error;
    // Another process may take the free port before nginx does: then a new port is tried.
    for (int tries = 0; tries < 5 && (tries == 0 || error.find("Address already in use") != std::string::npos); ++tries) {
        mPort = freeLoopbackPort();
        std::string conf = readFile(VELAR_SOURCE_DIR "/tests/servers/nginx.conf.in");
        replaceAll(conf, "@PREFIX@", prefix);
        replaceAll(conf, "@ROOT@", std::filesystem::absolute(root).string());
        replaceAll(conf, "@LISTEN@", "127.0.0.1:" + std::to_string(mPort) + (tls ? " ssl" : ""));
        replaceAll(conf, "@TLS@", tlsLines);
        std::ofstream(prefix + "/nginx.conf") << conf;
        mProcess = std::make_unique<ChildProcess>(
            std::vector<std::string>{kBinary, "-p", prefix + "/", "-c", prefix + "/nginx.conf", "-e", prefix + "/error.log"},
            prefix + "/stdout.log", prefix + "/stderr.log");
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline && mProcess->running()) {
            if (loopbackPortAccepts(mPort)) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        error = readFile(prefix + "/error.log") + readFile(prefix + "/stderr.log");
        mProcess.reset();
    }
    throw std::runtime_error("nginx did not start: " + error);
}

std::string NginxServer::url(const std::string& path) const {
    return mScheme + "://127.0.0.1:" + std::to_string(mPort) + "/" + path;
}

std::vector<NginxServer::Request> NginxServer::requests() const {
    // Lines: $connection $connection_requests $status $bytes_sent $request_method "$request_uri" "$http_range"
    std::vector<Request> out;
    std::ifstream in(mFolder.path() + "/access.log");
    for (std::string line; std::getline(in, line);) {
        const size_t rangeEnd = line.rfind('"');
        const size_t rangeStart = line.rfind('"', rangeEnd - 1);
        if (line.empty() || line.back() != '"' || rangeStart == std::string::npos) continue;  // being written
        Request r;
        std::istringstream(line) >> r.connection;
        r.range = line.substr(rangeStart + 1, rangeEnd - rangeStart - 1);
        out.push_back(r);
    }
    return out;
}

bool NginxServer::waitForRequests(size_t count) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (requests().size() < count) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace velar_test
