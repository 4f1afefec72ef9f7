#include "format/json_event.h"

#include "base/severity.h"
#include "format/json_member.h"
#include "format/text.h"

namespace zvevent {

namespace {

void AppendMeasurement(std::string& out, std::string_view key, double number) {
    out += key;
    AppendJsonNumber(out, number);
}

}  // namespace

void AppendNativeEventJson(std::string& out, const zvEventNormalizedEvent& event) {
    AppendNumber(out, R"({"version":)", ZVEVENT_API_VERSION);
    AppendNumber(out, R"(,"event_id":)", event.event_id);
    AppendText(out, R"(,"severity":")", SeverityName(event.severity, "info"));
    // Twice on purpose: receivers read the one or the other.
    AppendNumber(out, R"(,"severity_value":)", event.severity);
    AppendNumber(out, R"(,"severity_code":)", event.severity);
    AppendText(out, R"(,"action":")", event.action);
    AppendText(out, R"(,"event_type":")", event.event_type);
    AppendText(out, R"(,"source_id":")", event.source_id);
    AppendText(out, R"(,"source_name":")", event.source_name);
    AppendText(out, R"(,"dedupe_key":")", event.dedupe_key);
    AppendText(out, R"(,"correlation_id":")", event.correlation_id);
    AppendText(out, R"(,"message":")", event.message);
    AppendNumber(out, R"(,"utc_ns":)", event.utc_ns);
    AppendNumber(out, R"(,"ptp_ns":)", event.ptp_ns);
    AppendNumber(out, R"(,"pts":)", event.pts);
    AppendText(out, R"(,"timecode":")", event.timecode);
    AppendMeasurement(out, R"(,"value":)", event.value);
    AppendMeasurement(out, R"(,"threshold":)", event.threshold);
    AppendText(out, R"(,"units":")", event.units);
    AppendNumber(out, R"(,"duration_ms":)", event.duration_ms);
    AppendText(out, R"(,"details_json":")", event.details_json);
    out += '}';
}

std::string BuildNativeEventJson(const zvEventNormalizedEvent& event) {
    std::string out;
    AppendNativeEventJson(out, event);
    return out;
}

}  // namespace zvevent
