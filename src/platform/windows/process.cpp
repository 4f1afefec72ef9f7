#include "platform/process.h"

#include <windows.h>

namespace zvevent {

namespace {

HMODULE pinned_module = nullptr;
void (*registered_release)() = nullptr;

}  // namespace

void DrainAtExit(void (*)()) {}

void InChildAfterFork(void (*)()) {}

void PinModule() {
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCSTR>(&PinModule),
                       &pinned_module);
}

void UnpinModule() {
    if (pinned_module == nullptr) return;
    const HMODULE module = pinned_module;
    pinned_module = nullptr;
    FreeLibrary(module);
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
