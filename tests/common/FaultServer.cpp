#include "FaultServer.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace velar_test {

namespace fs = std::filesystem;

FaultServer::FaultServer(const std::string& root) {
    const std::string& folder = mFolder.path();
    std::vector<std::string> argv = {"python3", std::string(VELAR_SOURCE_DIR) + "/tests/servers/fault_server.py",
                                     "--control", folder + "/control.json", "--log", folder + "/requests.log"};
    if (!root.empty()) {
        argv.push_back("--root");
        argv.push_back(fs::absolute(root).string());
    }
    std::ofstream(folder + "/requests.log").close();
    mProcess = std::make_unique<ChildProcess>(argv, std::string(), folder + "/stderr.log");
    std::string line;
    if (!mProcess->readLine(line, std::chrono::seconds(10)) || line.compare(0, 5, "PORT ") != 0) {
        mProcess.reset();
        std::ifstream err(folder + "/stderr.log");
        std::ostringstream text;
        text << err.rdbuf();
        throw std::runtime_error("fault_server.py did not start: " + line + " " + text.str());
    }
    mPort = static_cast<uint16_t>(std::stoi(line.substr(5)));
}

FaultServer::~FaultServer() = default;

std::string FaultServer::url(const std::string& pathAndQuery) const {
    return "http://127.0.0.1:" + std::to_string(mPort) + "/" +
           (!pathAndQuery.empty() && pathAndQuery[0] == '/' ? pathAndQuery.substr(1) : pathAndQuery);
}

void FaultServer::setControl(const std::string& json) {
    const std::string temp = mFolder.path() + "/control.json.tmp";
    std::ofstream(temp, std::ios::trunc) << json;
    fs::rename(temp, mFolder.path() + "/control.json");
}

std::vector<std::string> FaultServer::requestRanges(const std::string& path) const {
    std::vector<std::string> out;
    std::ifstream in(mFolder.path() + "/requests.log");
    std::string line;
    while (std::getline(in, line)) {
        // path \t query \t range
        const size_t tab1 = line.find('\t');
        const size_t tab2 = line.find('\t', tab1 + 1);
        if (tab2 == std::string::npos || line.substr(0, tab1) != path) {
            continue;
        }
        out.push_back(line.substr(tab2 + 1));
    }
    return out;
}

size_t FaultServer::requestCount(const std::string& path) const { return requestRanges(path).size(); }

std::vector<uint8_t> FaultServer::generatedBytes(uint64_t first, uint64_t count) {
    std::vector<uint8_t> out(static_cast<size_t>(count));
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t index = first + i;
        out[static_cast<size_t>(i)] = static_cast<uint8_t>(((index * 2654435761ull) >> 13) & 0xFF);
    }
    return out;
}

}  // namespace velar_test
