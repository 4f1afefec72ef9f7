// An event whose texts are borrowed: what a checked record looks like before anything is copied,
// and what a queued event looks like from outside. Any thread; valid as long as the texts are.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "zvEvent/zvEventAlertmanager.h"

namespace zvevent {

struct EventView {
    std::uint64_t event_id = 0;
    std::uint64_t utc_ns = 0;
    std::uint64_t ptp_ns = 0;
    std::int64_t pts = 0;
    double value = 0.0;
    double threshold = 0.0;
    std::uint64_t duration_ms = 0;
    std::uint32_t severity = zvEventSeverityInfo;
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

inline constexpr std::size_t kEventTextCount = 10;

// The texts of both forms of an event, in one order: whoever walks them all walks these.
inline constexpr std::array<std::string_view EventView::*, kEventTextCount> kViewTexts = {
    &EventView::event_type,     &EventView::source_id, &EventView::source_name,
    &EventView::message,        &EventView::action,    &EventView::dedupe_key,
    &EventView::correlation_id, &EventView::timecode,  &EventView::units,
    &EventView::details_json};
inline constexpr std::array<std::string zvEventNormalizedEvent::*, kEventTextCount> kEventTexts = {
    &zvEventNormalizedEvent::event_type,     &zvEventNormalizedEvent::source_id,
    &zvEventNormalizedEvent::source_name,    &zvEventNormalizedEvent::message,
    &zvEventNormalizedEvent::action,         &zvEventNormalizedEvent::dedupe_key,
    &zvEventNormalizedEvent::correlation_id, &zvEventNormalizedEvent::timecode,
    &zvEventNormalizedEvent::units,          &zvEventNormalizedEvent::details_json};

}  // namespace zvevent
