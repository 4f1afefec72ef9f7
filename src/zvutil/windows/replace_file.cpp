#include "zvutil/replace_file.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "platform/windows/wide_text.h"

namespace zvevent {
namespace {

constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                  FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED |
                                  FILE_ATTRIBUTE_ENCRYPTED;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// FileRenameInfoEx, which the headers show only to programs for a later Windows than this one. A
// system that does not know it says so.
constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);

class FileHandle {
public:
    explicit FileHandle(HANDLE handle) : handle_(handle) {}
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle() { Close(); }

    HANDLE Get() const { return handle_; }
    explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }

    void Close() {
        if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
        handle_ = INVALID_HANDLE_VALUE;
    }

private:
    HANDLE handle_;
};

// What is needed of the file that is to be replaced.
struct Target {
    std::wstring path;
    DWORD attributes = FILE_ATTRIBUTE_NORMAL;
    std::vector<std::byte> access_list;  // a security descriptor, empty when there is none
};

// Renaming an open file takes no path that is relative to the working directory.
std::wstring FullPath(const std::wstring& path) {
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD size = static_cast<DWORD>(full.size());
    const DWORD length = GetFullPathNameW(path.c_str(), size, full.data(), nullptr);
    if (length == 0 || length >= size) return path;
    full.resize(length);
    return full;
}

// The path behind all links; the path as given where the file system cannot tell.
std::wstring FinalPath(HANDLE file, std::wstring path) {
    const DWORD size = GetFinalPathNameByHandleW(file, nullptr, 0, FILE_NAME_NORMALIZED);
    if (size == 0) return path;
    std::wstring final_path(size, L'\0');
    const DWORD length =
        GetFinalPathNameByHandleW(file, final_path.data(), size, FILE_NAME_NORMALIZED);
    if (length == 0 || length >= size) return path;
    final_path.resize(length);
    return final_path;
}

std::vector<std::byte> AccessList(HANDLE file) {
    DWORD size = 0;
    GetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<std::byte> descriptor(size);
    if (size != 0 &&
        !GetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, descriptor.data(), size, &size)) {
        descriptor.clear();
    }
    return descriptor;
}

// Opening the file for writing asks the system whether this process may change it.
bool FindTarget(const char* path, Replace how, Target& target) {
    std::wstring wide = FullPath(WideText(path));
    const FileHandle file(CreateFileW(wide.c_str(), GENERIC_READ | GENERIC_WRITE, kShareAll,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!file && how == Replace::kAlsoCreates && GetLastError() == ERROR_FILE_NOT_FOUND) {
        target.path = std::move(wide);
        return true;
    }
    if (!file || GetFileType(file.Get()) != FILE_TYPE_DISK ||
        !GetFileInformationByHandle(file.Get(), &information)) {
        return false;
    }
    target.path = FinalPath(file.Get(), std::move(wide));
    target.attributes = information.dwFileAttributes & kKeptAttributes;
    target.access_list = AccessList(file.Get());
    return (information.dwFileAttributes & FILE_ATTRIBUTE_READONLY) == 0;
}

// A temporary file left by a killed process has its name taken, so that the next number is tried.
// Everything is shared: once the file has the name of the target, others open it.
HANDLE CreateBeside(Target& target, bool synced, std::wstring& name) {
    constexpr int kAttempts = 100;
    static std::atomic<std::uint32_t> serial{0};
    // Written through, so is the renaming.
    const DWORD flags = target.attributes | (synced ? FILE_FLAG_WRITE_THROUGH : 0U);
    SECURITY_ATTRIBUTES security{sizeof(security), target.access_list.data(), FALSE};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        name = target.path + L".zvtmp-" + std::to_wstring(GetCurrentProcessId()) + L'-' +
               std::to_wstring(serial++);
        const HANDLE handle = CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, kShareAll,
                                          target.access_list.empty() ? nullptr : &security,
                                          CREATE_NEW, flags, nullptr);
        if (handle != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS) return handle;
    }
    return INVALID_HANDLE_VALUE;
}

bool WriteAll(HANDLE file, std::string_view contents) {
    constexpr std::size_t kBlock = 1 << 20;
    while (!contents.empty()) {
        const DWORD block = static_cast<DWORD>(std::min(contents.size(), kBlock));
        DWORD written = 0;
        if (!WriteFile(file, contents.data(), block, &written, nullptr) || written == 0) {
            return false;
        }
        contents.remove_prefix(written);
    }
    return true;
}

// Takes the name from a file that others hold open, as long as they share its deletion. Windows 10
// on NTFS can do it.
bool RenameOver(HANDLE file, const std::wstring& to) {
    const std::size_t name_bytes = to.size() * sizeof(wchar_t);
    std::vector<std::byte> buffer(sizeof(FILE_RENAME_INFO) + name_bytes);
    auto* const info = new (buffer.data()) FILE_RENAME_INFO{};
    info->Flags = FILE_RENAME_FLAG_REPLACE_IF_EXISTS | FILE_RENAME_FLAG_POSIX_SEMANTICS;
    info->FileNameLength = static_cast<DWORD>(name_bytes);
    std::memcpy(info->FileName, to.data(), name_bytes);
    return SetFileInformationByHandle(file, kRenameInfoEx, info,
                                      static_cast<DWORD>(buffer.size())) != FALSE;
}

// Another process that is just reading or saving the same file, or scanning it, may keep the name
// from being replaced for a moment. MoveFileEx and not ReplaceFile, whose failure can leave no file
// under the name.
bool MoveOver(HANDLE file, const std::wstring& from, const std::wstring& to, bool synced) {
    constexpr int kAttempts = 20;
    constexpr DWORD kPauseMs = 10;
    const DWORD flags = MOVEFILE_REPLACE_EXISTING | (synced ? MOVEFILE_WRITE_THROUGH : 0U);
    for (int attempt = 1;; ++attempt) {
        if (RenameOver(file, to) || MoveFileExW(from.c_str(), to.c_str(), flags)) return true;
        const DWORD error = GetLastError();
        if (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) return false;
        if (attempt == kAttempts) return false;
        Sleep(kPauseMs);
    }
}

}  // namespace

bool ReadWholeFile(const char* path, std::size_t max_bytes, std::string& contents) {
    const FileHandle file(CreateFileW(WideText(path).c_str(), GENERIC_READ, kShareAll, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file || GetFileType(file.Get()) != FILE_TYPE_DISK) return false;
    contents.clear();
    char block[16384];
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(file.Get(), block, sizeof(block), &got, nullptr)) return false;
        if (got == 0) return true;
        contents.append(block, got);
        if (contents.size() > max_bytes) return false;
    }
}

bool ReplaceFileContents(const char* path, std::string_view contents, Replace how) {
    Target target;
    if (!FindTarget(path, how, target)) return false;
    const bool synced = how == Replace::kExistingSynced;
    std::wstring temporary;
    FileHandle file(CreateBeside(target, synced, temporary));
    if (!file) return false;
    if (!WriteAll(file.Get(), contents) || (synced && !FlushFileBuffers(file.Get())) ||
        !MoveOver(file.Get(), temporary, target.path, synced)) {
        file.Close();
        DeleteFileW(temporary.c_str());
        return false;
    }
    return true;
}

}  // namespace zvevent
