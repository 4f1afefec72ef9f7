// The twenty columns as the text that a logger takes, built by {fmt} on the calling thread, and the
// way back to the event's id, which tells deliveries apart.
#pragma once

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "sample_record.h"

namespace zvevent::bench {

inline constexpr char kColumns[] =
    "65536,{},{},{},warning,{},{},{},{},{},{},{},{:.17g},{:.17g},{},{},{},{},{},\"{}\"";

// Calls take(columns...), to be put into kColumns.
template <typename Take>
auto WithColumns(std::uint64_t event_id, Take&& take) {
    static const zvEventRecord sample = SampleRecord();
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto utc_ns = std::chrono::nanoseconds(now).count();
    return take(event_id, utc_ns, utc_ns, sample.action, sample.event_type, sample.source_id,
                sample.source_name, sample.dedupe_key, sample.correlation_id, sample.message,
                sample.value, sample.threshold, sample.units, sample.duration_ms, utc_ns,
                sample.pts, sample.timecode, sample.details_json);
}

inline std::string ColumnsText(std::uint64_t event_id) {
    return WithColumns(event_id,
                       [](const auto&... column) { return fmt::format(kColumns, column...); });
}

inline std::uint64_t IdIn(std::string_view text) {
    constexpr std::size_t kVersionBytes = std::string_view("65536,").size();
    std::uint64_t id = 0;
    std::from_chars(text.data() + kVersionBytes, text.data() + text.size(), id);
    return id;
}

}  // namespace zvevent::bench
