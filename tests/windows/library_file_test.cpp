// What the DLL carries for Event Viewer and for people.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

namespace {

struct LibraryFile : ::testing::Test {
    ~LibraryFile() override { FreeLibrary(library_); }

    const HMODULE library_ = LoadLibraryA("zvEvent.dll");
};

TEST_F(LibraryFile, DescribesItsEvents) {
    const std::wstring text = L"zvEvent event_id=7 message=\"100 % sure\"";
    DWORD_PTR arguments[] = {reinterpret_cast<DWORD_PTR>(text.c_str())};
    for (const DWORD language : {0x0000UL, 0x0409UL, 0x0407UL}) {
        wchar_t buffer[256] = L"";
        FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, library_, 4096,
                       language, buffer, 256, reinterpret_cast<va_list*>(arguments));
        EXPECT_EQ(buffer, text + L"\r\n") << "language " << language;
    }
}

TEST_F(LibraryFile, SaysItsNameAndVersion) {
    char path[MAX_PATH];
    GetModuleFileNameA(library_, path, sizeof path);
    std::vector<char> info(GetFileVersionInfoSizeA(path, nullptr));
    ASSERT_TRUE(GetFileVersionInfoA(path, 0, static_cast<DWORD>(info.size()), info.data()));
    for (const auto& [name, expected] :
         {std::pair("ProductName", "zvEvent"), std::pair("ProductVersion", ZVEVENT_TEST_VERSION),
          std::pair("FileVersion", ZVEVENT_TEST_VERSION)}) {
        void* value = nullptr;
        UINT size = 0;
        const std::string block = std::string("\\StringFileInfo\\040904B0\\") + name;
        ASSERT_TRUE(VerQueryValueA(info.data(), block.c_str(), &value, &size));
        EXPECT_STREQ(static_cast<const char*>(value), expected);
    }
}

}  // namespace
