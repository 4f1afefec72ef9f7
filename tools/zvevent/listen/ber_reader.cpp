#include "listen/ber_reader.h"

namespace zvevent::tool {

namespace {

constexpr std::size_t kMaxLengthBytes = 4;
constexpr std::size_t kMaxNumberBytes = 8;

unsigned char Byte(char c) {
    return static_cast<unsigned char>(c);
}

}  // namespace

bool BerReader::Next(unsigned char& tag, std::string_view& contents) {
    if (rest_.size() < 2) return false;
    tag = Byte(rest_[0]);
    std::size_t length = Byte(rest_[1]);
    std::size_t start = 2;
    if (length > 0x7F) {
        const std::size_t count = length & 0x7F;
        if (count == 0 || count > kMaxLengthBytes || rest_.size() < 2 + count) return false;
        length = 0;
        for (; start < 2 + count; ++start)
            length = (length << 8) | Byte(rest_[start]);
    }
    if (length > rest_.size() - start) return false;
    contents = rest_.substr(start, length);
    rest_.remove_prefix(start + length);
    return true;
}

bool BerReader::Expect(unsigned char tag, std::string_view& contents) {
    unsigned char found = 0;
    return Next(found, contents) && found == tag;
}

bool ReadBerSigned(std::string_view contents, std::int64_t& number) {
    if (contents.empty() || contents.size() > kMaxNumberBytes) return false;
    std::uint64_t bits = (Byte(contents[0]) & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (const char c : contents)
        bits = (bits << 8) | Byte(c);
    number = static_cast<std::int64_t>(bits);
    return true;
}

bool ReadBerUnsigned(std::string_view contents, std::uint64_t& number) {
    if (contents.size() == kMaxNumberBytes + 1 && contents[0] == 0) contents.remove_prefix(1);
    if (contents.empty() || contents.size() > kMaxNumberBytes) return false;
    number = 0;
    for (const char c : contents)
        number = (number << 8) | Byte(c);
    return true;
}

std::string BerObjectIdentifier(std::string_view contents) {
    std::string dotted;
    std::uint64_t part = 0;
    for (const char c : contents) {
        if (part >> 32 != 0) return "";
        part = (part << 7) | (Byte(c) & 0x7F);
        if ((Byte(c) & 0x80) != 0) continue;
        if (dotted.empty()) {
            const std::uint64_t first = part < 80 ? part / 40 : 2;
            dotted = std::to_string(first);
            part -= first * 40;
        }
        dotted.append(".").append(std::to_string(part));
        part = 0;
    }
    const bool is_whole = !contents.empty() && (Byte(contents.back()) & 0x80) == 0;
    return is_whole ? dotted : "";
}

}  // namespace zvevent::tool
