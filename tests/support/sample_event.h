// An event with a distinct value in every field.
#pragma once

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent::test {

inline zvEventNormalizedEvent SampleEvent() {
    zvEventNormalizedEvent event;
    event.event_id = 42;
    event.event_type = "temperature";
    event.source_id = "psu-1";
    event.source_name = "Power supply 1";
    event.message = "Too hot";
    event.severity = zvEventSeverityWarning;
    event.action = "raise";
    event.dedupe_key = "psu-1/temperature";
    event.correlation_id = "c-7";
    event.utc_ns = 1'700'000'000'123'456'789;
    event.ptp_ns = 1'700'000'037'123'456'789;
    event.pts = -90'000;
    event.timecode = "10:00:00:12";
    event.value = 81.5;
    event.threshold = 75.3;
    event.units += "C";  // assigning one letter makes GCC 12 warn without cause
    event.duration_ms = 1500;
    event.details_json = R"({"fan":"ok"})";
    return event;
}

}  // namespace zvevent::test
