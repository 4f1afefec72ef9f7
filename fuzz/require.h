// What a fuzzer calls when something must hold: says what did not, and stops at it.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace zvevent::fuzz {

inline void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

}  // namespace zvevent::fuzz
