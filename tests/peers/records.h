// Events for the programs that tests with real receivers run. One a line: the record's bytes in
// hexadecimal, then its texts, each with its 0; a text's place in the record holds its offset, or
// 0.
#pragma once

#include <cstring>
#include <istream>
#include <string>

#include "zvEvent/zvEvent.h"

// Calls `handle` for every event; returns whether all calls returned true.
template <typename Handle>
bool ForEachRecord(std::istream& text, const Handle& handle) {
    bool good = true;
    for (std::string line; std::getline(text, line);) {
        std::string bytes;
        for (std::size_t i = 0; i + 1 < line.size(); i += 2)
            bytes += static_cast<char>(std::stoi(line.substr(i, 2), nullptr, 16));
        zvEventRecord record;
        std::memcpy(&record, bytes.data(), sizeof record);
        for (const char** place :
             {&record.event_type, &record.source_id, &record.source_name, &record.message,
              &record.action, &record.dedupe_key, &record.correlation_id, &record.timecode,
              &record.units, &record.details_json})
            if (*place != nullptr) *place = bytes.data() + reinterpret_cast<std::size_t>(*place);
        good = handle(record) && good;
    }
    return good;
}
