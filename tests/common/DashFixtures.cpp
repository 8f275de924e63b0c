#include "DashFixtures.h"

#include <cstdlib>
#include <mutex>
#include <stdexcept>

namespace velar_test {

std::string dashFixtures() {
    static std::once_flag once;
    static std::string folder = std::string(VELAR_TEST_WORK_DIR) + "/dash";
    static std::string failure;
    std::call_once(once, [] {
        // The script serialises concurrent runs (flock) and returns at once when up to date.
        const std::string command = "bash '" + std::string(VELAR_TEST_DATA_DIR) +
                                    "/make-dash-fixtures.sh' '" + folder + "'";
        if (std::system(command.c_str()) != 0) {
            failure = "make-dash-fixtures.sh failed: " + command;
        }
    });
    if (!failure.empty()) {
        throw std::runtime_error(failure);
    }
    return folder;
}

}  // namespace velar_test
