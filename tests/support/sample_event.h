// An event with a distinct value in every field.
#pragma once

#include "zvEvent/zvEventAlertmanager.h"

namespace zvevent::test {

inline zvEventNormalizedEvent SampleEvent() {
    return {
        .event_id = 42,
        .event_type = "temperature",
        .source_id = "psu-1",
        .source_name = "Power supply 1",
        .message = "Too hot",
        .severity = zvEventSeverityWarning,
        .action = "raise",
        .dedupe_key = "psu-1/temperature",
        .correlation_id = "c-7",
        .utc_ns = 1'700'000'000'123'456'789,
        .ptp_ns = 1'700'000'037'123'456'789,
        .pts = -90'000,
        .timecode = "10:00:00:12",
        .value = 81.5,
        .threshold = 75.3,
        .units = "C",
        .duration_ms = 1500,
        .details_json = R"({"fan":"ok"})",
    };
}

}  // namespace zvevent::test
