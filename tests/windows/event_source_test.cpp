// Installing and removing event log sources, with the real registry.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "base/last_error.h"
#include "platform/windows/event_source_key.h"
#include "windows/event_source_name.h"
#include "zvEvent/zvEvent.h"

namespace {

using zvevent::LastErrorText;
using zvevent::test::EventSourceName;

// A value as it is stored, with its type.
struct Value {
    DWORD type = REG_NONE;
    std::string bytes;

    bool operator==(const Value&) const = default;
};

Value Text(const std::string& text) {
    return {REG_EXPAND_SZ, text + '\0'};
}

Value Number(char number) {
    return {REG_DWORD, {number, 0, 0, 0}};
}

class Key {
public:
    explicit Key(const std::string& source) {
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, zvevent::EventSourceKey(source).c_str(), 0, KEY_READ,
                          &key_) != ERROR_SUCCESS) {
            key_ = nullptr;
        }
    }
    ~Key() {
        if (Exists()) RegCloseKey(key_);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    bool Exists() const { return key_ != nullptr; }

    DWORD ValueCount() const {
        DWORD count = 0;
        RegQueryInfoKeyA(key_, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                         nullptr, nullptr, nullptr, nullptr);
        return count;
    }

    Value Get(const char* name) const {
        Value value;
        char bytes[1024];
        DWORD size = sizeof bytes;
        if (RegQueryValueExA(key_, name, nullptr, &value.type, reinterpret_cast<BYTE*>(bytes),
                             &size) == ERROR_SUCCESS) {
            value.bytes.assign(bytes, size);
        }
        return value;
    }

private:
    HKEY key_ = nullptr;
};

void ExpectSource(const std::string& source, const std::string& message_file) {
    const Key key(source);
    ASSERT_TRUE(key.Exists());
    EXPECT_EQ(key.ValueCount(), 3U);
    EXPECT_EQ(key.Get("EventMessageFile"), Text(message_file));
    EXPECT_EQ(key.Get("TypesSupported"), Number(7));
    EXPECT_EQ(key.Get("CustomSource"), Number(1));
}

TEST(EventSource, IsInstalledRewrittenAndRemoved) {
    const EventSourceName name("install");
    ASSERT_FALSE(Key(name.text()).Exists());
    for (const char* file : {"%SystemRoot%\\one.dll", "C:\\two.dll"}) {
        EXPECT_EQ(zvEventInstallWindowsEventSource(name.c_str(), file), ZVEVENT_OK);
        EXPECT_EQ(LastErrorText(), "");
        ExpectSource(name.text(), file);
    }
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(zvEventRemoveWindowsEventSource(name.c_str()), ZVEVENT_OK);
        EXPECT_EQ(LastErrorText(), "");
        EXPECT_FALSE(Key(name.text()).Exists());
    }
}

TEST(EventSource, NamesTheLibraryWithoutAMessageFile) {
    const HMODULE library = LoadLibraryA("zvEvent.dll");
    ASSERT_NE(library, nullptr);
    char path[MAX_PATH];
    GetModuleFileNameA(library, path, sizeof path);
    const auto install = reinterpret_cast<decltype(&zvEventInstallWindowsEventSource)>(
        reinterpret_cast<void*>(GetProcAddress(library, "zvEventInstallWindowsEventSource")));
    ASSERT_NE(install, nullptr);
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        const EventSourceName name("default");
        EXPECT_EQ(install(name.c_str(), none), ZVEVENT_OK);
        ExpectSource(name.text(), path);
    }
    FreeLibrary(library);
}

TEST(EventSource, RefusesBadNames) {
    for (const char* name : {static_cast<const char*>(nullptr), "", "a\\b", "\\"}) {
        EXPECT_EQ(zvEventInstallWindowsEventSource(name, "file"), ZVEVENT_E_INVALID_ARGUMENT);
        EXPECT_EQ(LastErrorText(), "Invalid Windows Event Log source name");
        EXPECT_EQ(zvEventRemoveWindowsEventSource(name), ZVEVENT_E_INVALID_ARGUMENT);
        EXPECT_EQ(LastErrorText(), "Invalid Windows Event Log source name");
    }
}

TEST(EventSource, PassesTheSystemsCodeOn) {
    const std::string name(300, 'n');  // longer than the name of a key may be
    HKEY key = nullptr;
    const LSTATUS code = RegCreateKeyExA(HKEY_LOCAL_MACHINE, zvevent::EventSourceKey(name).c_str(),
                                         0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr);
    ASSERT_NE(code, ERROR_SUCCESS);
    EXPECT_EQ(zvEventInstallWindowsEventSource(name.c_str(), "file"), ZVEVENT_E_FAILURE);
    EXPECT_EQ(LastErrorText(), "Unable to create Windows Event Log source registry key error=" +
                                   std::to_string(code));
}

}  // namespace
