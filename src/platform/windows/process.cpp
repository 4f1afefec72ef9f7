#include "platform/process.h"

#include <windows.h>

namespace zvevent {

namespace {

void (*registered_release)() = nullptr;

// Looked up while the library is loaded: at the process's end nothing may be.
using ShutdownInProgress = BOOLEAN(WINAPI*)();
const auto shutdown_in_progress = reinterpret_cast<ShutdownInProgress>(reinterpret_cast<void*>(
    GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));

}  // namespace

void DrainAtExit(void (*)()) {}

void InChildAfterFork(void (*)()) {}

void AroundFork(void (*)(), void (*)(), void (*)()) {}

void WithFileSignalsHeld(const std::function<void()>& work) {
    work();
}

bool ProcessEnds() {
    return shutdown_in_progress != nullptr && shutdown_in_progress() != FALSE;
}

void ReleaseAtUnload(void (*release)()) {
    registered_release = release;
}

}  // namespace zvevent

// The loader calls it, under its lock; in the DLL only.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID process_ends) {
    if (reason == DLL_PROCESS_DETACH && process_ends == nullptr &&
        zvevent::registered_release != nullptr) {
        zvevent::registered_release();
    }
    return TRUE;
}
