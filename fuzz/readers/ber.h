// Elements of the Basic Encoding Rules with definite lengths, read one after the other.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace zvevent::fuzz {

struct BerElement {
    unsigned char tag;
    std::string_view contents;
};

// Takes the first element off `bytes`. Lengths have to be as short as they can.
inline std::optional<BerElement> ReadBer(std::string_view& bytes) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    if (bytes.size() < 2) return {};
    std::size_t length = byte(1), header = 2;
    if (length >= 0x80) {
        const std::size_t count = length & 0x7F;
        if (count == 0 || count > 4 || bytes.size() < 2 + count || byte(2) == 0) return {};
        for (length = 0; header < 2 + count; ++header)
            length = length << 8 | byte(header);
        if (length < 0x80) return {};
    }
    if (bytes.size() - header < length) return {};
    const BerElement element{byte(0), bytes.substr(header, length)};
    bytes.remove_prefix(header + length);
    return element;
}

}  // namespace zvevent::fuzz
