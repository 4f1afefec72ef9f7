// The library's own copy of an event, as the functions of zvEventAlertmanager.h take it. C++ only,
// and for the same compiler and C++ runtime on both sides (see there).
#pragma once

#include <cstdint>
#include <string>

#include "zvEvent/zvEvent.h"

// An event with every absent field filled in and every text owned. A default-constructed one has
// empty texts, zero numbers and the severity info.
struct zvEventNormalizedEvent {
    std::uint64_t event_id = 0;
    std::string event_type;
    std::string source_id;
    std::string source_name;
    std::string message;
    std::uint32_t severity = zvEventSeverityInfo;
    std::string action;
    std::string dedupe_key;
    std::string correlation_id;
    std::uint64_t utc_ns = 0;  // nanoseconds since 1970-01-01 UTC
    std::uint64_t ptp_ns = 0;
    std::int64_t pts = 0;
    std::string timecode;
    double value = 0.0;
    double threshold = 0.0;
    std::string units;
    std::uint64_t duration_ms = 0;
    std::string details_json;
};
