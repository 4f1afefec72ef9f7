#include "records.h"

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

namespace {

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

bool ForEachRecord(std::istream& text, const std::function<bool(const zvEventRecord&)>& handle) {
    bool good = true;
    std::map<std::string, std::string> fields;
    for (std::string line; std::getline(text, line);) {
        if (line == "." || line == ".\r") {
            good = handle(RecordOf(fields)) && good;
            fields.clear();
        } else if (const std::size_t equals = line.find('='); equals != std::string::npos) {
            fields[line.substr(0, equals)] = Decoded(line.substr(equals + 1));
        }
    }
    return good;
}
