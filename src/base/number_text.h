// Numbers appended to a text as the C locale writes them, whatever the process's locale, without
// allocating anything but the text's own growth. Any thread.
#pragma once

#include <charconv>
#include <concepts>
#include <string>

namespace zvevent {

// Plain decimal, "-" before negative numbers.
template <std::integral Number>
void AppendDecimal(std::string& text, Number number) {
    char digits[24];  // 64 bits need 20, with sign
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text.append(digits, end);
}

// Significant digits that bring every double back exactly.
inline constexpr int kRoundTripDigits = 17;

// What printf writes for "%.<digits>g": trailing zeros dropped, exponent form below 1e-4 and from
// 10^digits up, "inf", "-inf", "nan" and "-nan". `digits` is 1 to 17.
void AppendGeneral(std::string& text, double number, int digits);

}  // namespace zvevent
