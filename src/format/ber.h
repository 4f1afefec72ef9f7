// The part of the Basic Encoding Rules that SNMP traps need. Elements (tag, length, contents) are
// made of texts and numbers. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/copy_text.h"

namespace zvevent {

enum class BerTag : unsigned char {
    kInteger = 0x02,
    kOctetString = 0x04,
    kObjectIdentifier = 0x06,
    kSequence = 0x30,
    kTimeTicks = 0x43,
    kTrapV2Pdu = 0xA7,
};

// Appends the object identifier written in `dotted`. Returns false and leaves `out` alone when the
// text is not an identifier. Each component is read as strtoul reads base 10 where longs have 32
// bits: leading white space and a sign are accepted, and a number that is too large becomes
// 4294967295. One dot may follow the last component. Of the second component only the low byte
// counts, and first * 40 + second is cut to one byte.
bool AppendBerObjectIdentifier(std::string& out, std::string_view dotted);

// Writes elements from the last byte to the first: when an element's length comes, its contents
// stand behind it already, so nothing is measured beforehand and no byte is moved.
class BerWriter {
public:
    // Fills `block` from its end on. What has no room there is left out, and Fits then says so.
    explicit BerWriter(std::span<char> block)
        : begin_(block.data()), at_(block.data() + block.size()) {}

    bool Fits() const { return fits_; }

    // Where the bytes begin that are written by now.
    const char* Begin() const { return at_; }

    void Octets(std::string_view bytes) {
        Encoded(bytes);
        Header(BerTag::kOctetString, bytes.size());
    }

    // `tag` is kInteger or kTimeTicks.
    void Unsigned(BerTag tag, std::uint32_t number);

    // Elements as they are.
    void Encoded(std::string_view elements) {
        if (char* const to = Room(elements.size())) CopyText(elements, to);
    }

    // Makes one element of what was written since Begin was `end`.
    void Wrap(BerTag tag, const char* end) { Header(tag, static_cast<std::size_t>(end - at_)); }

private:
    // Null when there is none.
    char* Room(std::size_t bytes) {
        fits_ = fits_ && bytes <= static_cast<std::size_t>(at_ - begin_);
        return fits_ ? at_ -= bytes : nullptr;
    }

    void Header(BerTag tag, std::size_t contents) {
        if (contents >= 0x80) return LongHeader(tag, contents);
        char* const to = Room(2);
        if (to == nullptr) return;
        to[0] = static_cast<char>(tag);
        to[1] = static_cast<char>(contents);
    }
    void LongHeader(BerTag tag, std::size_t contents);

    char* const begin_;
    char* at_;
    bool fits_ = true;
};

}  // namespace zvevent
