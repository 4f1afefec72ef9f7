// Where a benchmark keeps a file for a while: two that run at once have files of their own.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace zvevent::bench {

// `name` tells the files of one process apart.
inline std::filesystem::path TemporaryPath(const std::string& name) {
    return std::filesystem::temp_directory_path() /
           ("zvevent-bench-" + std::to_string(getpid()) + '-' + name);
}

}  // namespace zvevent::bench
