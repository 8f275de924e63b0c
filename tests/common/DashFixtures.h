#pragma once

#include <string>

namespace velar_test {

// The folder of the generated DASH presentations (tests/data/make-dash-fixtures.sh, see
// tests/data/README.md), made on first use in <build>/tests/work/dash and reused afterwards.
// Throws std::runtime_error when the script fails.
std::string dashFixtures();

}  // namespace velar_test
