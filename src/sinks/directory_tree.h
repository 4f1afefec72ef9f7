// Directories with everything above them. Both "/" and "\" separate the parts of a path, on every
// platform. Paths are UTF-8. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace zvevent {

// The path up to its last part, without trailing separators; empty when there is none.
std::string_view DirectoryPart(std::string_view path);

// Creates the directory and every missing one above it. True when it is there in the end; an empty
// path and "." always are.
bool EnsureDirectory(std::string_view path);

}  // namespace zvevent
