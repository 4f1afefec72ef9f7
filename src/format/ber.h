// The part of the Basic Encoding Rules that SNMP traps need. Elements (tag, length, contents) are
// appended to a string of bytes. Pure functions, any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zvevent {

enum class BerTag : unsigned char {
    kInteger = 0x02,
    kOctetString = 0x04,
    kObjectIdentifier = 0x06,
    kSequence = 0x30,
    kTimeTicks = 0x43,
    kTrapV2Pdu = 0xA7,
};

// `tag` is kInteger or kTimeTicks.
void AppendBerUnsigned(std::string& out, BerTag tag, std::uint32_t number);

void AppendBerOctets(std::string& out, std::string_view bytes);

// Appends the object identifier written in `dotted`. Returns false and leaves `out` alone when the
// text is not an identifier. Each component is read as strtoul reads base 10 where longs have 32
// bits: leading white space and a sign are accepted, and a number that is too large becomes
// 4294967295. One dot may follow the last component. Of the second component only the low byte
// counts, and first * 40 + second is cut to one byte.
bool AppendBerObjectIdentifier(std::string& out, std::string_view dotted);

// Wraps the bytes of `out` from `start` on into an element. Wrapping afterwards saves computing the
// length beforehand.
void WrapBer(std::string& out, std::size_t start, BerTag tag);

}  // namespace zvevent
