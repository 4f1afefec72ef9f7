#include "core/packed_event.h"

#include <string_view>
#include <tuple>

namespace zvevent {

EventView PackedEvent::View() const noexcept {
    const char* texts = own_ != nullptr ? own_.get() : inline_;
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

}  // namespace zvevent
