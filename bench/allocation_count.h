// Counts the heap allocations of the whole program, so that a benchmark can say how many a call
// makes.
#pragma once

#include <cstdint>

std::uint64_t AllocationCount();
