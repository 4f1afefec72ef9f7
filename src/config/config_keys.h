// Key paths of the configuration tree: where the settings stand, creating and listing keys.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zvutil/zvutil.h"

namespace zvevent {

inline constexpr std::string_view kRootKey = "QRV\\Events";

// Creates the key and every missing key above it.
void EnsureKey(zvCFGHandle tree, std::string_view path);

// The names of the keys below a key, in document order; values among them are passed over.
std::vector<std::string> ChildKeys(zvCFGHandle tree, const std::string& path);

}  // namespace zvevent
