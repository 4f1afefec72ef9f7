// The number that the system knows this process by. Any thread.
#pragma once

#include <cstdint>

namespace zvevent {

std::uint32_t ProcessId() noexcept;

}  // namespace zvevent
