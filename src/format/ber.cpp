#include "format/ber.h"

#include <bit>
#include <limits>
#include <optional>

namespace zvevent {

namespace {

constexpr std::size_t kMostHeaderBytes = 2 + sizeof(std::size_t);

constexpr char Byte(std::uint64_t number) {
    return static_cast<char>(static_cast<unsigned char>(number));
}

constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::optional<std::uint32_t> ParseComponent(std::string_view text) {
    constexpr std::uint32_t kMax = std::numeric_limits<std::uint32_t>::max();
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string_view::npos) return {};
    text.remove_prefix(start);
    const bool negative = text.front() == '-';
    if (negative || text.front() == '+') text.remove_prefix(1);
    if (text.empty()) return {};
    std::uint64_t number = 0;
    for (const char c : text) {
        if (!IsDigit(c)) return {};
        number = number * 10 + static_cast<std::uint64_t>(c - '0');
        if (number > kMax) number = std::uint64_t{kMax} + 1;  // too large is all that matters now
    }
    if (number > kMax) return kMax;
    const auto magnitude = static_cast<std::uint32_t>(number);
    return negative ? 0 - magnitude : magnitude;
}

void AppendBase128(std::string& out, std::uint32_t number) {
    int shift = 28;
    while (shift > 0 && number >> shift == 0)
        shift -= 7;
    for (; shift > 0; shift -= 7)
        out += Byte(0x80 | (number >> shift & 0x7F));
    out += Byte(number & 0x7F);
}

bool AppendComponents(std::string& out, std::string_view dotted) {
    std::uint32_t first = 0;
    std::size_t count = 0;
    while (!dotted.empty()) {
        const std::string_view text = dotted.substr(0, dotted.find('.'));
        dotted.remove_prefix(text.size() < dotted.size() ? text.size() + 1 : text.size());
        const std::optional<std::uint32_t> component = ParseComponent(text);
        if (!component) return false;
        if (count == 0) {
            first = *component;
            if (first > 2) return false;
        } else if (count == 1) {
            if (first < 2 && *component > 39) return false;
            out += Byte(first * 40 + *component);
        } else {
            AppendBase128(out, *component);
        }
        ++count;
    }
    return count >= 2;
}

}  // namespace

bool AppendBerObjectIdentifier(std::string& out, std::string_view dotted) {
    std::string components;
    if (!AppendComponents(components, dotted)) return false;
    std::string element(components.size() + kMostHeaderBytes, '\0');
    BerWriter writer(element);
    const char* const end = writer.Begin();
    writer.Encoded(components);
    writer.Wrap(BerTag::kObjectIdentifier, end);
    out.append(writer.Begin(), end);
    return true;
}

void BerWriter::Unsigned(BerTag tag, std::uint32_t number) {
    const char* const end = at_;
    std::uint32_t rest = number;
    char last = 0;
    do {
        last = Byte(rest);
        if (char* const to = Room(1)) *to = last;
        rest >>= 8;
    } while (rest != 0);
    // Else it would be a negative number.
    if ((last & 0x80) != 0) Encoded({"\0", 1});
    Wrap(tag, end);
}

void BerWriter::LongHeader(BerTag tag, std::size_t contents) {
    const auto length_bytes = static_cast<std::size_t>(std::bit_width(contents) + 7) / 8;
    char* to = Room(2 + length_bytes);
    if (to == nullptr) return;
    *to++ = static_cast<char>(tag);
    *to++ = Byte(0x80 | length_bytes);
    for (std::size_t byte = length_bytes; byte-- > 0;)
        *to++ = Byte(contents >> 8 * byte);
}

}  // namespace zvevent
