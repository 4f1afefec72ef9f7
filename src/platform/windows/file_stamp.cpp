#include "platform/file_stamp.h"

#include <windows.h>

#include "platform/windows/wide_text.h"

namespace zvevent {

namespace {

constexpr std::uint64_t Joined(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32 | low;
}

}  // namespace

FileStamp StampOf(const std::string& path) {
    // Asks for no access, so that nobody is kept from replacing the file meanwhile.
    const HANDLE file = CreateFileW(WideText(path).c_str(), 0,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {};
    BY_HANDLE_FILE_INFORMATION found{};
    const bool known = GetFileInformationByHandle(file, &found) != 0;
    CloseHandle(file);
    if (!known) return {};
    return {true, Joined(found.nFileIndexHigh, found.nFileIndexLow),
            Joined(found.nFileSizeHigh, found.nFileSizeLow),
            Joined(found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime)};
}

}  // namespace zvevent
