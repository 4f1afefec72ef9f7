#include "base/number_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string_view>

namespace zvevent {

namespace {

constexpr std::size_t kLongest = 32;  // sign, 17 digits, point, "e-308", or "0.0001" before 17

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
    std::string_view TextOf(double number, int digits) {
        const auto bits = std::bit_cast<std::uint64_t>(number);
        // Thresholds differ in the high bits, measured values in all.
        const std::uint64_t mixed =
            (bits + static_cast<std::uint64_t>(digits)) * 0x9E3779B97F4A7C15;
        Known& known = known_[mixed >> (64 - kBits)];
        if (known.bits != bits || known.digits != digits) {
            const auto end = std::to_chars(known.text, known.text + kLongest, number,
                                           std::chars_format::general, digits)
                                 .ptr;
            known.bits = bits;
            known.digits = digits;
            known.length = static_cast<std::uint32_t>(end - known.text);
        }
        return {known.text, known.length};
    }

private:
    struct Known {
        std::uint64_t bits;
        int digits;  // 0: none yet
        std::uint32_t length;
        char text[kLongest];
    };
    static constexpr int kBits = 4;
    std::array<Known, 1U << kBits> known_;
};
thread_local constinit KnownNumbers known_numbers{};

}  // namespace

void AppendGeneral(std::string& text, double number, int digits) {
    if (IsShortWhole(number, digits)) {
        AppendDecimal(text, static_cast<std::int64_t>(number));
    } else {
        text.append(known_numbers.TextOf(number, digits));
    }
}

}  // namespace zvevent
