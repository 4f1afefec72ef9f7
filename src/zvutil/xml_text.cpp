#include "zvutil/xml_text.h"

#include <charconv>
#include <cstddef>
#include <cstdint>

namespace zvevent {
namespace {

struct Entity {
    std::string_view name;
    char character;
};
constexpr Entity kEntities[] = {
    {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};

// False for what is no character: zero, surrogates, beyond Unicode.
bool AppendUtf8(std::uint32_t code, std::string& out) {
    if (code == 0 || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return false;
    const auto tail = [&](int shift) {
        return static_cast<char>(0x80u | ((code >> shift) & 0x3Fu));
    };
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += {static_cast<char>(0xC0u | (code >> 6)), tail(0)};
    } else if (code < 0x10000) {
        out += {static_cast<char>(0xE0u | (code >> 12)), tail(6), tail(0)};
    } else {
        out += {static_cast<char>(0xF0u | (code >> 18)), tail(12), tail(6), tail(0)};
    }
    return true;
}

// Appends the character that the reference at the start of `raw` stands for. Returns the length of
// the reference, 0 when there is none that is known: such text is taken as it stands.
std::size_t AppendReference(std::string_view raw, std::string& out) {
    constexpr std::size_t kLongest = 32;
    const std::size_t end = raw.substr(0, kLongest).find(';');
    if (end == raw.npos) return 0;
    const std::string_view body = raw.substr(1, end - 1);
    for (const Entity& entity : kEntities) {
        if (body != entity.name) continue;
        out += entity.character;
        return end + 1;
    }
    if (!body.starts_with('#')) return 0;
    const bool hexadecimal = body.starts_with("#x");
    const std::string_view digits = body.substr(hexadecimal ? 2 : 1);
    const char* const last = digits.data() + digits.size();
    std::uint32_t code = 0;
    const auto [stop, error] = std::from_chars(digits.data(), last, code, hexadecimal ? 16 : 10);
    const bool known = error == std::errc() && stop == last && AppendUtf8(code, out);
    return known ? end + 1 : 0;
}

}  // namespace

void AppendDecoded(std::string_view raw, XmlPlace place, std::string& out) {
    for (std::size_t i = 0; i < raw.size(); ++i) {
        char c = raw[i];
        if (c == '&' && place != XmlPlace::kCdata) {
            const std::size_t length = AppendReference(raw.substr(i), out);
            if (length != 0) {
                i += length - 1;
                continue;
            }
        }
        if (c == '\r') {
            if (i + 1 < raw.size() && raw[i + 1] == '\n') ++i;
            c = '\n';
        }
        if (place == XmlPlace::kAttribute && (c == '\n' || c == '\t')) c = ' ';
        out += c;
    }
}

// Control characters are written as references: a carriage return would otherwise be read back as a
// line end, and of the others, which XML 1.0 forbids in any form, most readers take the reference.
void AppendEncoded(std::string_view plain, XmlPlace place, std::string_view line_end,
                   std::string& out) {
    const bool attribute = place == XmlPlace::kAttribute;
    for (const char c : plain) {
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"' && attribute) {
            out += "&quot;";
        } else if (c == '\n' && !attribute) {
            out += line_end;
        } else if (static_cast<unsigned char>(c) < 0x20 && (c != '\t' || attribute)) {
            out += "&#" + std::to_string(c) + ';';
        } else {
            out += c;
        }
    }
}

}  // namespace zvevent
