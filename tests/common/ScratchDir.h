#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velar_test {

// A fresh folder under the tests' work folder, removed with everything in it by the destructor.
class ScratchDir {
public:
    // `tag` becomes part of the folder name ("nginx-root" -> .../nginx-root-Ab12Cd).
    explicit ScratchDir(const std::string& tag);
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return mPath; }
    // Writes `bytes` to path()/name (folders in `name` are made); returns the full path.
    std::string write(const std::string& name, const std::vector<uint8_t>& bytes) const;
    std::string write(const std::string& name, const std::string& text) const;

private:
    std::string mPath;
};

// `count` bytes that do not repeat with any short period (a 64-bit xorshift stream from `seed`),
// so that a byte taken from the wrong offset is noticed.
std::vector<uint8_t> patternBytes(size_t count, uint64_t seed = 1);

}  // namespace velar_test
