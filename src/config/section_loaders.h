// The sink sections of the configuration: one table of settings and defaults for every kind of
// output.
#pragma once

#include <string>

#include "config/config.h"
#include "config/value_reader.h"
#include "zvutil/zvutil.h"

namespace zvevent {

// Creates the keys that every configuration has.
void EnsureTopKeys(zvCFGHandle tree);

// Appends one entry for every instance of every kind, enabled or not. A kind without an instance
// gets one.
void LoadSinks(zvCFGHandle tree, ValueReader& reader, zvEventConfig& config);

// What the output of an entry is called: its key below "sink" with slashes, "syslog/udp/default".
std::string OutputName(const zvEventSinkConfig& entry);

}  // namespace zvevent
