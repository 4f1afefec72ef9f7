#include "platform/append_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "platform/linux/signals_held.h"

namespace zvevent {

namespace {

// O_NONBLOCK changes nothing for files; a pipe that nobody serves is refused instead of waited for.
constexpr int kAlways = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

class ReadHandle {
public:
    explicit ReadHandle(const std::string& path) : file_(::open(path.c_str(), O_RDONLY | kAlways)) {
        struct stat status {};
        if (file_ < 0 || fstat(file_, &status) != 0 || !S_ISREG(status.st_mode)) return;
        size_ = static_cast<std::uint64_t>(status.st_size);
    }
    ~ReadHandle() {
        if (file_ >= 0) ::close(file_);
    }
    ReadHandle(const ReadHandle&) = delete;
    ReadHandle& operator=(const ReadHandle&) = delete;

    int file() const { return file_; }
    std::uint64_t size() const { return size_; }

private:
    const int file_;
    std::uint64_t size_ = 0;
};

}  // namespace

bool AppendFile::Open(const std::string& path) {
    Close();
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | kAlways, 0666);
    handle_ = file;
    WaitForLock();
    struct stat status {};
    if (IsOpen()) fstat(file, &status);
    volume_ = status.st_dev;
    file_ = status.st_ino;
    return IsOpen();
}

// The lock is advisory and goes with the handle.
AppendFile::Locked AppendFile::TryLock() noexcept {
    const int file = static_cast<int>(handle_);
    if (flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return Locked::kAlone;
    return flock(file, LOCK_SH | LOCK_NB) == 0 ? Locked::kShared : Locked::kTaken;
}

void AppendFile::Close() noexcept {
    if (IsOpen()) ::close(static_cast<int>(handle_));
    handle_ = kNoHandle;
}

void AppendFile::Share() noexcept {
    if (alone_) flock(static_cast<int>(handle_), LOCK_SH | LOCK_NB);
    alone_ = false;
}

std::size_t AppendFile::Append(std::string_view bytes) noexcept {
    const SignalsHeld held({SIGPIPE, SIGXFSZ});
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written =
            ::write(static_cast<int>(handle_), bytes.data() + done, bytes.size() - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

bool AppendFile::TakeBack(std::size_t bytes) noexcept {
    const int file = static_cast<int>(handle_);
    struct stat status {};
    const off_t end = ::lseek(file, 0, SEEK_CUR);  // where the last write ended
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == end &&
           ftruncate(file, end - static_cast<off_t>(bytes)) == 0;
}

AppendFile::Place AppendFile::Look(const std::string& path) const {
    struct stat named {};
    if (::stat(path.c_str(), &named) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? Place::kElsewhere : Place::kHere;
    }
    if (named.st_dev != volume_ || named.st_ino != file_) return Place::kElsewhere;
    return S_ISREG(named.st_mode) && named.st_size == 0 ? Place::kEmptied : Place::kHere;
}

std::uint64_t FileSize(const std::string& path) {
    return ReadHandle(path).size();
}

std::string ReadFile(const std::string& path, std::uint64_t offset, std::size_t count) {
    const ReadHandle handle(path);
    if (offset >= handle.size()) return {};
    std::string bytes(count, '\0');
    const ssize_t got = ::pread(handle.file(), bytes.data(), count, static_cast<off_t>(offset));
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

bool RenameFile(const std::string& from, const std::string& to) {
    return ::access(to.c_str(), F_OK) != 0 && ::rename(from.c_str(), to.c_str()) == 0;
}

bool SyncFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    const bool synced = file >= 0 && fdatasync(file) == 0;
    if (file >= 0) ::close(file);
    return synced;
}

std::string AbsolutePath(const std::string& path) {
    char directory[PATH_MAX];
    if (path.empty() || path.front() == '/' || getcwd(directory, sizeof directory) == nullptr) {
        return path;
    }
    return std::string(directory).append("/").append(path);
}

}  // namespace zvevent
