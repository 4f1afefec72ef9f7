#include "base/number_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace zvevent {

namespace {

// Whether "%.<digits>g" surely writes `number` as a plain whole number. Not so for zero, which may
// be negative.
bool IsShortWhole(double number, int digits) {
    const double limit = digits >= 15 ? 1e15 : digits >= 6 ? 1e6 : 0;
    return number > -limit && number < limit && number != 0 &&
           static_cast<double>(static_cast<std::int64_t>(number)) == number;
}

// What the thread has written lately. Thresholds, and the values of a quiet source, come again and
// again, and an event's go to several outputs; the digits of one cost some 60 ns.
class KnownNumbers {
public:
    char* Write(char* to, double number, int digits) {
        const auto bits = std::bit_cast<std::uint64_t>(number);
        // Thresholds differ in the high bits, measured values in all.
        const std::uint64_t mixed =
            (bits + static_cast<std::uint64_t>(digits)) * 0x9E3779B97F4A7C15;
        Known& known = known_[mixed >> (64 - kBits)];
        if (known.bits != bits || known.digits != digits) {
            const auto end = std::to_chars(known.text, known.text + kMostGeneralBytes, number,
                                           std::chars_format::general, digits)
                                 .ptr;
            known.bits = bits;
            known.digits = digits;
            known.length = static_cast<std::uint32_t>(end - known.text);
        }
        std::memcpy(to, known.text, kMostGeneralBytes);  // as many as there can be: no call
        return to + known.length;
    }

private:
    struct Known {
        std::uint64_t bits;
        int digits;  // 0: none yet
        std::uint32_t length;
        char text[kMostGeneralBytes];
    };
    static constexpr int kBits = 4;
    std::array<Known, 1U << kBits> known_;
};
thread_local constinit KnownNumbers known_numbers{};

}  // namespace

// Times in nanoseconds are what is long. Their two halves do not wait for each other, as a division
// for each two digits does: 8 ns instead of 14.
char* WriteUnsigned(char* to, std::uint64_t number) {
    constexpr std::uint64_t kHalf = 1'000'000'000;
    const auto low = static_cast<std::uint32_t>(number % kHalf);
    if (number < kHalf) return std::to_chars(to, to + kMostDecimalBytes, low).ptr;
    return WriteNineDigits(std::to_chars(to, to + kMostDecimalBytes, number / kHalf).ptr, low);
}

char* WriteNineDigits(char* to, std::uint32_t number) {
    static constexpr auto kPairs = [] {
        std::array<std::array<char, 2>, 100> pairs{};
        for (std::size_t i = 0; i < pairs.size(); ++i)
            pairs[i] = {static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)};
        return pairs;
    }();
    const auto four_digits = [](char* at, std::uint32_t four) {
        std::memcpy(at, kPairs[four / 100].data(), 2);
        std::memcpy(at + 2, kPairs[four % 100].data(), 2);
    };
    const std::uint32_t eight = number % 100'000'000;
    *to = static_cast<char>('0' + number / 100'000'000);
    four_digits(to + 1, eight / 10'000);
    four_digits(to + 5, eight % 10'000);
    return to + 9;
}

void AppendGeneral(std::string& text, double number, int digits) {
    char number_text[kMostGeneralBytes];
    text.append(number_text, WriteGeneral(number_text, number, digits));
}

char* WriteGeneral(char* to, double number, int digits) {
    if (!IsShortWhole(number, digits)) return known_numbers.Write(to, number, digits);
    return std::to_chars(to, to + kMostGeneralBytes, static_cast<std::int64_t>(number)).ptr;
}

}  // namespace zvevent
