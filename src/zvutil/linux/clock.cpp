#include <time.h>

#include "zvutil/zvutil.h"

namespace {

constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;
constexpr std::uint64_t kNanosPerMs = 1'000'000;

std::uint64_t Nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * kNanosPerSecond +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace

std::uint64_t zvOSGetTimePTPNano() noexcept {
    return Nanoseconds(CLOCK_REALTIME);
}

std::uint32_t zvOSGetMs() noexcept {
    return static_cast<std::uint32_t>(Nanoseconds(CLOCK_MONOTONIC) / kNanosPerMs);
}
