// What one event costs in each output's format: an event of ten texts of 260 bytes in all, into a
// text that is kept. Each number changes from event to event, as measured values do, except the
// threshold.
#include <benchmark/benchmark.h>
#ifdef ZVEVENT_RAPIDJSON
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif

#include <array>
#include <string>

#include "allocation_count.h"
#include "format/alertmanager_alert.h"
#include "format/cloud_event.h"
#include "format/csv_row.h"
#include "format/json_event.h"
#include "format/snmp_trap.h"
#include "format/syslog_message.h"
#include "sample_record.h"

namespace {

using zvevent::bench::SampleEvent;

// Calls format(event, out) for events that follow each other a tenth of a millisecond apart.
template <typename Format>
void Measure(benchmark::State& state, Format&& format) {
    zvEventNormalizedEvent event = SampleEvent();
    std::string out;
    out.reserve(4096);  // as large as it will get
    std::size_t bytes = 0;
    const auto next = [&] {
        ++event.event_id;
        event.utc_ns += 100'000;
        event.ptp_ns += 100'000;
        event.value += 0.1;
        out.clear();
        format(event, out);
        benchmark::DoNotOptimize(out.data());
    };
    next();
    const std::uint64_t allocated_before = zvevent::bench::AllocationCount();
    for (auto _ : state) {
        next();
        bytes += out.size();
    }
    const auto events = static_cast<double>(state.iterations());
    state.counters["allocations"] =
        static_cast<double>(zvevent::bench::AllocationCount() - allocated_before) / events;
    state.counters["bytes"] = static_cast<double>(bytes) / events;
}

void CsvRow(benchmark::State& state) {
    Measure(state, [](const auto& event, std::string& out) { zvevent::AppendCsvRow(out, event); });
}
BENCHMARK(CsvRow);

void JsonDocument(benchmark::State& state) {
    Measure(state, [](const auto& event, std::string& out) {
        zvevent::AppendNativeEventJson(out, event);
    });
}
BENCHMARK(JsonDocument);

#ifdef ZVEVENT_RAPIDJSON
// The same document by RapidJSON's writer. Its shortest numbers are cheaper than 17 digits.
void JsonDocumentByRapidJson(benchmark::State& state) {
    rapidjson::StringBuffer buffer;
    Measure(state, [&](const zvEventNormalizedEvent& event, std::string& out) {
        buffer.Clear();
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        const auto text = [&](const char* name, const std::string& value) {
            writer.Key(name);
            writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
        };
        writer.StartObject();
        writer.Key("version");
        writer.Uint(ZVEVENT_API_VERSION);
        writer.Key("event_id");
        writer.Uint64(event.event_id);
        text("severity", "warning");
        writer.Key("severity_value");
        writer.Uint(event.severity);
        writer.Key("severity_code");
        writer.Uint(event.severity);
        text("action", event.action);
        text("event_type", event.event_type);
        text("source_id", event.source_id);
        text("source_name", event.source_name);
        text("dedupe_key", event.dedupe_key);
        text("correlation_id", event.correlation_id);
        text("message", event.message);
        writer.Key("utc_ns");
        writer.Uint64(event.utc_ns);
        writer.Key("ptp_ns");
        writer.Uint64(event.ptp_ns);
        writer.Key("pts");
        writer.Int64(event.pts);
        text("timecode", event.timecode);
        writer.Key("value");
        writer.Double(event.value);
        writer.Key("threshold");
        writer.Double(event.threshold);
        text("units", event.units);
        writer.Key("duration_ms");
        writer.Uint64(event.duration_ms);
        text("details_json", event.details_json);
        writer.EndObject();
        out.assign(buffer.GetString(), buffer.GetSize());
    });
}
BENCHMARK(JsonDocumentByRapidJson);
#endif

void CloudEvent(benchmark::State& state) {
    Measure(state, [](const auto& event, std::string& out) {
        zvevent::AppendCloudEventJson(out, event, "urn:bench", "");
    });
}
BENCHMARK(CloudEvent);

void AlertmanagerDocument(benchmark::State& state) {
    const zvEventAlertmanagerFormatterConfig config{true, true, "Bench"};
    Measure(state, [&](const auto& event, std::string& out) {
        zvevent::AppendAlertmanagerAlert(out, event, config);
    });
}
BENCHMARK(AlertmanagerDocument);

void SyslogMessage(benchmark::State& state) {
    const zvevent::SyslogOrigin origin(16, "host", "bench", "1");
    Measure(state, [&](const auto& event, std::string& out) { origin.Format(event, out); });
}
BENCHMARK(SyslogMessage);

void SnmpTrap(benchmark::State& state) {
    const zvevent::SnmpTrapFormatter traps("public", "1.3.6.1.4.1.32473", "1.3.6.1.4.1.32473.0.1");
    std::string error;
    Measure(state, [&](const auto& event, std::string& out) {
        if (!traps.Format(event, 1, out, error)) state.SkipWithError(error.c_str());
    });
}
BENCHMARK(SnmpTrap);

}  // namespace
