// Paths and texts for the wide functions of Windows. Callable from any thread.
#pragma once

#include <string>
#include <string_view>

namespace zvevent {

// UTF-8 as UTF-16. What is not valid UTF-8 is taken in the active code page.
std::wstring WideText(std::string_view text);

}  // namespace zvevent
