#include "platform/file_stamp.h"

#include <sys/stat.h>

namespace zvevent {

FileStamp StampOf(const std::string& path) {
    constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return {};
    return {true, status.st_ino, static_cast<std::uint64_t>(status.st_size),
            static_cast<std::uint64_t>(status.st_mtim.tv_sec) * kNanosPerSecond +
                static_cast<std::uint64_t>(status.st_mtim.tv_nsec)};
}

}  // namespace zvevent
