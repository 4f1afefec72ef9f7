// The small text helpers that the output formats share: JSON strings, UTC times, measurements,
// base64. Each comes in a form that appends to a text, so that a format builds its bytes in one
// buffer, and in one that returns a new text. Pure functions, any thread; they fail only when there
// is no memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zvevent {

// Appends `text` as the inside of a JSON string, without the quotes. Bytes from 0x20 up other than
// '"' and '\' go through unchanged, valid UTF-8 or not; the rest is escaped.
void AppendJsonEscaped(std::string& out, std::string_view text);
std::string JsonEscape(std::string_view text);

// A JSON number that brings the double back exactly; null for infinities and not-a-numbers.
void AppendJsonNumber(std::string& out, double number);
std::string FormatJsonNumber(double number);

// The same digits; nothing for infinities and not-a-numbers.
void AppendMeasurementText(std::string& out, double number);
std::string FormatMeasurementText(double number);

// "2023-11-14T22:13:20Z", with nine digits of fraction before the Z only when it is not zero.
// `utc_ns` is nanoseconds since 1970-01-01 UTC.
void AppendUtcIso8601(std::string& out, std::uint64_t utc_ns);
std::string FormatUtcIso8601(std::uint64_t utc_ns);

// "2023-11-14T22:13:20.000000000Z", always with nine digits of fraction.
void AppendUtcIso8601Nanos(std::string& out, std::uint64_t utc_ns);
std::string FormatUtcIso8601Nanos(std::uint64_t utc_ns);

// The same at `to`, which has that many bytes of room. Returns its end.
inline constexpr std::size_t kUtcNanosBytes = sizeof "0000-00-00T00:00:00.000000000Z" - 1;
char* WriteUtcIso8601Nanos(char* to, std::uint64_t utc_ns);

// RFC 4648 base64 with the standard alphabet, padded, without line breaks.
std::string Base64Encode(std::string_view bytes);

}  // namespace zvevent
