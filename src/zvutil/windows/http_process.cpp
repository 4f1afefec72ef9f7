#include <winsock2.h>

#include <windows.h>

#include "zvutil/http_process.h"

namespace zvevent {
namespace {

void StayLoaded() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&StayLoaded), &module);
}

}  // namespace

bool StartHttpInProcess(bool (*start)(), void (*)()) {
    static const bool started = [start] {
        StayLoaded();
        return start();
    }();
    return started;
}

const char* TrustedCertificatesOfProcess() {
    return nullptr;
}

std::intptr_t OpenHttpSocket(int family, int type, int protocol) {
    constexpr DWORD kNotInherited = 0x80;  // WSA_FLAG_NO_HANDLE_INHERIT
    return static_cast<std::intptr_t>(
        WSASocketW(family, type, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED | kNotInherited));
}

void WithConnectionSignalsHeld(const std::function<void()>& work) {
    work();
}

}  // namespace zvevent
