// Builds a text out of many small pieces: they come together in a block on the stack and go to the
// text in large ones. Appended one by one to a std::string each would cost a check, often a call,
// and a step through memory: some 5 ns, and a row has forty. Any thread; belongs to one.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/byte_set.h"
#include "base/copy_text.h"
#include "base/number_text.h"
#include "format/text.h"

namespace zvevent {

class PieceWriter {
public:
    // Appends to `out`, which has everything once Finish is called.
    explicit PieceWriter(std::string& out) : out_(out) {}
    PieceWriter(const PieceWriter&) = delete;
    PieceWriter& operator=(const PieceWriter&) = delete;

    void Finish() {
        out_.append(block_, end_);
        end_ = block_;
    }

    // Bytes of `out` and of what is on its way there.
    std::size_t Size() const { return out_.size() + static_cast<std::size_t>(end_ - block_); }

    void Byte(char byte) {
        *Room(1) = byte;
        ++end_;
    }

    void Text(std::string_view text) {
        if (text.size() > kMostRoom) {
            Finish();
            out_.append(text);
        } else {
            CopyText(text, Room(text.size()));
            end_ += text.size();
        }
    }

    // Appends `text` unless it holds one of the set; returns whether it did.
    template <typename Holds>
    bool TextWithout(const ByteSet<Holds>& set, std::string_view text) {
        if (text.size() > kMostRoom) {
            if (set.FindFirstIn(text) != text.size()) return false;
            Text(text);
            return true;
        }
        if (!set.CopyIfNoneIn(text, Room(text.size()))) return false;
        end_ += text.size();
        return true;
    }

    // Appends `text` with `mark` before each byte of the set.
    template <typename Holds>
    void TextWithMarks(const ByteSet<Holds>& set, char mark, std::string_view text) {
        while (!text.empty()) {
            const std::string_view part = text.substr(0, kMostRoom / 2);
            end_ = set.CopyWithMarks(part, mark, Room(2 * part.size()));
            text.remove_prefix(part.size());
        }
    }

    void Decimal(std::integral auto number) {
        end_ = WriteDecimal(Room(kMostDecimalBytes), number);
    }

    void General(double number, int digits) {
        end_ = WriteGeneral(Room(kMostGeneralBytes), number, digits);
    }

    void UtcIso8601Nanos(std::uint64_t utc_ns) {
        end_ = WriteUtcIso8601Nanos(Room(kUtcNanosBytes), utc_ns);
    }

private:
    static constexpr std::size_t kMostRoom = 1024;

    char* Room(std::size_t bytes) {
        if (bytes > static_cast<std::size_t>(block_ + sizeof block_ - end_)) Finish();
        return end_;
    }

    std::string& out_;
    char* end_ = block_;
    char block_[2 * kMostRoom];
};

}  // namespace zvevent
