#include "exit/host.h"

#include <windows.h>

#include <cstdlib>

#include <cstdint>

namespace zvevent::test {

namespace {
HMODULE library = nullptr;
}

void OpenLibrary(const char* path) {
    library = LoadLibraryA(path);
}

void* Find(const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(library, name));
}

void CloseLibrary() {
    FreeLibrary(library);
}

int ForkAndRun(int (*)()) {
    return -1;
}

void ExitInSignalHandler(const std::atomic<int>&, int) {}

void End(const char*, int) {
    std::abort();  // not run here
}

// By the number that a new one gets, the lowest that is free: Wine does not count them.
int OpenHandles() {
    const HANDLE probe = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(probe);
    return static_cast<int>(reinterpret_cast<std::uintptr_t>(probe) / 4);
}

const int kHandlesLeftByRuntime = 6;  // mingw-w64 leaves about five

const std::uint32_t kShutdownAtProcessEnd = 0x80050005;  // at once, and without effect
const bool kEndsBeforeEarlierHandlers = false;

}  // namespace zvevent::test
