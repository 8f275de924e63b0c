#include "FaultServer.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace velar_test {

namespace fs = std::filesystem;

FaultServer::FaultServer(const std::string& root) {
    const std::string& folder = mFolder.path();
    std::ofstream(folder + "/requests.log").close();
    mProcess = std::make_unique<ChildProcess>(
        std::vector<std::string>{"python3", VELAR_SOURCE_DIR "/tests/servers/fault_server.py", "--log",
                                 folder + "/requests.log", "--root", root.empty() ? "" : fs::absolute(root).string()},
        folder + "/stdout.log", folder + "/stderr.log");
    // The script prints "PORT n" once it listens.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::string line;
    while (!(std::ifstream(folder + "/stdout.log") >> line >> mPort) && mProcess->running() &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (line != "PORT" || mPort == 0) {
        std::ifstream err(folder + "/stderr.log");
        throw std::runtime_error("fault_server.py did not start: " +
                                 std::string(std::istreambuf_iterator<char>(err), {}));
    }
}

std::string FaultServer::url(const std::string& pathAndQuery) const {
    return "http://127.0.0.1:" + std::to_string(mPort) + "/" +
           pathAndQuery.substr(!pathAndQuery.empty() && pathAndQuery[0] == '/');
}

std::vector<std::string> FaultServer::requestRanges(const std::string& path) const {
    // One line per request: path \t query \t range.
    std::vector<std::string> out;
    std::ifstream in(mFolder.path() + "/requests.log");
    for (std::string line; std::getline(in, line);) {
        const size_t tab2 = line.find('\t', line.find('\t') + 1);
        if (tab2 != std::string::npos && line.compare(0, line.find('\t'), path) == 0) {
            out.push_back(line.substr(tab2 + 1));
        }
    }
    return out;
}

std::vector<uint8_t> FaultServer::generatedBytes(uint64_t first, uint64_t count) {
    std::vector<uint8_t> out(static_cast<size_t>(count));
    for (uint64_t i = 0; i < count; ++i) {
        out[static_cast<size_t>(i)] = static_cast<uint8_t>((((first + i) * 2654435761ull) >> 13) & 0xFF);
    }
    return out;
}

}  // namespace velar_test
