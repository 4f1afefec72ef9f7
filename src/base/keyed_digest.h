// 128 bits that stand for a text, by a secret key: SipHash with its 128-bit result. Any thread.
//
// Whoever does not know the key can neither choose texts whose digests share bits, so as to crowd a
// hash table, nor two texts with the same digest: two different texts have the same one with a
// chance of 2^-128. Among a million that is 2^-89 in all, far less than a fault of the machine's
// memory. Not for signing, nor for anything that leaves the process: the byte order is the
// machine's.
#pragma once

#include <cstdint>
#include <string_view>

namespace zvevent {

struct DigestKey {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
};

// Zero means none: no text has it.
struct Digest {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    bool operator==(const Digest&) const = default;
};

Digest DigestOf(const DigestKey& key, std::string_view text) noexcept;

}  // namespace zvevent
