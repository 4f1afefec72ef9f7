#include "format/status_document.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/number_text.h"
#include "base/version.h"
#include "format/json_member.h"
#include "format/text.h"

namespace zvevent {

namespace {

constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;

using Drop = std::pair<std::string_view, std::uint64_t>;

// The reasons as both documents name them.
std::array<Drop, 6> DropsOf(const CoreStatistics& core) {
    const DroppedEvents& dropped = core.dropped;
    return {{{"filtered", dropped.filtered},
             {"full", dropped.full},
             {"evicted", dropped.evicted},
             {"purged", dropped.purged},
             {"suppressed", dropped.suppressed},
             {"memory", dropped.memory}}};
}

// --- JSON ----------------------------------------------------------------------------------------

// Keys as in json_member.h.
void AppendFlag(std::string& out, std::string_view key, bool flag) {
    out.append(key).append(flag ? "true" : "false");
}

// To the second; an empty text for a time that never was.
void AppendTime(std::string& out, std::string_view key, std::uint64_t utc_ns) {
    out.append(key) += '"';
    if (utc_ns != 0) AppendUtcIso8601(out, utc_ns / kNanosPerSecond * kNanosPerSecond);
    out += '"';
}

void AppendConfig(std::string& out, const LibraryStatus& status) {
    const ConfigStatus& config = status.config;
    AppendText(out, R"(,"config":{"path":")", config.path);
    AppendFlag(out, R"(,"enabled":)", status.enabled);
    AppendNumber(out, R"(,"reloads":)", config.reloads);
    AppendTime(out, R"(,"last_reload":)", config.last_reload_ns);
    AppendText(out, R"(,"last_error":")", config.last_error);
    out += R"(,"unknown_keys":[)";
    std::string_view before = R"(")";
    for (const std::string& key : config.unknown_keys)
        AppendText(out, std::exchange(before, R"(,")"), key);
    out += "]}";
}

void AppendEvents(std::string& out, const CoreStatistics& core) {
    AppendNumber(out, R"(,"events":{"received":)", core.received);
    AppendNumber(out, R"(,"processed":)", core.processed);
    AppendNumber(out, R"(,"queued":)", core.queued);
    AppendNumber(out, R"(,"in_hand":)", core.in_hand);
    std::string_view open = R"(,"dropped":{)";
    for (const auto& [reason, count] : DropsOf(core)) {
        out.append(std::exchange(open, ",")).append(1, '"').append(reason);
        AppendNumber(out, "\":", count);
    }
    AppendNumber(out, R"(}},"queue":{"capacity":)", core.queue_capacity);
    AppendNumber(out, R"(,"depth":)", core.queued);
    AppendNumber(out, R"(,"high_water":)", core.queue_high_water);
    AppendNumber(out, R"(},"alerts":{"active":)", core.active_alerts);
    out += '}';
}

void AppendOutput(std::string& out, const OutputStatus& output) {
    AppendText(out, R"({"output":")", output.output);
    AppendNumber(out, R"(,"delivered":)", output.delivered);
    AppendNumber(out, R"(,"below_severity":)", output.below_severity);
    AppendNumber(out, R"(,"failed":)", output.failed);
    AppendNumber(out, R"(,"fallback":)", output.fallback);
    AppendFlag(out, R"(,"failing":)", output.failing);
    AppendText(out, R"(,"last_error":")", output.last_error);
    AppendTime(out, R"(,"last_error_at":)", output.last_error_ns);
    AppendTime(out, R"(,"last_delivered_at":)", output.last_delivered_ns);
    if (output.outbox) {
        AppendNumber(out, R"(,"outbox":{"pending":)", output.outbox->pending);
        AppendTime(out, R"(,"oldest":)", output.outbox->oldest_ns);
        AppendNumber(out, R"(,"refused":)", output.outbox->refused);
        AppendNumber(out, R"(,"discarded":)", output.outbox->discarded);
        out += '}';
    }
    out += '}';
}

// --- Prometheus ----------------------------------------------------------------------------------

// Writes one family of samples: name, help and type once, then a line a sample.
class Family {
public:
    Family(std::string& out, std::string_view name, std::string_view type, std::string_view help)
        : out_(out), name_(name) {
        out_.append("# HELP ").append(name).append(1, ' ').append(help).append("\n# TYPE ");
        out_.append(name).append(1, ' ').append(type) += '\n';
    }

    void Sample(std::uint64_t value) { Sample({}, {}, value); }

    void Sample(std::string_view label, std::string_view label_value, std::uint64_t value) {
        out_ += name_;
        if (!label.empty()) {
            out_.append(1, '{').append(label).append("=\"");
            AppendLabelValue(label_value);
            out_ += "\"}";
        }
        AppendNumber(out_, " ", value);
        out_ += '\n';
    }

private:
    void AppendLabelValue(std::string_view text) {
        for (const char c : text) {
            if (c == '\\' || c == '"') out_ += '\\';
            if (c == '\n') {
                out_ += "\\n";
            } else {
                out_ += c;
            }
        }
    }

    std::string& out_;
    std::string_view name_;
};

void AppendGauge(std::string& out, std::string_view name, std::string_view help,
                 std::uint64_t value) {
    Family(out, name, "gauge", help).Sample(value);
}

void AppendCounter(std::string& out, std::string_view name, std::string_view help,
                   std::uint64_t value) {
    Family(out, name, "counter", help).Sample(value);
}

void AppendCoreMetrics(std::string& out, const CoreStatistics& core) {
    AppendCounter(out, "zvevent_events_received_total", "Events submitted.", core.received);
    AppendCounter(out, "zvevent_events_processed_total", "Events handed to the outputs.",
                  core.processed);
    Family dropped(out, "zvevent_events_dropped_total", "counter",
                   "Events that no output was given, by reason.");
    for (const auto& [reason, count] : DropsOf(core))
        dropped.Sample("reason", reason, count);
    AppendGauge(out, "zvevent_events_in_hand", "Events that the worker is delivering.",
                core.in_hand);
    AppendGauge(out, "zvevent_queue_depth", "Events in the queue.", core.queued);
    AppendGauge(out, "zvevent_queue_capacity", "Events that the queue takes.", core.queue_capacity);
    AppendGauge(out, "zvevent_queue_high_water", "Most events in the queue since the start.",
                core.queue_high_water);
    AppendGauge(out, "zvevent_alerts_active", "Alerts raised and not cleared.", core.active_alerts);
}

struct OutputFamily {
    std::string_view name;
    std::string_view type;
    std::string_view help;
    std::uint64_t OutputStatus::*value;
    std::uint64_t unit;  // what the value is divided by
};
constexpr std::array<OutputFamily, 6> kOutputFamilies = {{
    {"zvevent_output_delivered_total", "counter", "Events delivered.", &OutputStatus::delivered, 1},
    {"zvevent_output_below_severity_total", "counter",
     "Events below the output's minimum severity.", &OutputStatus::below_severity, 1},
    {"zvevent_output_failed_total", "counter", "Events that the output lost.",
     &OutputStatus::failed, 1},
    {"zvevent_output_fallback_total", "counter", "Events that went another way.",
     &OutputStatus::fallback, 1},
    {"zvevent_output_last_error_timestamp_seconds", "gauge",
     "Time of the last failure, 0 without one.", &OutputStatus::last_error_ns, kNanosPerSecond},
    {"zvevent_output_last_delivered_timestamp_seconds", "gauge",
     "Time of the last delivery, 0 without one.", &OutputStatus::last_delivered_ns,
     kNanosPerSecond},
}};

struct OutboxFamily {
    std::string_view name;
    std::string_view type;
    std::string_view help;
    std::uint64_t OutboxStatus::*value;
    std::uint64_t unit;
};
constexpr std::array<OutboxFamily, 4> kOutboxFamilies = {{
    {"zvevent_outbox_pending", "gauge", "Events on disk that the receiver does not have yet.",
     &OutboxStatus::pending, 1},
    {"zvevent_outbox_oldest_timestamp_seconds", "gauge",
     "When the first of them was put in, 0 without one.", &OutboxStatus::oldest_ns,
     kNanosPerSecond},
    {"zvevent_outbox_refused", "gauge", "Events kept aside that the receiver will never take.",
     &OutboxStatus::refused, 1},
    {"zvevent_outbox_discarded_total", "counter", "Events discarded from the full outbox.",
     &OutboxStatus::discarded, 1},
}};

void AppendOutboxMetrics(std::string& out, const std::vector<OutputStatus>& outputs) {
    const auto has_outbox = [](const OutputStatus& output) { return output.outbox.has_value(); };
    if (std::none_of(outputs.begin(), outputs.end(), has_outbox)) return;
    for (const OutboxFamily& kind : kOutboxFamilies) {
        Family family(out, kind.name, kind.type, kind.help);
        for (const OutputStatus& output : outputs) {
            if (!output.outbox) continue;
            family.Sample("output", output.output, *output.outbox.*kind.value / kind.unit);
        }
    }
}

}  // namespace

void AppendStatusJson(std::string& out, const LibraryStatus& status) {
    AppendText(out, R"({"library":"zvEvent","version":")", VersionText());
    AppendNumber(out, R"(,"pid":)", status.pid);
    AppendText(out, R"(,"host":")", status.host);
    AppendTime(out, R"(,"started":)", status.started_ns);
    AppendTime(out, R"(,"written":)", status.written_ns);
    AppendFlag(out, R"(,"initialized":)", status.initialized);
    AppendConfig(out, status);
    AppendEvents(out, status.core);
    out += R"(,"outputs":[)";
    for (const OutputStatus& output : status.outputs) {
        if (&output != &status.outputs.front()) out += ',';
        AppendOutput(out, output);
    }
    out += "]}\n";
}

void AppendStatusMetrics(std::string& out, const LibraryStatus& status) {
    Family(out, "zvevent_info", "gauge", "The library's version.")
        .Sample("version", VersionText(), 1);
    AppendGauge(out, "zvevent_start_timestamp_seconds", "When the library was initialized.",
                status.started_ns / kNanosPerSecond);
    AppendGauge(out, "zvevent_written_timestamp_seconds", "When this file was written.",
                status.written_ns / kNanosPerSecond);
    AppendGauge(out, "zvevent_initialized", "Whether the library is initialized.",
                status.initialized ? 1 : 0);
    AppendGauge(out, "zvevent_config_enabled", "Whether the configuration lets events in.",
                status.enabled ? 1 : 0);
    AppendCounter(out, "zvevent_config_reloads_total", "Reloads that succeeded.",
                  status.config.reloads);
    AppendGauge(out, "zvevent_config_reload_failed", "Whether the last reload failed.",
                status.config.last_error.empty() ? 0 : 1);
    Family unknown(out, "zvevent_config_unknown_key", "gauge",
                   "Keys of the configuration that the library does not know.");
    for (const std::string& key : status.config.unknown_keys)
        unknown.Sample("key", key, 1);
    AppendCoreMetrics(out, status.core);
    Family failing(out, "zvevent_output_failing", "gauge", "Whether the last event was lost.");
    for (const OutputStatus& output : status.outputs)
        failing.Sample("output", output.output, output.failing ? 1 : 0);
    for (const OutputFamily& kind : kOutputFamilies) {
        Family family(out, kind.name, kind.type, kind.help);
        for (const OutputStatus& output : status.outputs)
            family.Sample("output", output.output, output.*kind.value / kind.unit);
    }
    AppendOutboxMetrics(out, status.outputs);
}

}  // namespace zvevent
