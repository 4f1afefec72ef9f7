#include "format/cloud_event.h"

#include <initializer_list>

#include "base/number_text.h"
#include "format/json_event.h"
#include "format/text.h"

namespace zvevent {

namespace {

std::string_view FirstNonEmpty(std::initializer_list<std::string_view> texts) {
    for (const std::string_view text : texts) {
        if (!text.empty()) return text;
    }
    return {};
}

}  // namespace

void AppendCloudEventJson(std::string& out, const zvEventNormalizedEvent& event,
                          std::string_view source, std::string_view subject_prefix) {
    out += R"({"specversion":"1.0","id":")";
    AppendDecimal(out, event.event_id);
    out += R"(","source":")";
    AppendJsonEscaped(out, FirstNonEmpty({source, event.source_name, "/zvEvent"}));
    out += R"(","type":")";
    AppendJsonEscaped(out, FirstNonEmpty({event.event_type, "zvEvent.event"}));
    out += R"(","time":")";
    AppendUtcIso8601Nanos(out, event.utc_ns);
    out += R"(","subject":")";
    AppendJsonEscaped(out, subject_prefix);
    AppendJsonEscaped(out, FirstNonEmpty({event.source_id, event.event_type, "event"}));
    out += R"(","datacontenttype":"application/json","data":)";
    AppendNativeEventJson(out, event);
    out += '}';
}

std::string BuildCloudEventJson(const zvEventNormalizedEvent& event, std::string_view source,
                                std::string_view subject_prefix) {
    std::string out;
    AppendCloudEventJson(out, event, source, subject_prefix);
    return out;
}

}  // namespace zvevent
