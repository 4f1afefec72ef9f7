// Loads the instances of every kind of output.
#pragma once

#include <string>

#include "config/config.h"
#include "zvutil/zvutil.h"

namespace zvevent {

// Appends one entry for every instance of every kind, enabled or not. A kind without an instance
// gets one. `error` as in ValueReader.
void LoadSinks(zvCFGHandle tree, std::string* error, zvEventConfig& config);

}  // namespace zvevent
