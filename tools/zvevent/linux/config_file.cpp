#include "config_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zvevent::tool {

std::string CreateEmptyFile(const std::string& path) {
    // It is going to hold tokens and passwords.
    constexpr mode_t kOwnerAlone = 0600;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerAlone);
    if (file < 0) return std::generic_category().message(errno);
    close(file);
    return {};
}

bool EveryoneMayRead(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && (status.st_mode & S_IROTH) != 0;
}

}  // namespace zvevent::tool
