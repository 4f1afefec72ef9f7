#include "core/packed_event.h"

#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace zvevent {

namespace {

void CopyTexts(const EventView& event, char* to) noexcept {
    for (const auto member : kViewTexts) {
        const std::string_view text = event.*member;
        if (text.empty()) continue;  // an empty view may point nowhere
        std::memcpy(to, text.data(), text.size());
        to += text.size();
    }
}

}  // namespace

std::size_t PackedEvent::TextBytes(const EventView& event) {
    std::size_t bytes = 0;
    for (const auto text : kViewTexts)
        bytes += (event.*text).size();
    if (bytes > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("event texts exceed 4 GiB");
    }
    return bytes;
}

PackedEvent::Block PackedEvent::BlockOf(const EventView& event, std::size_t text_bytes) {
    Block block = std::make_unique_for_overwrite<char[]>(text_bytes);
    CopyTexts(event, block.get());
    return block;
}

void PackedEvent::Pack(const EventView& event) noexcept {
    PackNumbers(event);
    CopyTexts(event, TextsInOwnBlock() ? own_.get() : inline_);
}

PackedEvent::Block PackedEvent::Pack(const EventView& event, Block texts,
                                     std::size_t text_bytes) noexcept {
    PackNumbers(event);
    own_bytes_ = static_cast<std::uint32_t>(text_bytes);
    return std::exchange(own_, std::move(texts));
}

void PackedEvent::PackNumbers(const EventView& event) noexcept {
    numbers_ = event;
    std::uint32_t end = 0;
    for (std::size_t i = 0; i < kEventTextCount; ++i) {
        end += static_cast<std::uint32_t>((event.*kViewTexts[i]).size());
        ends_[i] = end;
    }
}

EventView PackedEvent::View() const noexcept {
    EventView event;
    static_cast<EventNumbers&>(event) = numbers_;
    const char* texts = TextsInOwnBlock() ? own_.get() : inline_;
    std::uint32_t begin = 0;
    for (std::size_t i = 0; i < kEventTextCount; ++i) {
        event.*kViewTexts[i] = std::string_view(texts + begin, ends_[i] - begin);
        begin = ends_[i];
    }
    return event;
}

PackedEvent::Block PackedEvent::Release() {
    own_bytes_ = 0;
    return std::move(own_);
}

}  // namespace zvevent
