#include <sys/stat.h>

#include <cerrno>

#include "zvutil/zvutil.h"

std::uint32_t zvOSFileIsDir(const char* path) noexcept {
    struct stat status {};
    return path != nullptr && stat(path, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}

std::uint32_t zvOSMakeDir(const char* path, std::uint32_t mode) noexcept {
    if (path == nullptr) return EINVAL;
    return mkdir(path, static_cast<mode_t>(mode)) == 0 ? 0 : static_cast<std::uint32_t>(errno);
}
