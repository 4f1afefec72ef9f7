#include "json_text.h"

namespace zvevent::tool {

namespace {

constexpr std::size_t kMaxDepth = 100;

bool IsTooDeep(std::string_view text) {
    std::size_t depth = 0;
    bool in_text = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') in_text = !in_text;
        if (in_text) {
            if (c == '\\') ++i;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxDepth) return true;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return false;
}

}  // namespace

std::string ParseJson(std::string_view text, Json& document) {
    if (IsTooDeep(text)) return "JSON nested too deep";
    document = Json::parse(text, nullptr, false);
    return document.is_discarded() ? "not JSON" : "";
}

std::string JsonLine(const Json& document) {
    return document.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace zvevent::tool
