#include "platform/event_source.h"

#include <cerrno>

namespace zvevent {

EventSourceResult CreateEventSource(const std::string&, const std::string&) {
    return {EventSourceStep::kCreateKey, ENOTSUP};
}

EventSourceResult DeleteEventSource(const std::string&) {
    return {};
}

}  // namespace zvevent
