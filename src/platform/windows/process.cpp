#include "platform/process.h"

#include <windows.h>

namespace zvevent {

namespace {

HMODULE pinned_module = nullptr;

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

}  // namespace zvevent
