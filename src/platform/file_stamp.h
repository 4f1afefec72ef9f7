// What tells one state of a file from another without reading it. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace zvevent {

struct FileStamp {
    bool exists = false;
    std::uint64_t id = 0;  // another one when the file was replaced
    std::uint64_t size = 0;
    std::uint64_t modified = 0;  // in the system's own unit

    bool operator==(const FileStamp&) const = default;
};

// Of the file at `path` (UTF-8), links followed.
FileStamp StampOf(const std::string& path);

}  // namespace zvevent
