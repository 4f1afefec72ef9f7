#include "platform/event_source.h"

#include <windows.h>

#include <array>

#include "platform/windows/event_source_key.h"

namespace zvevent {

namespace {

// Bits of the event log: error 1, warning 2, information 4.
constexpr DWORD kTypesSupported = 7;
constexpr DWORD kCustomSource = 1;

// The full path of the module this code is in, or a message file that every system has.
std::string DefaultMessageFile() {
    HMODULE module = nullptr;
    std::array<char, MAX_PATH> path{};
    if (GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCSTR>(&DefaultMessageFile), &module) != 0) {
        const DWORD length =
            GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size()));
        if (length > 0 && length < path.size()) return {path.data(), length};
    }
    return "%SystemRoot%\\System32\\EventCreate.exe";
}

LSTATUS SetText(HKEY key, const char* name, const std::string& text) {
    return RegSetValueExA(key, name, 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1));
}

LSTATUS SetNumber(HKEY key, const char* name, DWORD number) {
    return RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof number);
}

LSTATUS SetValues(HKEY key, const std::string& message_file) {
    LSTATUS status = SetText(key, "EventMessageFile", message_file);
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
    status = SetValues(key, message_file.empty() ? DefaultMessageFile() : message_file);
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
