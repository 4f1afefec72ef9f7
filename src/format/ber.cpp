#include "format/ber.h"

#include <limits>
#include <optional>

namespace zvevent {

namespace {

constexpr char Byte(std::uint64_t number) {
    return static_cast<char>(static_cast<unsigned char>(number));
}

// Inserts tag and length of the `contents` bytes that follow at `at`.
void InsertHeader(std::string& out, std::size_t at, BerTag tag, std::size_t contents) {
    char header[2 + sizeof contents] = {Byte(static_cast<unsigned char>(tag))};
    std::size_t size = 1;
    if (contents < 0x80) {
        header[size++] = Byte(contents);
    } else {
        unsigned length_bytes = 1;
        while (length_bytes < sizeof contents && contents >> 8 * length_bytes != 0)
            ++length_bytes;
        header[size++] = Byte(0x80 | length_bytes);
        while (length_bytes-- > 0)
            header[size++] = Byte(contents >> 8 * length_bytes);
    }
    out.insert(at, header, size);
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

void AppendBerUnsigned(std::string& out, BerTag tag, std::uint32_t number) {
    const std::size_t start = out.size();
    int shift = 24;
    while (shift > 0 && number >> shift == 0)
        shift -= 8;
    if ((number >> shift & 0x80) != 0) out += '\0';  // else it would be a negative number
    for (; shift >= 0; shift -= 8)
        out += Byte(number >> shift);
    WrapBer(out, start, tag);
}

void AppendBerOctets(std::string& out, std::string_view bytes) {
    InsertHeader(out, out.size(), BerTag::kOctetString, bytes.size());
    out.append(bytes);
}

bool AppendBerObjectIdentifier(std::string& out, std::string_view dotted) {
    const std::size_t start = out.size();
    if (!AppendComponents(out, dotted)) {
        out.resize(start);
        return false;
    }
    WrapBer(out, start, BerTag::kObjectIdentifier);
    return true;
}

void WrapBer(std::string& out, std::size_t start, BerTag tag) {
    InsertHeader(out, start, tag, out.size() - start);
}

}  // namespace zvevent
