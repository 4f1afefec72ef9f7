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

    // Opens or creates the file. False when the system refuses. Waits for one who is alone with it
    // until that one shares, a quarter of a second at most.
    bool Open(const std::string& path);
    bool IsOpen() const { return handle_ != kNoHandle; }
    void Close() noexcept;

    // After Open: whether no other AppendFile, in whatever process, has the file open. None can
    // find itself alone before Share; who does not call it stays the only one to do so.
    bool IsAlone() const { return alone_; }
    void Share() noexcept;

    // Returns how many bytes reached the file: less than given when the system refuses the rest
    // (a full disk).
    std::size_t Append(std::string_view bytes) noexcept;

    // Takes the last `bytes` of what Append has just written out of the file again, if nothing was
    // appended since. (A writer elsewhere that appends between the look and the cut loses what it
    // wrote: a moment on a disk that was full just before.) Returns whether they are gone.
    bool TakeBack(std::size_t bytes) noexcept;

    // What the path stands for now, seen from the open file.
    enum class Place {
        kHere,       // the open file; also when that cannot be told
        kEmptied,    // the open file, which has no bytes any more
        kElsewhere,  // another file, or none
    };
    Place Look(const std::string& path) const;

private:
    static constexpr std::intptr_t kNoHandle = -1;
    std::intptr_t handle_ = kNoHandle;
    // What a try to lock the file came to; kTaken: another is alone with it. A file system without
    // locks: alone.
    enum class Locked { kAlone, kShared, kTaken };
    Locked TryLock() noexcept;
    void WaitForLock();

    bool alone_ = false;
    // What the system knows the open file by, so that one look at the path is enough.
    std::uint64_t volume_ = 0;
    std::uint64_t file_ = 0;
};

// The bytes of a file; 0 when it cannot be opened for reading or is no ordinary file.
std::uint64_t FileSize(const std::string& path);

// At most `count` bytes from `offset` on; empty when there are none or they cannot be read.
std::string ReadFile(const std::string& path, std::uint64_t offset, std::size_t count);

// Gives a file another name, which nothing may have yet. False when the system refuses.
bool RenameFile(const std::string& from, const std::string& to);

// Has the system bring what was written to the file to the disk; waits for it. False when it could
// not.
bool SyncFile(const std::string& path);

// The path from the root on, by the working directory of this moment.
std::string AbsolutePath(const std::string& path);

}  // namespace zvevent
