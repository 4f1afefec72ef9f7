#include "exit/process.h"

#include <windows.h>

#include <cstdint>

namespace zvevent::test {

const int kHandlesLeftByRuntime = 6;

void ExitProcessNow(int code) {
    ExitProcess(static_cast<UINT>(code));
}

bool EndThread() {
    return false;
}

int ForkAndExit(int) {
    return -1;
}

// By the number that a new one gets, the lowest that is free: Wine does not count them.
int OpenHandles() {
    const HANDLE probe = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const auto number = reinterpret_cast<std::uintptr_t>(probe);
    CloseHandle(probe);
    return static_cast<int>(number / 4);
}

}  // namespace zvevent::test
