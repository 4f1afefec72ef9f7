// An event whose texts are borrowed: what a checked record looks like before anything is copied,
// and what a queued event looks like from outside. Any thread; valid as long as the texts are.
#pragma once

#include <cstdint>
#include <string_view>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// What of an event is not text; the view and the packed event share it.
struct EventNumbers {
    std::uint64_t event_id = 0;
    std::uint64_t utc_ns = 0;
    std::uint64_t ptp_ns = 0;
    std::int64_t pts = 0;
    double value = 0.0;
    double threshold = 0.0;
    std::uint64_t duration_ms = 0;
    std::uint32_t severity = zvEventSeverityInfo;
};

struct EventView : EventNumbers {
    std::string_view event_type;
    std::string_view source_id;
    std::string_view source_name;
    std::string_view message;
    std::string_view action;
    std::string_view dedupe_key;
    std::string_view correlation_id;
    std::string_view timecode;
    std::string_view units;
    std::string_view details_json;
};

// Copies a view's numbers and texts into `event`, whose texts keep their capacity.
void AssignEvent(const EventView& view, zvEventNormalizedEvent& event);

}  // namespace zvevent
