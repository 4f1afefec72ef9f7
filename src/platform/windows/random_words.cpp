#include "platform/random_words.h"

#include <windows.h>
// After windows.h.
#include <bcrypt.h>

namespace zvevent {

std::array<std::uint64_t, 2> RandomWords() noexcept {
    std::array<std::uint64_t, 2> words{};
    const auto status =
        ::BCryptGenRandom(nullptr, reinterpret_cast<UCHAR*>(words.data()),
                          static_cast<ULONG>(sizeof words), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0) {
        LARGE_INTEGER ticks;
        ::QueryPerformanceCounter(&ticks);
        words = {static_cast<std::uint64_t>(ticks.QuadPart), ::GetCurrentProcessId()};
    }
    return words;
}

}  // namespace zvevent
