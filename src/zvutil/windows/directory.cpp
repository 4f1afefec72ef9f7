#include <windows.h>

#include "platform/windows/wide_text.h"
#include "zvutil/zvutil.h"

std::uint32_t zvOSFileIsDir(const char* path) noexcept {
    if (path == nullptr) return 0;
    try {
        const DWORD attributes = GetFileAttributesW(zvevent::WideText(path).c_str());
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0
                   ? 1
                   : 0;
    } catch (...) {
        return 0;
    }
}

std::uint32_t zvOSMakeDir(const char* path, std::uint32_t) noexcept {
    if (path == nullptr) return ERROR_INVALID_PARAMETER;
    try {
        return CreateDirectoryW(zvevent::WideText(path).c_str(), nullptr) ? 0 : GetLastError();
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}
