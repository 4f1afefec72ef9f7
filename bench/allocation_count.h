// Counts the heap allocations of the whole program, so that a benchmark can say how many a call
// makes.
#pragma once

#include <cstdint>

namespace zvevent::bench {

std::uint64_t AllocationCount();

}  // namespace zvevent::bench
