#pragma once

#include <cstdio>
#include <cstdlib>

// Property checks inside the fuzz targets. A failed check is a finding: it prints the condition
// and aborts, so libFuzzer keeps the input as a crash. (Exceptions that the library prescribes for
// bad input are caught in each target; anything else escaping a target aborts the same way.)
#define FUZZ_CHECK(condition)                                                                    \
    do {                                                                                         \
        if (!(condition)) {                                                                      \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);   \
            std::abort();                                                                        \
        }                                                                                        \
    } while (0)
