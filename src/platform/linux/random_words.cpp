#include "platform/random_words.h"

#include <sys/auxv.h>
#include <sys/random.h>

#include <cstring>

namespace zvevent {

std::array<std::uint64_t, 2> RandomWords() noexcept {
    std::array<std::uint64_t, 2> words{};
    // A machine that has just been started may have none yet, a sandbox may forbid the call. Then
    // the 16 bytes that the kernel gives every process when it starts.
    if (::getrandom(words.data(), sizeof words, GRND_NONBLOCK) != sizeof words) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): an address among numbers
        const auto* given = reinterpret_cast<const void*>(::getauxval(AT_RANDOM));
        if (given != nullptr) std::memcpy(words.data(), given, sizeof words);
    }
    return words;
}

}  // namespace zvevent
