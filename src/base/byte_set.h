// A set of byte values that is looked for in texts: where an encoding must do more than copy. Most
// texts hold none of it, so sixteen bytes make one decision. Any thread.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/copy_text.h"

namespace zvevent {

// The compiler compares all sixteen at once, each comparison's result being all bits or none of its
// byte.
using SixteenBytes [[gnu::vector_size(16)]] = unsigned char;

// `Holds` is called with one byte and with sixteen, so it compares and joins with "|" alone.
template <typename Holds>
class ByteSet {
public:
    static constexpr std::size_t kStride = sizeof(SixteenBytes);

    constexpr explicit ByteSet(Holds holds) : holds_(holds) {}

    constexpr bool Contains(char byte) const {
        return static_cast<bool>(holds_(static_cast<unsigned char>(byte)));
    }

    // The first one of the set in `text`, or the text's size.
    std::size_t FindFirstIn(std::string_view text) const {
        std::size_t at = 0;
        while (text.size() - at >= kStride && !IsAny(HeldIn16(text.data() + at)))
            at += kStride;
        if (text.size() - at < kStride && !IsAnyIn(text.substr(at))) return text.size();
        while (!Contains(text[at]))
            ++at;
        return at;
    }

    // Copies `text` and returns whether none of the set is in it: one pass where looking first
    // would be two. `to` is written in any case, as far as the text is long.
    bool CopyIfNoneIn(std::string_view text, char* to) const {
        const std::size_t size = text.size();
        if (size < kStride) {
            CopyText(text, to);
            return !IsAnyIn(text);
        }
        auto held = CopyAndHeldIn16(text.data(), to);
        for (std::size_t at = kStride; at + kStride < size; at += kStride)
            held |= CopyAndHeldIn16(text.data() + at, to + at);
        const std::size_t last = size - kStride;  // overlaps what came before it
        held |= CopyAndHeldIn16(text.data() + last, to + last);
        return !IsAny(held);
    }

    // Copies `text` with `mark` before each byte of the set; returns the end. `to` has room for
    // twice the text. Without a branch for each byte, which nothing could foretell.
    char* CopyWithMarks(std::string_view text, char mark, char* to) const {
        while (!text.empty()) {
            const std::string_view part = text.substr(0, kStride);
            text.remove_prefix(part.size());
            if (part.size() == kStride && !IsAny(CopyAndHeldIn16(part.data(), to))) {
                to += kStride;
                continue;
            }
            for (const char byte : part) {
                const std::size_t marks = Contains(byte) ? 1 : 0;
                to[0] = mark;
                to[marks] = byte;
                to += marks + 1;
            }
        }
        return to;
    }

private:
    using TwoWords [[gnu::vector_size(16)]] = std::uint64_t;

    auto HeldIn16(const char* from) const { return holds_(LoadWord<SixteenBytes>(from)); }
    auto CopyAndHeldIn16(const char* from, char* to) const {
        CopyWord<SixteenBytes>(from, to);
        return HeldIn16(from);
    }

    // Of less than a stride.
    bool IsAnyIn(std::string_view text) const {
        if (text.size() >= sizeof(std::uint64_t)) return IsAny(holds_(Ends<std::uint64_t>(text)));
        if (text.size() >= sizeof(std::uint32_t)) return IsAny(holds_(Ends<std::uint32_t>(text)));
        bool any = false;
        for (const char byte : text)
            any |= Contains(byte);
        return any;
    }

    // The bytes of a text of one to two words: its first and its last word, which may overlap.
    template <typename Word>
    static SixteenBytes Ends(std::string_view text) {
        const Word ends[2] = {LoadWord<Word>(text.data()),
                              LoadWord<Word>(text.data() + text.size() - sizeof(Word))};
        std::array<Word, kStride / sizeof(Word)> words;
        for (std::size_t i = 0; i < words.size(); ++i)
            words[i] = ends[i % 2];
        return std::bit_cast<SixteenBytes>(words);
    }

    template <typename Held>
    static bool IsAny(Held held) {
        const auto halves = std::bit_cast<TwoWords>(held);
        return (halves[0] | halves[1]) != 0;
    }

    Holds holds_;
};

}  // namespace zvevent
