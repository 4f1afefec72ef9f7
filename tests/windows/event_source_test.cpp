// Installing and removing event log sources, with the real registry.
#include <gtest/gtest.h>
#include <windows.h>

#include <map>
#include <string>

#include "base/last_error.h"
#include "platform/windows/event_source_key.h"
#include "windows/event_source_name.h"
#include "zvEvent/zvEvent.h"

namespace {

// Name to type and bytes.
using Values = std::map<std::string, std::pair<DWORD, std::string>>;

// The values under the source's key; none when there is no key.
Values Stored(const std::string& source) {
    Values values;
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, zvevent::EventSourceKey(source).c_str(), 0, KEY_READ,
                      &key) != ERROR_SUCCESS) {
        return values;
    }
    char name[64], bytes[1024];
    for (DWORD i = 0, type = 0;; ++i) {
        DWORD name_size = sizeof name, size = sizeof bytes;
        if (RegEnumValueA(key, i, name, &name_size, nullptr, &type, reinterpret_cast<BYTE*>(bytes),
                          &size) != ERROR_SUCCESS) {
            break;
        }
        values[name] = {type, std::string(bytes, size)};
    }
    RegCloseKey(key);
    return values;
}

Values Installed(const std::string& message_file) {
    return {{"EventMessageFile", {REG_EXPAND_SZ, message_file + '\0'}},
            {"TypesSupported", {REG_DWORD, {7, 0, 0, 0}}},
            {"CustomSource", {REG_DWORD, {1, 0, 0, 0}}}};
}

TEST(EventSource, IsInstalledRewrittenAndRemoved) {
    const zvevent::test::EventSourceName name;
    const char* const source = name.text.c_str();
    for (const char* file : {"%SystemRoot%\\one.dll", "C:\\two.dll"}) {
        EXPECT_EQ(zvEventInstallWindowsEventSource(source, file), ZVEVENT_OK);
        EXPECT_EQ(Stored(source), Installed(file));
    }
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(zvEventRemoveWindowsEventSource(source), ZVEVENT_OK);
        EXPECT_EQ(Stored(source), Values());
    }
    const HMODULE library = LoadLibraryA("zvEvent.dll");
    char path[MAX_PATH];
    GetModuleFileNameA(library, path, sizeof path);
    const auto install = reinterpret_cast<decltype(&zvEventInstallWindowsEventSource)>(
        reinterpret_cast<void*>(GetProcAddress(library, "zvEventInstallWindowsEventSource")));
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(install(source, none), ZVEVENT_OK);
        EXPECT_EQ(Stored(source), Installed(path));
        zvEventRemoveWindowsEventSource(source);
    }
    FreeLibrary(library);
}

TEST(EventSource, PassesTheSystemsCodeOn) {
    const std::string name(300, 'n');  // longer than the name of a key may be
    HKEY key = nullptr;
    const LSTATUS code = RegCreateKeyExA(HKEY_LOCAL_MACHINE, zvevent::EventSourceKey(name).c_str(),
                                         0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr);
    ASSERT_NE(code, ERROR_SUCCESS);
    EXPECT_EQ(zvEventInstallWindowsEventSource(name.c_str(), "file"), ZVEVENT_E_FAILURE);
    EXPECT_EQ(
        zvevent::LastErrorText(),
        "Unable to create Windows Event Log source registry key error=" + std::to_string(code));
}

}  // namespace
