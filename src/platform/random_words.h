// Numbers that nobody can predict, from the system. Any thread; not for a library's load on
// Windows, where it may load another one.
#pragma once

#include <array>
#include <cstdint>

namespace zvevent {

// Never waits and never fails. Where the system has nothing to give, in practice never, the numbers
// are only different from process to process.
std::array<std::uint64_t, 2> RandomWords() noexcept;

}  // namespace zvevent
