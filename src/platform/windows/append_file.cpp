#include "platform/append_file.h"

#include <windows.h>

#include <algorithm>
#include <limits>
#include <mutex>

#include "platform/windows/wide_text.h"

namespace zvevent {

namespace {

// NTFS appends atomically. Network shares and emulations may look for the end first and write then:
// with one append at a time, the writers of this process at least never mix there either.
std::mutex append_mutex;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

}  // namespace

bool AppendFile::Open(const std::string& path) {
    Close();
    // Append access without write access makes the system place every write at the file's end.
    const HANDLE file =
        CreateFileW(WideText(path).c_str(), FILE_APPEND_DATA | SYNCHRONIZE, kShareAll, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    handle_ = reinterpret_cast<std::intptr_t>(file);
    return IsOpen();
}

void AppendFile::Close() noexcept {
    if (IsOpen()) CloseHandle(reinterpret_cast<HANDLE>(handle_));
    handle_ = kNoHandle;
}

std::size_t AppendFile::Append(std::string_view bytes) noexcept {
    const std::scoped_lock lock(append_mutex);
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto piece = static_cast<DWORD>(
            std::min<std::size_t>(bytes.size() - done, std::numeric_limits<std::int32_t>::max()));
        DWORD written = 0;
        if (WriteFile(reinterpret_cast<HANDLE>(handle_), bytes.data() + done, piece, &written,
                      nullptr) == 0 ||
            written == 0) {
            break;
        }
        done += written;
    }
    return done;
}

bool FileIsMissingOrEmpty(const std::string& path) {
    const HANDLE file = CreateFileW(WideText(path).c_str(), GENERIC_READ, kShareAll, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return true;
    LARGE_INTEGER size;
    const bool has_bytes = GetFileSizeEx(file, &size) != 0 && size.QuadPart > 0;
    CloseHandle(file);
    return !has_bytes;
}

void EmptyFileOfSize(const std::string& path, std::uint64_t size) {
    const HANDLE file = CreateFileW(WideText(path).c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    LARGE_INTEGER found;
    if (GetFileSizeEx(file, &found) != 0 && static_cast<std::uint64_t>(found.QuadPart) == size) {
        SetEndOfFile(file);  // a fresh handle stands at the start
    }
    CloseHandle(file);
}

}  // namespace zvevent
