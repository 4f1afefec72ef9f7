#include <windows.h>

#include "zvutil/zvutil.h"

std::uint64_t zvOSGetTimePTPNano() noexcept {
    // FILETIME counts 100 ns steps from 1601-01-01.
    constexpr std::uint64_t kUnixEpoch = 116'444'736'000'000'000;
    FILETIME now;
    GetSystemTimePreciseAsFileTime(&now);
    const std::uint64_t steps =
        (static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
    return (steps - kUnixEpoch) * 100;
}

std::uint32_t zvOSGetMs() noexcept {
    return static_cast<std::uint32_t>(GetTickCount64());
}
