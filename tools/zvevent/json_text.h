// JSON from files and from the network. Pure functions, any thread.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace zvevent::tool {

using Json = nlohmann::json;

// Returns what is wrong, or an empty text. Documents that are nested deeper than any honest one are
// refused: what walks them calls itself for every level.
[[nodiscard]] std::string ParseJson(std::string_view text, Json& document);

// In one line of ASCII, so that nothing in it can steer a terminal. Bytes that are no UTF-8 become
// the replacement character.
std::string JsonLine(const Json& document);

}  // namespace zvevent::tool
