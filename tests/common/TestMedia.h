#pragma once

#include <string>
#include <vector>

namespace velar_test {

// Path of a generated test clip (see tests/data/README.md for the list), for example
// testMedia("high_bframes.mp4").
//
// The first call in a process runs tests/data/make-media.sh into VELAR_TEST_WORK_DIR "/media",
// holding an exclusive flock on a lock file there, so that test processes started in parallel
// make the media once and never see half-written files. The script is quick when the clips exist.
// Throws std::runtime_error when the script fails or the named clip does not exist.
std::string testMedia(const std::string& name);

// The directory holding the generated clips (made on first use as above).
std::string testMediaDir();

// Runs `command` with /bin/sh and returns what it wrote to standard output. Throws
// std::runtime_error when it cannot be started or exits with a status other than 0.
std::string commandOutput(const std::string& command);

// Reads a whole file; throws std::runtime_error when it cannot be read.
std::vector<unsigned char> readFileBytes(const std::string& path);

}  // namespace velar_test
