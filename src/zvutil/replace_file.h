// Reading and replacing a small file as a whole. Paths are UTF-8. Callable from any thread, also
// for the same file at once: of two replacements the last one stays.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zvevent {

// False when there is no regular file, it cannot be read, or it is larger than `max_bytes`.
bool ReadWholeFile(const char* path, std::size_t max_bytes, std::string& contents);

// What a replacement does beyond putting the new contents in place.
enum class Replace {
    kExistingSynced,  // fails when there is no such file; after a power failure the old or the new
    kAlsoCreates,     // leaves the moment of writing to the system
};

// Gives a file new contents through a temporary file beside it, renamed over it: at every moment
// the name stands for the old contents or the new ones, whole. Permissions stay, and where `path`
// is a symbolic link, its target is replaced. False, leaving the file alone and nothing beside it,
// when it is not a regular file, or not writable for this process, or writing fails. Raises no
// signal.
bool ReplaceFileContents(const char* path, std::string_view contents, Replace how);

}  // namespace zvevent
