// One queued event in one block of memory: the numbers, where each text ends, and the texts one
// after the other. A queue slot holds one and is filled in place, so that queueing an event
// allocates nothing.
//
// No lock of its own: whoever owns the slot at the moment fills or reads it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "core/event_fields.h"
#include "core/text_arena.h"

namespace zvevent {

class alignas(64) PackedEvent {
public:
    // Bytes of text that fit without a block of their own: with the numbers before them they make
    // eight cache lines, and the usual event (some 260 bytes of text) fits well.
    static constexpr std::size_t kInlineBytes = 400;

    using Block = TextArena::Block;

    // Bytes of all texts of an event; throws std::length_error beyond 4 GiB, which the text ends
    // could not count.
    static std::size_t TextBytes(const EventView& event);

    // Copies all texts of an event, TextBytes of them.
    static void CopyTexts(const EventView& event, char* to) noexcept;

    // Copies the event in. `texts` is the block that its texts are copied to already if they are
    // more than kInlineBytes, else null. The former event's texts must have left the slot.
    void Pack(const EventView& event, Block texts) noexcept;

    std::size_t text_bytes() const { return ends_.back(); }

    // The packed event. The texts are valid until the next Pack or, when they lie in a block of
    // their own, as long as that.
    EventView View() const noexcept;

    // The texts' own block leaves the slot; null: they lie in the slot.
    Block ReleaseTexts() noexcept { return std::move(own_); }

    // Once the event is read: takes the cache lines that it used to the calling thread's processor.
    // See the definition.
    void ClaimLines() noexcept;
    static void ClaimLines(const Block& texts, std::size_t text_bytes) noexcept;

    std::uint32_t severity() const { return numbers_.severity; }

private:
    void PackNumbers(const EventView& event) noexcept;
    static void Claim(void* memory, std::size_t size) noexcept;

    EventNumbers numbers_;
    std::array<std::uint32_t, kEventTextCount> ends_{};  // of each text, from the first's start
    Block own_;
    char inline_[kInlineBytes];
};
static_assert(sizeof(PackedEvent) == 512);

// Inline is what a submit does for every event.

inline std::size_t PackedEvent::TextBytes(const EventView& event) {
    std::size_t bytes = 0;
    for (const auto text : kViewTexts)
        bytes += (event.*text).size();
    if (bytes > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("event texts exceed 4 GiB");
    }
    return bytes;
}

// Only writes to the slot. To read from it would mean to wait until its cache line has come from
// the worker's processor, some 100 ns.
inline void PackedEvent::Pack(const EventView& event, Block texts) noexcept {
    PackNumbers(event);
    if (texts == nullptr) {
        CopyTexts(event, inline_);
    } else {
        static_cast<void>(own_.release());  // is null
        own_ = std::move(texts);
    }
}

inline void PackedEvent::PackNumbers(const EventView& event) noexcept {
    numbers_ = event;
    std::uint32_t end = 0;
    for (std::size_t i = 0; i < kEventTextCount; ++i) {
        end += static_cast<std::uint32_t>((event.*kViewTexts[i]).size());
        ends_[i] = end;
    }
}

inline void PackedEvent::CopyTexts(const EventView& event, char* to) noexcept {
    for (const auto member : kViewTexts) {
        const std::string_view text = event.*member;
        if (text.empty()) continue;  // an empty view may point nowhere
        std::memcpy(to, text.data(), text.size());
        to += text.size();
    }
}

// Writes to each cache line that the event used, what is there already. A line that another
// processor has only read stays shared between the two, and the next event's stores into it wait
// for the caches' answers; a line that has moved over for good comes back at once. With the worker
// on another processor than the producer, a submit in bursts of 500 costs 97 ns instead of 165 to
// 500; on the same one, 90 either way.
inline void PackedEvent::ClaimLines() noexcept {
    Claim(this, sizeof(PackedEvent) - kInlineBytes);
    if (ends_.back() <= kInlineBytes) Claim(inline_, ends_.back());
}

inline void PackedEvent::ClaimLines(const Block& texts, std::size_t text_bytes) noexcept {
    Claim(texts.get(), text_bytes);
}

inline void PackedEvent::Claim(void* memory, std::size_t size) noexcept {
    constexpr std::size_t kLine = 64;
    auto* const bytes = static_cast<volatile unsigned char*>(memory);
    for (std::size_t at = 0; at < size; at += kLine)
        bytes[at] = bytes[at];
    if (size != 0) bytes[size - 1] = bytes[size - 1];  // the memory may begin amid a line
}

}  // namespace zvevent
