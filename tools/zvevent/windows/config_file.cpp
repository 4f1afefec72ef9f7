#include "config_file.h"

#include <windows.h>

#include <system_error>

#include "platform/windows/wide_text.h"

namespace zvevent::tool {

std::string CreateEmptyFile(const std::string& path) {
    const HANDLE file = CreateFileW(WideText(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return std::system_category().message(static_cast<int>(GetLastError()));
    CloseHandle(file);
    return {};
}

bool EveryoneMayRead(const std::string& /*path*/) {
    return false;
}

}  // namespace zvevent::tool
