#include "core/event_view.h"

#include "core/event_fields.h"

namespace zvevent {

void AssignEvent(const EventView& view, zvEventNormalizedEvent& event) {
    ForEachEventField([&](const auto& field) { event.*field.event = view.*field.view; });
}

}  // namespace zvevent
