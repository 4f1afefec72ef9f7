// Members of JSON objects, appended to a text. `key` is everything from the comma, or the brace, to
// where the value begins; that of a text ends with the quote that opens it.
#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "base/number_text.h"
#include "format/text.h"

namespace zvevent {

inline void AppendText(std::string& out, std::string_view key, std::string_view text) {
    out += key;
    AppendJsonEscaped(out, text);
    out += '"';
}

template <std::integral Number>
void AppendNumber(std::string& out, std::string_view key, Number number) {
    out += key;
    AppendDecimal(out, number);
}

}  // namespace zvevent
