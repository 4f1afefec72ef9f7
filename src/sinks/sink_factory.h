// Builds the outputs of a configuration. Runs on the thread that initialises or reloads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/config.h"
#include "sinks/sink.h"

namespace zvevent {

// Fills `sinks` with one opened sink for every enabled entry, in the configuration's order, and
// `callback_sink` last. The first sink that cannot be opened ends it: its code is returned, its
// text goes into `error` (which may be null), and the list is to be thrown away.
std::uint32_t BuildConfiguredSinks(const zvEventConfig& config, const zvEventSinkPtr& callback_sink,
                                   std::vector<zvEventSinkPtr>* sinks, std::string* error);

}  // namespace zvevent
