#include "printable.h"

#include <cstdint>
#include <cstdlib>

#include "terminal.h"

namespace zvevent::tool {

namespace {

constexpr std::uint32_t kNotUtf8 = 0xFFFFFFFF;

// The character that `text` begins with and its length in bytes; kNotUtf8 and 1 for a stray byte,
// an overlong form, a surrogate or what lies beyond Unicode.
std::uint32_t FirstCharacter(std::string_view text, std::size_t& length) {
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto byte = [&](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
    };
    const std::uint32_t lead = byte(0);
    length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    std::uint32_t character = length == 1 ? lead : lead & (0xFFu >> (length + 1));
    bool good = length <= text.size() && (lead < 0x80 || (lead >= 0xC2 && lead <= 0xF4));
    for (std::size_t i = 1; good && i < length; ++i) {
        good = (byte(i) & 0xC0) == 0x80;
        character = (character << 6) | (byte(i) & 0x3F);
    }
    good = good && character >= kLeast[length] && character <= 0x10FFFF &&
           (character < 0xD800 || character > 0xDFFF);
    if (good) return character;
    length = 1;
    return kNotUtf8;
}

bool Steers(std::uint32_t character) {
    struct Range {
        std::uint32_t first, last;
    };
    constexpr Range kRanges[] = {
        {0x00, 0x1F},     {0x7F, 0x9F},     {0x61C, 0x61C},   {0x200B, 0x200F},
        {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB},
    };
    for (const Range& range : kRanges)
        if (character >= range.first && character <= range.last) return true;
    return character == kNotUtf8;
}

void AppendHex(std::string& out, unsigned char byte) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    (out += "\\x") += kDigits[byte >> 4];
    out += kDigits[byte & 0xF];
}

}  // namespace

std::string Printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        std::size_t length = 0;
        const std::uint32_t character = FirstCharacter(text, length);
        if (character == '\n' || character == '\t') {
            out += character == '\n' ? "\\n" : "\\t";
        } else if (Steers(character)) {
            for (const char c : text.substr(0, length))
                AppendHex(out, static_cast<unsigned char>(c));
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return out;
}

Painter Painter::ForOutput() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the tool never changes its environment
    const char* const refused = std::getenv("NO_COLOR");
    return Painter(IsTerminal(Stream::kOutput) && (refused == nullptr || *refused == '\0'));
}

std::string Painter::operator()(Colour colour, std::string_view text) const {
    constexpr std::string_view kCodes[] = {"", "31", "33", "32", "2", "1"};
    if (!colours_ || colour == Colour::kNone || text.empty()) return std::string(text);
    return std::string("\x1b[")
        .append(kCodes[static_cast<int>(colour)])
        .append("m")
        .append(text)
        .append("\x1b[0m");
}

}  // namespace zvevent::tool
