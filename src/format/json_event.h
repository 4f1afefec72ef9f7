// The library's own JSON document of an event: one flat object, every member present, in a fixed
// order and without white space. Pure functions, any thread; they fail only when there is no
// memory.
#pragma once

#include <string>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// Appends the document of `event` to `out`, which keeps its memory from one event to the next.
void AppendNativeEventJson(std::string& out, const zvEventNormalizedEvent& event);
std::string BuildNativeEventJson(const zvEventNormalizedEvent& event);

}  // namespace zvevent
