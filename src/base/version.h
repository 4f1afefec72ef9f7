// Which version of the library this is. The text stands in the binary as "zvEvent version 1.0.0",
// where `strings` finds it.
#pragma once

#include <string_view>

namespace zvevent {

// Such as "1.0.0".
std::string_view VersionText() noexcept;

}  // namespace zvevent
