#include "terminal.h"

#include <windows.h>
// After windows.h, which it needs.
#include <shellapi.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <string_view>
#include <utility>

namespace zvevent::tool {

namespace {

std::string Utf8(std::wstring_view wide) {
    const int length = static_cast<int>(wide.size());
    const int needed =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), needed, nullptr, nullptr);
    return text;
}

// Consoles before Windows 10 know no colour sequences; the mode is refused there.
void LetConsoleColour(DWORD which) {
    const HANDLE console = GetStdHandle(which);
    DWORD mode = 0;
    if (GetConsoleMode(console, &mode) != 0)
        SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

std::function<void()> stop_wish;  // set before the system may call

BOOL WINAPI OnConsoleEvent(DWORD /*event*/) {
    stop_wish();
    return TRUE;
}

}  // namespace

std::vector<std::string> BeginProcess(int /*argc*/, char** /*argv*/) {
    SetConsoleOutputCP(CP_UTF8);
    LetConsoleColour(STD_OUTPUT_HANDLE);
    LetConsoleColour(STD_ERROR_HANDLE);
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);

    std::vector<std::string> arguments;
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; wide != nullptr && i < count; ++i)
        arguments.push_back(Utf8(wide[i]));
    LocalFree(wide);
    return arguments;
}

bool IsTerminal(Stream stream) {
    constexpr DWORD kHandles[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(kHandles[static_cast<int>(stream)]), &mode) != 0;
}

// The system calls on a thread of its own.
void OnInterrupt(std::function<void()> stop) {
    stop_wish = std::move(stop);
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

}  // namespace zvevent::tool
