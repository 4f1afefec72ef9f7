// The message texts that the DLLs carry for Event Viewer.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

TEST(LibraryFile, DescribesItsEvents) {
    const std::wstring text = L"zvEvent event_id=7 message=\"100 % sure\"";
    DWORD_PTR arguments[] = {reinterpret_cast<DWORD_PTR>(text.c_str())};
    for (const char* file : {"zvEvent.dll", "zvEventMessages.dll"}) {
        const HMODULE library = LoadLibraryExA(file, nullptr, LOAD_LIBRARY_AS_DATAFILE);
        for (const DWORD language : {0x0000UL, 0x0409UL, 0x0407UL}) {
            wchar_t buffer[256] = L"";
            FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, library,
                           4096, language, buffer, 256, reinterpret_cast<va_list*>(arguments));
            EXPECT_EQ(buffer, text + L"\r\n") << file << " in language " << language;
        }
        FreeLibrary(library);
    }
}
