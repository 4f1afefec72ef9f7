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

// Append access without write access makes the system place every write at the file's end.
constexpr DWORD kAppend = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;

class Handle {
public:
    explicit Handle(HANDLE handle) : handle_(handle) {}
    Handle(const std::string& path, DWORD access)
        : Handle(CreateFileW(WideText(path).c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr)) {}
    ~Handle() {
        if (IsOpen()) CloseHandle(handle_);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }

private:
    const HANDLE handle_;
};

HANDLE AsHandle(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

std::uint64_t SizeOf(HANDLE file) {
    LARGE_INTEGER size;
    return GetFileSizeEx(file, &size) != 0 ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

LARGE_INTEGER Position(std::uint64_t offset) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    return position;
}

std::uint64_t FileId(const BY_HANDLE_FILE_INFORMATION& info) {
    return std::uint64_t{info.nFileIndexHigh} << 32 | info.nFileIndexLow;
}

// Locks one byte far behind the end of any file: seen by those who ask for it only. Needs a handle
// that may read; a file system without locks says no as to one that may not.
bool LockMark(HANDLE file, DWORD how) {
    OVERLAPPED where{};
    where.OffsetHigh = std::numeric_limits<std::int32_t>::max();
    return LockFileEx(file, how | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &where) != 0;
}

}  // namespace

bool AppendFile::Open(const std::string& path) {
    Close();
    const std::wstring name = WideText(path);
    for (const DWORD access : {kAppend | FILE_READ_DATA, kAppend}) {
        const HANDLE file = CreateFileW(name.c_str(), access, kShareAll, nullptr, OPEN_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        handle_ = reinterpret_cast<std::intptr_t>(file);
        if (IsOpen() || GetLastError() != ERROR_ACCESS_DENIED) break;
    }
    WaitForLock();
    BY_HANDLE_FILE_INFORMATION opened{};
    if (IsOpen()) GetFileInformationByHandle(AsHandle(handle_), &opened);
    volume_ = opened.dwVolumeSerialNumber;
    file_ = FileId(opened);
    return IsOpen();
}

AppendFile::Locked AppendFile::TryLock() noexcept {
    const HANDLE file = AsHandle(handle_);
    if (LockMark(file, LOCKFILE_EXCLUSIVE_LOCK)) return Locked::kAlone;
    const DWORD error = GetLastError();
    if (error != ERROR_LOCK_VIOLATION && error != ERROR_IO_PENDING) return Locked::kAlone;
    return LockMark(file, 0) ? Locked::kShared : Locked::kTaken;
}

void AppendFile::Close() noexcept {
    if (IsOpen()) CloseHandle(AsHandle(handle_));
    handle_ = kNoHandle;
}

void AppendFile::Share() noexcept {
    if (!alone_) return;
    alone_ = false;
    OVERLAPPED where{};
    where.OffsetHigh = std::numeric_limits<std::int32_t>::max();
    UnlockFileEx(AsHandle(handle_), 0, 1, 0, &where);
    LockMark(AsHandle(handle_), 0);
}

std::size_t AppendFile::Append(std::string_view bytes) noexcept {
    const std::scoped_lock lock(append_mutex);
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto piece = static_cast<DWORD>(
            std::min<std::size_t>(bytes.size() - done, std::numeric_limits<std::int32_t>::max()));
        DWORD written = 0;
        if (WriteFile(AsHandle(handle_), bytes.data() + done, piece, &written, nullptr) == 0 ||
            written == 0) {
            break;
        }
        done += written;
    }
    return done;
}

bool AppendFile::TakeBack(std::size_t bytes) noexcept {
    const std::scoped_lock lock(append_mutex);
    LARGE_INTEGER end;  // where the last write ended
    if (SetFilePointerEx(AsHandle(handle_), Position(0), &end, FILE_CURRENT) == 0) return false;
    const auto size = static_cast<std::uint64_t>(end.QuadPart);
    if (size < bytes || SizeOf(AsHandle(handle_)) != size) return false;
    const Handle file(ReOpenFile(AsHandle(handle_), GENERIC_WRITE, kShareAll, 0));
    return file.IsOpen() &&
           SetFilePointerEx(file.get(), Position(size - bytes), nullptr, FILE_BEGIN) != 0 &&
           SetEndOfFile(file.get()) != 0;
}

AppendFile::Place AppendFile::Look(const std::string& path) const {
    const Handle file(path, FILE_READ_ATTRIBUTES);
    if (!file.IsOpen()) {
        const DWORD error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? Place::kElsewhere
                                                                              : Place::kHere;
    }
    BY_HANDLE_FILE_INFORMATION named;
    if (GetFileInformationByHandle(file.get(), &named) == 0) return Place::kHere;
    if (named.dwVolumeSerialNumber != volume_ || FileId(named) != file_) return Place::kElsewhere;
    return named.nFileSizeHigh == 0 && named.nFileSizeLow == 0 ? Place::kEmptied : Place::kHere;
}

std::uint64_t FileSize(const std::string& path) {
    const Handle file(path, GENERIC_READ);
    return file.IsOpen() ? SizeOf(file.get()) : 0;
}

std::string ReadFile(const std::string& path, std::uint64_t offset, std::size_t count) {
    const Handle file(path, GENERIC_READ);
    if (!file.IsOpen() ||
        SetFilePointerEx(file.get(), Position(offset), nullptr, FILE_BEGIN) == 0) {
        return {};
    }
    std::string bytes(count, '\0');
    DWORD got = 0;
    ::ReadFile(file.get(), bytes.data(), static_cast<DWORD>(count), &got, nullptr);
    bytes.resize(got);
    return bytes;
}

bool RenameFile(const std::string& from, const std::string& to) {
    return MoveFileExW(WideText(from).c_str(), WideText(to).c_str(), 0) != 0;
}

bool SyncFile(const std::string& path) {
    const Handle file(path, GENERIC_WRITE);
    return file.IsOpen() && FlushFileBuffers(file.get()) != 0;
}

std::string AbsolutePath(const std::string& path) {
    const std::wstring name = WideText(path);
    std::wstring full(GetFullPathNameW(name.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(
        GetFullPathNameW(name.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    const auto convert = [&full](char* text, int size) {
        return WideCharToMultiByte(CP_UTF8, 0, full.data(), static_cast<int>(full.size()), text,
                                   size, nullptr, nullptr);
    };
    std::string narrow(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
    convert(narrow.data(), static_cast<int>(narrow.size()));
    return narrow.empty() ? path : narrow;
}

}  // namespace zvevent
