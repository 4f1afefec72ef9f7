// A file that is only ever appended to, whole pieces at a time: each Append is one operation of the
// system, so that several writers of one file, in one process or in several, never mix within a
// piece. No signal comes of a write (POSIX). Paths are UTF-8. Not thread-safe: the owner locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zvevent {

class AppendFile {
public:
    AppendFile() = default;
    ~AppendFile() { Close(); }
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    // Opens or creates the file. False when the system refuses.
    bool Open(const std::string& path);
    bool IsOpen() const { return handle_ != kNoHandle; }
    void Close() noexcept;

    // Returns how many bytes reached the file: less than given when the system refuses the rest
    // (a full disk).
    std::size_t Append(std::string_view bytes) noexcept;

private:
    static constexpr std::intptr_t kNoHandle = -1;
    std::intptr_t handle_ = kNoHandle;
};

// Whether the file cannot be opened for reading, or has no bytes.
bool FileIsMissingOrEmpty(const std::string& path);

// Empties the file if it still has exactly that many bytes.
void EmptyFileOfSize(const std::string& path, std::uint64_t size);

}  // namespace zvevent
