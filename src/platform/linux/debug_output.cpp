#include "platform/debug_output.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string_view>

namespace zvevent {

namespace {

// How long a reader that has always kept up may let a line wait.
constexpr int kPatienceMs = 200;
std::atomic<bool> reader_is_stuck{false};

// Which file a descriptor stands for, as far as it can be a standard error.
struct Identity {
    bool usable = false;
    dev_t device = 0;
    ino_t node = 0;
    dev_t special = 0;
    int access = 0;

    bool operator==(const Identity&) const = default;
};

bool IsLocalSocket(int descriptor) {
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX;
}

Identity Identify(int descriptor) noexcept {
    struct stat status;
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags < 0 || fstat(descriptor, &status) != 0) return {};
    const int access = flags & O_ACCMODE;
    bool usable = access != O_RDONLY;
    // Shells open the target of a redirection for writing only; a file that can be read as well is
    // data of the program's.
    if (S_ISREG(status.st_mode)) usable = access == O_WRONLY;
    if (S_ISSOCK(status.st_mode)) usable = IsLocalSocket(descriptor);
    return {usable, status.st_dev, status.st_ino, status.st_rdev, access};
}

// What a program was started with was inherited, so it cannot be closed on execution.
bool IsInherited(int descriptor) noexcept {
    const int flags = fcntl(descriptor, F_GETFD);
    return flags >= 0 && (flags & FD_CLOEXEC) == 0;
}

// Runs when the library is loaded: for a program linked with it before main, so that whatever has
// this number then is what the program was started with.
const Identity standard_error = IsInherited(STDERR_FILENO) ? Identify(STDERR_FILENO) : Identity{};

// Writes without waiting longer than once: the system promises room for PIPE_BUF bytes when it
// calls a pipe writable.
void WritePieces(int descriptor, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        pollfd writable = {descriptor, POLLOUT, 0};
        const int wait_ms = reader_is_stuck.load() ? 0 : kPatienceMs;
        const int ready = poll(&writable, 1, wait_ms);
        reader_is_stuck = ready == 0;
        if (ready <= 0 || (writable.revents & POLLOUT) == 0 || (writable.revents & POLLERR) != 0) {
            return;
        }
        const ssize_t written =
            write(descriptor, bytes.data(), std::min<std::size_t>(bytes.size(), PIPE_BUF));
        if (written <= 0) return;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace

void WriteDebugOutput(const std::string& line) noexcept {
    if (!standard_error.usable || !IsInherited(STDERR_FILENO)) return;
    // A descriptor of our own cannot become another file between the look and the write.
    const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (copy < 0) return;
    if (Identify(copy) == standard_error) WritePieces(copy, line);
    close(copy);
}

}  // namespace zvevent
