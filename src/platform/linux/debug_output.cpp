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

// A standard error is handed on to the programs that the process starts; what the process opened
// for itself, as a rule, is not.
bool IsHandedOn(int descriptor) noexcept {
    const int flags = fcntl(descriptor, F_GETFD);
    return flags >= 0 && (flags & FD_CLOEXEC) == 0;
}

bool IsLocalSocket(int descriptor) noexcept {
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX;
}

// Whether what is behind the descriptor can be meant for lines to look at. Shells and loggers open
// the target of a redirection for writing only; a file that can be read as well is data.
bool TakesLines(int descriptor) noexcept {
    struct stat status;
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags < 0 || fstat(descriptor, &status) != 0) return false;
    const int access = flags & O_ACCMODE;
    switch (status.st_mode & S_IFMT) {
        case S_IFCHR:
        case S_IFIFO:
            return access != O_RDONLY;
        case S_IFREG:
            return access == O_WRONLY;
        case S_IFSOCK:
            return IsLocalSocket(descriptor);
        default:
            return false;
    }
}

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
    if (!IsHandedOn(STDERR_FILENO)) return;
    // A descriptor of our own cannot become another file between the look and the write. Where the
    // process has none left, the risk is taken.
    const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int descriptor = copy >= 0 ? copy : STDERR_FILENO;
    if (TakesLines(descriptor)) WritePieces(descriptor, line);
    if (copy >= 0) close(copy);
}

}  // namespace zvevent
