#include "format/text.h"

#include <array>
#include <chrono>
#include <cmath>

#include "base/number_text.h"

namespace zvevent {

namespace {

constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;

// For every byte: 0 when JSON takes it as it is, the letter of its short escape, or 'u'.
constexpr auto kJsonEscapes = [] {
    std::array<char, 256> escapes{};
    for (std::size_t control = 0; control < 0x20; ++control)
        escapes[control] = 'u';
    escapes['\b'] = 'b';
    escapes['\t'] = 't';
    escapes['\n'] = 'n';
    escapes['\f'] = 'f';
    escapes['\r'] = 'r';
    escapes['"'] = '"';
    escapes['\\'] = '\\';
    return escapes;
}();

// The calendar runs in the system clock's days, which hold every 64-bit count of seconds that
// nanoseconds can be split into (the last one is in the year 2554).
void AppendUtcSeconds(std::string& out, std::uint64_t seconds) {
    using std::chrono::days;
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    const auto midnight = std::chrono::floor<days>(time);
    const std::chrono::year_month_day date{midnight};
    const std::chrono::hh_mm_ss clock{time - midnight};

    char text[] = "0000-00-00T00:00:00";
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
    out.append(text, sizeof text - 1);
}

void AppendNanoFraction(std::string& out, std::uint64_t nanos) {
    char text[] = ".000000000";
    for (std::size_t at = sizeof text - 2; at > 0; --at, nanos /= 10) {
        text[at] = static_cast<char>('0' + nanos % 10);
    }
    out.append(text, sizeof text - 1);
}

template <typename Append, typename Value>
std::string Appended(Append append, const Value& value) {
    std::string out;
    append(out, value);
    return out;
}

}  // namespace

void AppendJsonEscaped(std::string& out, std::string_view text) {
    // Runs of plain bytes are copied at once.
    const char* run = text.data();
    const char* const end = run + text.size();
    for (const char* at = run; at != end; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        const char escape = kJsonEscapes[byte];
        if (escape == 0) [[likely]]
            continue;
        out.append(run, at);
        run = at + 1;
        out += '\\';
        out += escape;
        if (escape == 'u') {
            constexpr std::string_view kHex = "0123456789abcdef";
            out.append("00").append(1, kHex[byte >> 4]).append(1, kHex[byte & 0xF]);
        }
    }
    out.append(run, end);
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
    AppendUtcSeconds(out, utc_ns / kNanosPerSecond);
    const std::uint64_t nanos = utc_ns % kNanosPerSecond;
    if (nanos != 0) AppendNanoFraction(out, nanos);
    out += 'Z';
}

std::string FormatUtcIso8601(std::uint64_t utc_ns) {
    return Appended(AppendUtcIso8601, utc_ns);
}

void AppendUtcIso8601Nanos(std::string& out, std::uint64_t utc_ns) {
    AppendUtcSeconds(out, utc_ns / kNanosPerSecond);
    AppendNanoFraction(out, utc_ns % kNanosPerSecond);
    out += 'Z';
}

std::string FormatUtcIso8601Nanos(std::uint64_t utc_ns) {
    return Appended(AppendUtcIso8601Nanos, utc_ns);
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
