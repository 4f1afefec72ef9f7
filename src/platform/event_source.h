// Registration of event sources with the operating system's event log. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace zvevent {

enum class EventSourceStep { kNone, kCreateKey, kSetValue, kDeleteKey };

// Which step the system refused, and its code; kNone and 0 when all went well.
struct EventSourceResult {
    EventSourceStep refused = EventSourceStep::kNone;
    std::uint32_t code = 0;
};

// Windows: creates or rewrites the registry entry of an Application log source. With an empty
// `message_file` (UTF-8) the entry names this library's own module. Elsewhere there is nothing to
// register with: refused at kCreateKey with the system's code for "not supported".
EventSourceResult CreateEventSource(const std::string& name, const std::string& message_file);

// Removes that entry; that there is none is no error.
EventSourceResult DeleteEventSource(const std::string& name);

}  // namespace zvevent
