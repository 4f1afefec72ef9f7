#include "zvutil/replace_file.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/windows/wide_text.h"

namespace zvevent {
namespace {

constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                  FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED |
                                  FILE_ATTRIBUTE_ENCRYPTED;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

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
    DWORD attributes = 0;
    std::vector<std::byte> access_list;  // a security descriptor, empty when there is none
};

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
bool FindTarget(const char* path, Target& target) {
    std::wstring wide = WideText(path);
    const FileHandle file(CreateFileW(wide.c_str(), GENERIC_READ | GENERIC_WRITE, kShareAll,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
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
HANDLE CreateBeside(Target& target, std::wstring& name) {
    constexpr int kAttempts = 100;
    static std::atomic<std::uint32_t> serial{0};
    SECURITY_ATTRIBUTES security{sizeof(security), target.access_list.data(), FALSE};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        name = target.path + L".zvtmp-" + std::to_wstring(GetCurrentProcessId()) + L'-' +
               std::to_wstring(serial++);
        const HANDLE handle = CreateFileW(name.c_str(), GENERIC_WRITE, 0,
                                          target.access_list.empty() ? nullptr : &security,
                                          CREATE_NEW, target.attributes, nullptr);
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

// Another process that is just reading or saving the same file, or scanning it, keeps the name from
// being replaced for a moment. MoveFileEx and not ReplaceFile, whose failure can leave no file
// under the name.
bool MoveOver(const std::wstring& from, const std::wstring& to) {
    constexpr int kAttempts = 20;
    constexpr DWORD kPauseMs = 10;
    for (int attempt = 1;; ++attempt) {
        if (MoveFileExW(from.c_str(), to.c_str(),
                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            return true;
        }
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

bool ReplaceFileContents(const char* path, std::string_view contents) {
    Target target;
    if (!FindTarget(path, target)) return false;
    std::wstring temporary;
    FileHandle file(CreateBeside(target, temporary));
    if (!file) return false;
    const bool written = WriteAll(file.Get(), contents) && FlushFileBuffers(file.Get());
    file.Close();
    if (!written || !MoveOver(temporary, target.path)) {
        DeleteFileW(temporary.c_str());
        return false;
    }
    return true;
}

}  // namespace zvevent
