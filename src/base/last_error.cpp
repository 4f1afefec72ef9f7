#include "base/last_error.h"

#include <algorithm>
#include <cstring>

namespace zvevent {

namespace {

struct Text {
    std::size_t length;
    char bytes[kLastErrorBytes];
};
thread_local Text last_error;  // zero-initialised: empty

}  // namespace

void SetLastErrorText(std::string_view text) noexcept {
    last_error.length = std::min(text.size(), kLastErrorBytes);
    if (!text.empty()) std::memcpy(last_error.bytes, text.data(), last_error.length);
}

void ClearLastErrorText() noexcept {
    last_error.length = 0;
}

std::string_view LastErrorText() noexcept {
    return {last_error.bytes, last_error.length};
}

}  // namespace zvevent
