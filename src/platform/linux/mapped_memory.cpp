#include "platform/mapped_memory.h"

#include <sys/mman.h>

#include <new>

namespace zvevent {

void* MapMemory(std::size_t bytes) {
    void* const memory =
        ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    return memory;
}

void UnmapMemory(void* memory, std::size_t bytes) noexcept {
    ::munmap(memory, bytes);
}

}  // namespace zvevent
