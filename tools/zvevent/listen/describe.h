// A decoded message as lines for people. Pure functions, any thread.
#pragma once

#include <string>

#include "json_text.h"
#include "printable.h"

namespace zvevent::tool {

// `message` is what Decode returned. Nothing in the lines can steer a terminal but the painter's
// colours.
std::string Describe(const Json& message, const Painter& paint);

}  // namespace zvevent::tool
