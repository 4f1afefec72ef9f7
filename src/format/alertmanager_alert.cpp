#include "format/alertmanager_alert.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "base/ascii.h"
#include "base/number_text.h"
#include "format/text.h"

namespace zvevent {

namespace {

constexpr std::string_view kDefaultPrefix = "ZvEvent";

// Alertmanager's own scale ends with "critical" and knows no debug alerts.
constexpr std::string_view SeverityLabel(std::uint32_t severity) {
    constexpr std::array<std::string_view, 4> kLabels = {"info", "info", "warning", "critical"};
    return severity < kLabels.size() ? kLabels[severity] : "info";
}

constexpr bool IsLabelByte(char c) {
    return IsAlnumAscii(c) || c == '-' || c == '.' || c == ':' || c == '_';
}

void AppendLabels(std::string& out, const zvEventNormalizedEvent& event,
                  const zvEventAlertmanagerFormatterConfig& config) {
    out += R"("labels":{"alertname":")";
    BuildAlertName(out, config.alertname_prefix, event.event_type);
    out.append(R"(","severity":")").append(SeverityLabel(event.severity));
    out += R"(","event_type":")";
    SanitizeLabelValue(out, event.event_type, "event");
    // The same for every action: Alertmanager tells alerts apart by their labels.
    out += R"(","action":"raise")";
    if (config.allow_source_label && !event.source_id.empty()) {
        out += R"(,"source_id":")";
        SanitizeLabelValue(out, event.source_id, "source");
        out += '"';
    }
    out += '}';
}

// Not the alert state's key, which is "source_id:event_type" when the event brings none.
void AppendDedupeKey(std::string& out, const zvEventNormalizedEvent& event) {
    if (!event.dedupe_key.empty()) {
        AppendJsonEscaped(out, event.dedupe_key);
        return;
    }
    AppendJsonEscaped(out, event.event_type);
    if (event.source_id.empty()) return;
    out += ':';
    AppendJsonEscaped(out, event.source_id);
}

void AppendAnnotations(std::string& out, const zvEventNormalizedEvent& event) {
    out += R"("annotations":{"summary":")";
    AppendJsonEscaped(out, event.message.empty() ? event.event_type : event.message);
    out += R"(","description":")";
    BuildDescription(out, event);
    out += R"(","zv_event_id":")";
    AppendDecimal(out, event.event_id);
    out += R"(","zv_dedupe_key":")";
    AppendDedupeKey(out, event);
    out += R"(","zv_source_name":")";
    AppendJsonEscaped(out, event.source_name);
    out += R"(","zv_units":")";
    AppendJsonEscaped(out, event.units);
    out += R"(","zv_value":")";
    AppendMeasurementText(out, event.value);
    out += R"(","zv_threshold":")";
    AppendMeasurementText(out, event.threshold);
    out += R"("})";
}

}  // namespace

bool IsResolution(const zvEventNormalizedEvent& event) {
    constexpr std::array<std::string_view, 3> kWords = {"clear", "resolve", "resolved"};
    return std::any_of(kWords.begin(), kWords.end(),
                       [&](std::string_view word) { return EqualsLowerAscii(event.action, word); });
}

void AppendAlertmanagerAlert(std::string& out, const zvEventNormalizedEvent& event,
                             const zvEventAlertmanagerFormatterConfig& config) {
    const bool resolution = IsResolution(event);
    if (resolution && !config.send_resolved) {
        out += "[]";
        return;
    }
    out += "[{";
    AppendLabels(out, event, config);
    out += ',';
    AppendAnnotations(out, event);
    out += R"(,"startsAt":")";
    AppendUtcIso8601(out, event.utc_ns);
    // When the alert began is not known here. Alertmanager keeps the earlier start it has.
    if (resolution) {
        out += R"(","endsAt":")";
        AppendUtcIso8601(out, event.utc_ns);
    }
    out += R"("}])";
}

void SanitizeLabelValue(std::string& out, std::string_view text, std::string_view fallback) {
    const std::size_t start = out.size();
    bool in_run = false;
    for (const char c : text) {
        const bool kept = IsLabelByte(c);
        const bool repeats = !kept && in_run;
        in_run = !kept;
        const char byte = kept ? ToLowerAscii(c) : '_';
        const bool leading = byte == '_' && out.size() == start;
        if (!repeats && !leading) out += byte;
    }
    while (out.size() > start && out.back() == '_')
        out.pop_back();
    if (out.size() == start) out.append(fallback);
}

void BuildAlertName(std::string& out, std::string_view prefix, std::string_view event_type) {
    const std::size_t start = out.size();
    std::copy_if(prefix.begin(), prefix.end(), std::back_inserter(out),
                 [](char c) { return IsAlnumAscii(c) || c == '_'; });
    if (out.size() == start) out += kDefaultPrefix;

    const std::size_t words = out.size();
    bool in_word = false;
    for (const char c : event_type) {
        const bool letter = IsAlnumAscii(c);
        if (letter) out += in_word ? ToLowerAscii(c) : ToUpperAscii(c);
        in_word = letter;
    }
    if (out.size() == words) out += "Event";
}

void BuildDescription(std::string& out, const zvEventNormalizedEvent& event) {
    AppendJsonEscaped(out, event.message);
    // An empty name is found in every message.
    if (event.message.find(event.source_name) != std::string::npos) return;
    out += " on ";
    AppendJsonEscaped(out, event.source_name);
}

}  // namespace zvevent
