#include "format/text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>

#include "base/byte_set.h"
#include "base/number_text.h"

namespace zvevent {

namespace {

constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;

// 0 when JSON takes a byte as it is, the letter of its short escape, or 'u'.
constexpr char JsonEscapeOf(unsigned char byte) {
    switch (byte) {
        case '\b':
            return 'b';
        case '\t':
            return 't';
        case '\n':
            return 'n';
        case '\f':
            return 'f';
        case '\r':
            return 'r';
        case '"':
        case '\\':
            return static_cast<char>(byte);
        default:
            return byte < 0x20 ? 'u' : '\0';
    }
}

// Those of which JsonEscapeOf is not 0.
constexpr ByteSet kNeedEscape([](auto byte) {
    return (byte < 0x20) | (byte == '"') | (byte == '\\');
});

using SecondText = std::array<char, sizeof "0000-00-00T00:00:00" - 1>;

// The calendar runs in the system clock's days, which hold every 64-bit count of seconds that
// nanoseconds can be split into (the last one is in the year 2554).
SecondText TextOfSecond(std::uint64_t seconds) {
    using std::chrono::days;
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    const auto midnight = std::chrono::floor<days>(time);
    const std::chrono::year_month_day date{midnight};
    const std::chrono::hh_mm_ss clock{time - midnight};

    SecondText text{'0', '0', '0', '0', '-', '0', '0', '-', '0', '0',
                    'T', '0', '0', ':', '0', '0', ':', '0', '0'};
    const auto put = [&text](std::size_t at, std::size_t digits, std::int64_t number) {
        for (std::size_t i = digits; i-- > 0; number /= 10) {
            text[at + i] = static_cast<char>('0' + number % 10);
        }
    };
    put(0, 4, static_cast<int>(date.year()));
    put(5, 2, static_cast<unsigned>(date.month()));
    put(8, 2, static_cast<unsigned>(date.day()));
    put(11, 2, clock.hours().count());
    put(14, 2, clock.minutes().count());
    put(17, 2, clock.seconds().count());
    return text;
}

// Events come many to a second, and go to several outputs: the thread's last one is kept.
const SecondText& KnownTextOfSecond(std::uint64_t seconds) {
    struct Known {
        std::uint64_t seconds;
        SecondText text;  // begins with 0 before the first use
    };
    static thread_local constinit Known known{};
    if (known.seconds != seconds || known.text[0] == '\0') known = {seconds, TextOfSecond(seconds)};
    return known.text;
}

// At `to`, which has kUtcNanosBytes of room.
char* WriteUtc(char* to, std::uint64_t utc_ns, bool with_fraction) {
    char* end = std::ranges::copy(KnownTextOfSecond(utc_ns / kNanosPerSecond), to).out;
    if (with_fraction) {
        *end++ = '.';
        end = WriteNineDigits(end, static_cast<std::uint32_t>(utc_ns % kNanosPerSecond));
    }
    *end++ = 'Z';
    return end;
}

void AppendUtc(std::string& out, std::uint64_t utc_ns, bool with_fraction) {
    char text[kUtcNanosBytes];
    out.append(text, WriteUtc(text, utc_ns, with_fraction));
}

template <typename Append, typename Value>
std::string Appended(Append append, const Value& value) {
    std::string out;
    append(out, value);
    return out;
}

}  // namespace

void AppendJsonEscaped(std::string& out, std::string_view text) {
    for (std::size_t special; (special = kNeedEscape.FindFirstIn(text)) != text.size();) {
        const auto byte = static_cast<unsigned char>(text[special]);
        const char escape = JsonEscapeOf(byte);
        out.append(text, 0, special).append({'\\', escape});
        if (escape == 'u') {
            constexpr std::string_view kHex = "0123456789abcdef";
            out.append({'0', '0', kHex[byte >> 4], kHex[byte & 0xF]});
        }
        text.remove_prefix(special + 1);
    }
    out.append(text);
}

std::string JsonEscape(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 8);
    AppendJsonEscaped(out, text);
    return out;
}

void AppendJsonNumber(std::string& out, double number) {
    if (std::isfinite(number)) {
        AppendGeneral(out, number, kRoundTripDigits);
    } else {
        out += "null";
    }
}

std::string FormatJsonNumber(double number) {
    return Appended(AppendJsonNumber, number);
}

void AppendMeasurementText(std::string& out, double number) {
    if (std::isfinite(number)) AppendGeneral(out, number, kRoundTripDigits);
}

std::string FormatMeasurementText(double number) {
    return Appended(AppendMeasurementText, number);
}

void AppendUtcIso8601(std::string& out, std::uint64_t utc_ns) {
    AppendUtc(out, utc_ns, utc_ns % kNanosPerSecond != 0);
}

std::string FormatUtcIso8601(std::uint64_t utc_ns) {
    return Appended(AppendUtcIso8601, utc_ns);
}

void AppendUtcIso8601Nanos(std::string& out, std::uint64_t utc_ns) {
    AppendUtc(out, utc_ns, true);
}

std::string FormatUtcIso8601Nanos(std::uint64_t utc_ns) {
    return Appended(AppendUtcIso8601Nanos, utc_ns);
}

char* WriteUtcIso8601Nanos(char* to, std::uint64_t utc_ns) {
    return WriteUtc(to, utc_ns, true);
}

std::string Base64Encode(std::string_view bytes) {
    constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::string_view part = bytes.substr(at, 3);
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8 | (i < part.size() ? static_cast<unsigned char>(part[i]) : 0U);
        }
        out += kAlphabet[group >> 18 & 63];
        out += kAlphabet[group >> 12 & 63];
        out += part.size() > 1 ? kAlphabet[group >> 6 & 63] : '=';
        out += part.size() > 2 ? kAlphabet[group & 63] : '=';
    }
    return out;
}

}  // namespace zvevent
