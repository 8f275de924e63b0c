#include "ScratchDir.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace velar_test {

namespace fs = std::filesystem;

ScratchDir::ScratchDir(const std::string& tag) {
    fs::create_directories(VELAR_TEST_WORK_DIR);
    std::string pattern = std::string(VELAR_TEST_WORK_DIR) + "/" + tag + "-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a scratch folder " + pattern);
    }
    mPath = pattern;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

std::string ScratchDir::write(const std::string& name, const std::vector<uint8_t>& bytes) const {
    const fs::path full = fs::path(mPath) / name;
    fs::create_directories(full.parent_path());
    std::ofstream out(full, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) {
        throw std::runtime_error("cannot write " + full.string());
    }
    return full.string();
}

std::string ScratchDir::write(const std::string& name, const std::string& text) const {
    return write(name, std::vector<uint8_t>(text.begin(), text.end()));
}

std::vector<uint8_t> patternBytes(size_t count, uint64_t seed) {
    std::vector<uint8_t> out(count);
    uint64_t x = seed * 0x9E3779B97F4A7C15ull + 1;
    for (size_t i = 0; i < count; ++i) {
        x ^= x << 13;
        x ^= x >> 7;
        x ^= x << 17;
        out[i] = static_cast<uint8_t>(x >> 24);
    }
    return out;
}

}  // namespace velar_test
