// Numbers appended to a text as the C locale writes them, whatever the process's locale, without
// allocating anything but the text's own growth. Any thread.
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace zvevent {

// Plain decimal, "-" before negative numbers.
template <std::integral Number>
void AppendDecimal(std::string& text, Number number) {
    char digits[24];  // 64 bits need 20, with sign
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text.append(digits, end);
}

// The same at `to`, which has kMostDecimalBytes of room. Returns its end.
inline constexpr std::size_t kMostDecimalBytes = 20;  // of 64 bits, with sign
char* WriteUnsigned(char* to, std::uint64_t number);
char* WriteDecimal(char* to, std::integral auto number) {
    if (std::cmp_greater_equal(number, 0)) {
        return WriteUnsigned(to, static_cast<std::uint64_t>(number));
    }
    *to = '-';
    return WriteUnsigned(to + 1, 0 - static_cast<std::uint64_t>(number));
}

// Nine digits, zeros in front, of a number below 1,000,000,000: the nanoseconds of a second.
// Returns their end.
char* WriteNineDigits(char* to, std::uint32_t number);

// Significant digits that bring every double back exactly.
inline constexpr int kRoundTripDigits = 17;

inline constexpr std::size_t kMostGeneralBytes = 32;  // sign, 17 digits, point, "0.000" or "e-308"

// What printf writes for "%.<digits>g": trailing zeros dropped, exponent form below 1e-4 and from
// 10^digits up, "inf", "-inf", "nan" and "-nan". `digits` is 1 to 17.
void AppendGeneral(std::string& text, double number, int digits);

// The same at `to`, which has kMostGeneralBytes of room, all of which may be written. Returns the
// end of the number.
char* WriteGeneral(char* to, double number, int digits);

}  // namespace zvevent
