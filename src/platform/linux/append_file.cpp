#include "platform/append_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/signals_held.h"

namespace zvevent {

bool AppendFile::Open(const std::string& path) {
    Close();
    // O_NONBLOCK changes nothing for files; a pipe that nobody reads is refused instead of waited
    // for.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    handle_ = ::open(path.c_str(), kFlags, 0666);
    return IsOpen();
}

void AppendFile::Close() noexcept {
    if (IsOpen()) ::close(static_cast<int>(handle_));
    handle_ = kNoHandle;
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

bool FileIsMissingOrEmpty(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return true;
    const off_t end = ::lseek(file, 0, SEEK_END);
    ::close(file);
    return end < 1;
}

void EmptyFileOfSize(const std::string& path, std::uint64_t size) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return;
    struct stat status {};
    if (fstat(file, &status) == 0 && static_cast<std::uint64_t>(status.st_size) == size) {
        static_cast<void>(ftruncate(file, 0) == 0);
    }
    ::close(file);
}

}  // namespace zvevent
