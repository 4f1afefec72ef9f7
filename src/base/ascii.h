// The ASCII letters, digits and spaces, whatever the process's locale. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace zvevent {

constexpr char ToLowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char ToUpperAscii(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

constexpr bool IsAlnumAscii(char c) {
    const char lower = ToLowerAscii(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9');
}

std::string LowerAscii(std::string_view text);

// Whether `text` in lower case is `lower`, which must be in lower case already.
bool EqualsLowerAscii(std::string_view text, std::string_view lower);

inline constexpr std::string_view kAsciiSpace = " \t\n\v\f\r";

// `text` without the bytes of `space` at its ends.
std::string_view Trimmed(std::string_view text, std::string_view space = kAsciiSpace);

}  // namespace zvevent
