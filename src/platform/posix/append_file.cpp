#include "platform/append_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace zvevent {

bool AppendFile::Open(const std::string& path) {
    Close();
    handle_ = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    return IsOpen();
}

void AppendFile::Close() noexcept {
    if (IsOpen()) ::close(static_cast<int>(handle_));
    handle_ = kNoHandle;
}

std::size_t AppendFile::Append(std::string_view bytes) noexcept {
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

}  // namespace zvevent
