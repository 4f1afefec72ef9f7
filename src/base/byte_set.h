// A set of byte values that is asked for the first one of them in a text: where an encoding must do
// more than copy. Any thread.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <string_view>

namespace zvevent {

class ByteSet {
public:
    // Holds every byte for which `holds(byte)`, an unsigned char, is true.
    template <std::predicate<unsigned char> Holds>
    constexpr explicit ByteSet(Holds&& holds) {
        for (std::size_t byte = 0; byte < table_.size(); ++byte)
            table_[byte] = holds(static_cast<unsigned char>(byte)) ? 1 : 0;
    }
    constexpr explicit ByteSet(std::string_view bytes)
        : ByteSet([bytes](unsigned char byte) {
              return bytes.find(static_cast<char>(byte)) != std::string_view::npos;
          }) {}

    constexpr bool Holds(char byte) const { return In(byte) != 0; }

    // The first one of the set in `text`, or the text's size. Eight look-ups make one decision:
    // most texts hold none, and find_first_of decides, and searches the set, for every byte.
    constexpr std::size_t FindFirstIn(std::string_view text) const {
        constexpr std::size_t kStride = 8;
        std::size_t at = 0;
        for (; text.size() - at >= kStride; at += kStride) {
            const char* next = text.data() + at;
            const unsigned any = In(next[0]) | In(next[1]) | In(next[2]) | In(next[3]) |
                                 In(next[4]) | In(next[5]) | In(next[6]) | In(next[7]);
            if (any != 0) break;
        }
        while (at < text.size() && In(text[at]) == 0)
            ++at;
        return at;
    }

private:
    constexpr unsigned In(char byte) const { return table_[static_cast<unsigned char>(byte)]; }

    std::array<unsigned char, 256> table_{};
};

}  // namespace zvevent
