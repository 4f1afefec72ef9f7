#include "platform/windows/wide_text.h"

#include <windows.h>

#include <cstddef>

namespace zvevent {
namespace {

// False when the text is not valid in the code page and `flags` ask for that.
bool Convert(UINT code_page, DWORD flags, std::string_view text, std::wstring& wide) {
    const int length = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(code_page, flags, text.data(), length, nullptr, 0);
    if (needed <= 0) return false;
    wide.resize(static_cast<std::size_t>(needed));
    return MultiByteToWideChar(code_page, flags, text.data(), length, wide.data(), needed) > 0;
}

}  // namespace

std::wstring WideText(std::string_view text) {
    std::wstring wide;
    if (!Convert(CP_UTF8, MB_ERR_INVALID_CHARS, text, wide)) Convert(CP_ACP, 0, text, wide);
    return wide;
}

}  // namespace zvevent
