// Memory straight from the system, in whole pages, for what may grow large and is to leave the
// process when it is freed: an allocator would keep it. Any thread.
#pragma once

#include <cstddef>

namespace zvevent {

// Filled with zeros, aligned to a page; takes memory as it is written to. Throws std::bad_alloc.
void* MapMemory(std::size_t bytes);

// All of what one call has mapped.
void UnmapMemory(void* memory, std::size_t bytes) noexcept;

}  // namespace zvevent
