// Loads the instances of every kind of output.
#pragma once

#include <functional>
#include <string>

#include "config/config.h"
#include "zvutil/zvutil.h"

namespace zvevent {

// Reads the settings of the key of one output into its entry, which holds what is kept where the
// file has nothing of use.
using ReadSinkSettings = std::function<void(const std::string& key, zvEventSinkConfig& sink)>;

// Appends one entry for every instance of every kind, enabled or not. A kind without an instance
// gets one.
void LoadSinks(zvCFGHandle tree, const ReadSinkSettings& read, zvEventConfig& config);

}  // namespace zvevent
