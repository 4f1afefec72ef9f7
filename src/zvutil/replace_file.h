// Reading and replacing a small file as a whole. Paths are UTF-8. Callable from any thread, also
// for the same file at once: of two replacements the last one stays.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zvevent {

// False when there is no regular file, it cannot be read, or it is larger than `max_bytes`.
bool ReadWholeFile(const char* path, std::size_t max_bytes, std::string& contents);

// Gives an existing file new contents through a temporary file beside it, synced and renamed over
// it: at every moment the name stands for the old contents or the new ones, whole. Permissions
// stay, and where `path` is a symbolic link, its target is replaced. False, leaving the file alone,
// when it is missing, not a regular file, or not writable for this process.
bool ReplaceFileContents(const char* path, std::string_view contents);

}  // namespace zvevent
