#include "base/ascii.h"

#include <algorithm>

namespace zvevent {

std::string LowerAscii(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), ToLowerAscii);
    return lower;
}

bool EqualsLowerAscii(std::string_view text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char a, char b) { return ToLowerAscii(a) == b; });
}

std::string_view Trimmed(std::string_view text, std::string_view space) {
    const std::size_t first = text.find_first_not_of(space);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(space) - first + 1);
}

}  // namespace zvevent
