#include "base/last_error.h"

namespace zvevent {

namespace {

struct Text {
    std::size_t length;
    char bytes[kLastErrorBytes];
};
thread_local Text last_error;  // zero-initialised: empty

}  // namespace

void SetLastErrorText(std::string_view text) noexcept {
    SetLastErrorText({text});
}

void SetLastErrorText(std::initializer_list<std::string_view> parts) noexcept {
    last_error.length = 0;
    for (const std::string_view part : parts) {
        const std::size_t room = kLastErrorBytes - last_error.length;
        last_error.length += part.copy(last_error.bytes + last_error.length, room);
    }
}

void ClearLastErrorText() noexcept {
    last_error.length = 0;
}

std::string_view LastErrorText() noexcept {
    return {last_error.bytes, last_error.length};
}

}  // namespace zvevent
