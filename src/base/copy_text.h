// Copying texts that are mostly short: two overlapping words take any length between one word and
// two, where a call of memcpy would cost more than the bytes (4 ns, times thirty a message). Any
// thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zvevent {

template <typename Word>
Word LoadWord(const char* from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

template <typename Word>
void CopyWord(const char* from, char* to) {
    const auto word = LoadWord<Word>(from);
    std::memcpy(to, &word, sizeof word);
}

// `text` has one word to two.
template <typename Word>
void CopyEnds(std::string_view text, char* to) {
    const std::size_t last = text.size() - sizeof(Word);
    CopyWord<Word>(text.data(), to);
    CopyWord<Word>(text.data() + last, to + last);
}

// `to` has room for `text` and is no part of it.
inline void CopyText(std::string_view text, char* to) {
    using TwoLongs = std::array<std::uint64_t, 2>;
    if (text.size() > 2 * sizeof(TwoLongs)) {
        std::memcpy(to, text.data(), text.size());
    } else if (text.size() >= sizeof(TwoLongs)) {
        CopyEnds<TwoLongs>(text, to);
    } else if (text.size() >= sizeof(std::uint64_t)) {
        CopyEnds<std::uint64_t>(text, to);
    } else if (text.size() >= sizeof(std::uint32_t)) {
        CopyEnds<std::uint32_t>(text, to);
    } else {
        for (const char byte : text)
            *to++ = byte;
    }
}

}  // namespace zvevent
