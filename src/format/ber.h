// The Basic Encoding Rules, as far as an SNMP trap needs them: elements appended to a text of
// bytes, each a tag, a length and the contents. Pure functions, any thread.
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

// Appends the identifier that `dotted` is the text of; false, with `out` as it was, when it is
// none. Every component is read as the C library's strtoul reads base 10 where longs have 32 bits:
// leading white space and a sign are taken, and what is too large is 4294967295. One dot may follow
// the last component. The second component counts with its low byte only, and first * 40 + second
// is kept to one byte.
bool AppendBerObjectIdentifier(std::string& out, std::string_view dotted);

// Makes the bytes of `out` from `start` on the contents of an element of their own. Contents that
// are there already need no length known beforehand.
void WrapBer(std::string& out, std::size_t start, BerTag tag);

}  // namespace zvevent
