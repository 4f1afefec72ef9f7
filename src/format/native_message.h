// The texts of the output to the operating system's own log. Pure functions, any thread.
#pragma once

#include <string>
#include <string_view>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// Appends an event as one line of keys and values. Nothing is escaped or cut, and there are no
// times, since the log stamps its own. `native_source` is the name of the log's source; an empty
// one is written as "zvEvent", every other empty text as "-".
void AppendNativeMessage(std::string& out, const zvEventNormalizedEvent& event,
                         std::string_view native_source);

// Appends the line, with line feed, that goes to the debugger or the standard error instead when
// the log did not take the message. `reason` says why.
void AppendNativeFallback(std::string& out, std::string_view reason, std::string_view message);

}  // namespace zvevent
