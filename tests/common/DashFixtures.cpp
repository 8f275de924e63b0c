#include "DashFixtures.h"

#include <cstdlib>
#include <stdexcept>

namespace velar_test {

std::string dashFixtures() {
    static const std::string folder = std::string(VELAR_TEST_WORK_DIR) + "/dash";
    // The script serialises concurrent runs (flock) and returns at once when up to date.
    static const bool made = std::system(("bash '" VELAR_TEST_DATA_DIR "/make-dash-fixtures.sh' '" + folder + "'").c_str()) == 0;
    if (!made) throw std::runtime_error("tests/data/make-dash-fixtures.sh failed for " + folder);
    return folder;
}

}  // namespace velar_test
