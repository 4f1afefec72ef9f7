// Finds what a configuration holds and nobody reads: misspelt keys and settings.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zvutil/zvutil.h"

namespace zvevent {

// The paths, from the top, of all keys and values below the root key that have no meaning, in
// document order. What lies below an unknown key is not listed. Names match exactly.
std::vector<std::string> UnknownKeys(zvCFGHandle tree);

// The names that have a meaning where such a path ends.
std::vector<std::string> KnownNamesBeside(std::string_view path);

}  // namespace zvevent
