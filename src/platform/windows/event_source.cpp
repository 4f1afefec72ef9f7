#include "platform/event_source.h"

#include <windows.h>

#include <array>

#include "platform/windows/event_source_key.h"
#include "platform/windows/wide_text.h"

namespace zvevent {

namespace {

// Bits of the event log: error 1, warning 2, information 4.
constexpr DWORD kTypesSupported = 7;
constexpr DWORD kCustomSource = 1;

// The full path of the module this code is in, or a message file that every system has.
std::wstring DefaultMessageFile() {
    HMODULE module = nullptr;
    std::array<wchar_t, MAX_PATH> path{};
    if (GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&DefaultMessageFile), &module) != 0) {
        const DWORD length =
            GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length > 0 && length < path.size()) return {path.data(), length};
    }
    return L"%SystemRoot%\\System32\\EventCreate.exe";
}

// Wide, as the other call would read the bytes in the machine's code page.
LSTATUS SetText(HKEY key, const wchar_t* name, const std::wstring& text) {
    return RegSetValueExW(key, name, 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

LSTATUS SetNumber(HKEY key, const char* name, DWORD number) {
    return RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof number);
}

LSTATUS SetValues(HKEY key, const std::wstring& message_file) {
    LSTATUS status = SetText(key, L"EventMessageFile", message_file);
    if (status == ERROR_SUCCESS) status = SetNumber(key, "TypesSupported", kTypesSupported);
    if (status == ERROR_SUCCESS) status = SetNumber(key, "CustomSource", kCustomSource);
    return status;
}

}  // namespace

EventSourceResult CreateEventSource(const std::string& name, const std::string& message_file) {
    HKEY key = nullptr;
    LSTATUS status =
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, EventSourceKey(name).c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr, &key, nullptr);
    if (status != ERROR_SUCCESS) {
        return {EventSourceStep::kCreateKey, static_cast<std::uint32_t>(status)};
    }
    status = SetValues(key, message_file.empty() ? DefaultMessageFile() : WideText(message_file));
    RegCloseKey(key);
    if (status != ERROR_SUCCESS) {
        return {EventSourceStep::kSetValue, static_cast<std::uint32_t>(status)};
    }
    return {};
}

EventSourceResult DeleteEventSource(const std::string& name) {
    const LSTATUS status = RegDeleteTreeA(HKEY_LOCAL_MACHINE, EventSourceKey(name).c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
        return {EventSourceStep::kDeleteKey, static_cast<std::uint32_t>(status)};
    }
    return {};
}

}  // namespace zvevent
