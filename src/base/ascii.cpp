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

}  // namespace zvevent
