// Installing and removing event log sources, with the real registry.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "platform/windows/event_source_key.h"
#include "platform/windows/wide_text.h"
#include "windows/event_source_name.h"
#include "zvEvent/zvEvent.h"

namespace zvevent {
namespace {

// The three values of the source's entry as they are stored; empty where one is not there.
std::wstring Stored(const std::string& source) {
    const std::wstring key = WideText(EventSourceKey(source));
    wchar_t file[1024] = L"";
    DWORD types = 0, custom = 0;
    const auto get = [&key](const wchar_t* name, DWORD type, void* data, DWORD size) {
        return RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type | RRF_NOEXPAND, nullptr,
                            data, &size) == ERROR_SUCCESS;
    };
    const bool all = get(L"EventMessageFile", RRF_RT_REG_EXPAND_SZ, file, sizeof file) &&
                     get(L"TypesSupported", RRF_RT_REG_DWORD, &types, sizeof types) &&
                     get(L"CustomSource", RRF_RT_REG_DWORD, &custom, sizeof custom);
    return all ? file + (L" " + std::to_wstring(types)) + L" " + std::to_wstring(custom) : L"";
}

TEST(EventSource, IsInstalledRewrittenAndRemoved) {
    const test::EventSourceName name;
    const char* const source = name.text.c_str();
    for (const char* file : {"%SystemRoot%\\one.dll", "C:\\Grüße\\日本.dll"}) {
        EXPECT_EQ(zvEventInstallWindowsEventSource(source, file), ZVEVENT_OK);
        EXPECT_EQ(Stored(source), WideText(file) + L" 7 1");
    }
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(zvEventRemoveWindowsEventSource(source), ZVEVENT_OK);
        EXPECT_EQ(Stored(source), L"");
    }

    // The library itself, from a place beyond ASCII.
    wchar_t path[MAX_PATH] = L"";
    GetTempPathW(MAX_PATH, path);
    const std::wstring copy = path + WideText(name.text) + L"-Grüße-日本.dll";
    GetModuleFileNameW(LoadLibraryA("zvEvent.dll"), path, MAX_PATH);
    ASSERT_TRUE(CopyFileW(path, copy.c_str(), FALSE));
    const HMODULE library = LoadLibraryW(copy.c_str());
    const auto install = reinterpret_cast<decltype(&zvEventInstallWindowsEventSource)>(
        reinterpret_cast<void*>(GetProcAddress(library, "zvEventInstallWindowsEventSource")));
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(install(source, none), ZVEVENT_OK);
        EXPECT_EQ(Stored(source), copy + L" 7 1");
        zvEventRemoveWindowsEventSource(source);
    }
    FreeLibrary(library);
    DeleteFileW(copy.c_str());
}

}  // namespace
}  // namespace zvevent
