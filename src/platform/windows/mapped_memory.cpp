#include "platform/mapped_memory.h"

#include <windows.h>

#include <new>

namespace zvevent {

void* MapMemory(std::size_t bytes) {
    void* const memory = ::VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void UnmapMemory(void* memory, std::size_t) noexcept {
    ::VirtualFree(memory, 0, MEM_RELEASE);
}

}  // namespace zvevent
