// Letter case of the ASCII letters, whatever the process's locale. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace zvevent {

constexpr char ToLowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string LowerAscii(std::string_view text);

// Whether `text` in lower case is `lower`, which must be in lower case already.
bool EqualsLowerAscii(std::string_view text, std::string_view lower);

}  // namespace zvevent
