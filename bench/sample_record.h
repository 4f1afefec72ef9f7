// The event that every benchmark sends: ten texts of about 260 bytes in all.
#pragma once

#include "core/normalize.h"
#include "zvEvent/zvEvent.h"

namespace zvevent::bench {

inline zvEventRecord SampleRecord() {
    zvEventRecord record = zvEventRecordInit();
    record.event_type = "temperature.high";
    record.source_id = "rack-07/psu-1";
    record.source_name = "Power supply 1 of rack 7";
    record.message = "Power supply 1 of rack 7 reports 81.5 C, limit 75.0 C, fan speed nominal";
    record.severity = zvEventSeverityWarning;
    record.action = "measure";
    record.dedupe_key = "rack-07/psu-1/temperature";
    record.correlation_id = "7b1f3c52-9d0e-4b5a";
    record.timecode = "10:23:45:12";
    record.value = 81.5;
    record.threshold = 75.0;
    record.units = "C";
    record.details_json = R"({"fan_rpm":4200,"inlet_c":24.5,"redundant":true,"slot":1})";
    return record;
}

inline zvEventNormalizedEvent SampleEvent() {
    zvEventNormalizedEvent event;
    const zvEventRecord record = SampleRecord();
    NormalizeRecord(&record, 1, &event);
    return event;
}

}  // namespace zvevent::bench
