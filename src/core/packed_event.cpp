#include "core/packed_event.h"

#include <string_view>
#include <tuple>
#include <utility>

namespace zvevent {

PackedEvent::Block PackedEvent::BlockOf(const EventView& event, std::size_t text_bytes) {
    Block block = std::make_unique_for_overwrite<char[]>(text_bytes);
    CopyTexts(event, block.get());
    return block;
}

PackedEvent::Block PackedEvent::Pack(const EventView& event, Block texts,
                                     std::size_t text_bytes) noexcept {
    PackNumbers(event);
    own_bytes_ = static_cast<std::uint32_t>(text_bytes);
    return std::exchange(own_, std::move(texts));
}

EventView PackedEvent::View() const noexcept {
    const char* texts = TextsInOwnBlock() ? own_.get() : inline_;
    std::uint32_t begin = 0;
    const std::uint32_t* end = ends_.data();
    const auto next = [&](const TextField&) {
        const std::string_view text(texts + begin, *end - begin);
        begin = *end++;
        return text;
    };
    // Braces keep the order.
    return std::apply(
        [&](const auto&... field) {
            return EventView{numbers_, next(field)...};
        },
        kTextFields);
}

PackedEvent::Block PackedEvent::Release() {
    own_bytes_ = 0;
    return std::move(own_);
}

}  // namespace zvevent
