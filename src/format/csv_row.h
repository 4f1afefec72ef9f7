// The rows of the CSV output. Pure functions, any thread.
#pragma once

#include <string>
#include <string_view>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// The first line of a file, line feed included: twenty columns.
inline constexpr std::string_view kCsvHeader =
    "version,event_id,utc_iso,utc_ns,severity,action,event_type,source_id,source_name,dedupe_key,"
    "correlation_id,message,value,threshold,units,duration_ms,ptp_ns,pts,timecode,details_json\n";

// Appends one event as one row, line feed included. Line feeds inside texts stay, between quotes.
void AppendCsvRow(std::string& out, const zvEventNormalizedEvent& event);

}  // namespace zvevent
