#include "base/last_error.h"

namespace zvevent {

namespace {

std::string& Text() {
    thread_local std::string text;
    return text;
}

}  // namespace

void SetLastErrorText(std::string_view text) {
    Text().assign(text);
}

void ClearLastErrorText() noexcept {
    Text().clear();
}

const std::string& LastErrorText() {
    return Text();
}

}  // namespace zvevent
