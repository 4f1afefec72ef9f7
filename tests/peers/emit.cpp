// Submits events to the real library, for tests in which another program receives them.
//
//     emit CONFIG < events
//
// An event is a block of lines "field=value", fields as in zvEventRecord, bytes other than
// printable ASCII and every "%" as %XX; a line "." submits it. At the end everything is flushed and
// shut down. Exits 0 when every call succeeded; failures go to the standard error.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>

#include "zvEvent/zvEvent.h"

namespace {

bool Check(const char* what, std::uint32_t result) {
    if (result == ZVEVENT_OK) return true;
    char text[1024];
    zvEventGetLastError(text, sizeof text);
    std::fprintf(stderr, "%s: 0x%08X %s\n", what, result, text);
    return false;
}

std::string Decoded(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else if (text[i] != '\r') {
            bytes += text[i];
        }
    }
    return bytes;
}

zvEventRecord RecordOf(const std::map<std::string, std::string>& fields) {
    const auto text = [&](const char* name) {
        const auto found = fields.find(name);
        return found != fields.end() ? found->second.c_str() : nullptr;
    };
    const auto number = [&](const char* name) {
        const char* digits = text(name);
        return digits != nullptr ? std::strtoull(digits, nullptr, 10) : 0;
    };
    const auto real = [&](const char* name) {
        const char* digits = text(name);
        return digits != nullptr ? std::strtod(digits, nullptr) : 0.0;
    };
    zvEventRecord record{};
    record.struct_size = sizeof record;
    record.version = ZVEVENT_API_VERSION;
    record.event_id = number("event_id");
    record.event_type = text("event_type");
    record.source_id = text("source_id");
    record.source_name = text("source_name");
    record.message = text("message");
    record.severity = static_cast<std::uint32_t>(number("severity"));
    record.action = text("action");
    record.dedupe_key = text("dedupe_key");
    record.correlation_id = text("correlation_id");
    record.utc_ns = number("utc_ns");
    record.ptp_ns = number("ptp_ns");
    record.pts = static_cast<std::int64_t>(number("pts"));
    record.timecode = text("timecode");
    record.value = real("value");
    record.threshold = real("threshold");
    record.units = text("units");
    record.duration_ms = number("duration_ms");
    record.details_json = text("details_json");
    return record;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !Check("initialize", zvEventInitialize(argv[1]))) return 2;
    bool good = true;
    std::map<std::string, std::string> fields;
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "." || line == ".\r") {
            const zvEventRecord record = RecordOf(fields);
            good = Check("submit", zvEventSubmit(&record)) && good;
            fields.clear();
        } else if (const std::size_t equals = line.find('='); equals != std::string::npos) {
            fields[line.substr(0, equals)] = Decoded(line.substr(equals + 1));
        }
    }
    good = Check("flush", zvEventFlush(20000)) && good;
    good = Check("shutdown", zvEventShutdown()) && good;
    return good ? 0 : 1;
}
