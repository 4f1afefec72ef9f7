#include "sinks/sink_factory.h"

#include "sinks/alertmanager_sink.h"
#include "sinks/configured_sink.h"
#include "sinks/csv_sink.h"
#include "sinks/native_sink.h"
#include "sinks/snmp_trap_sink.h"
#include "sinks/syslog_udp_sink.h"
#include "sinks/webhook_http_sink.h"

namespace zvevent {

namespace {

std::uint32_t BuildCsvSink(const zvEventSinkConfig& config, zvEventSinkPtr& sink,
                           std::string* error) {
    std::shared_ptr<zvEventCsvSink> csv;
    const std::uint32_t result = zvEventCsvSink::Create(config, &csv, error);
    sink = std::move(csv);
    return result;
}

// A sink that is built first and opened then.
template <typename Sink>
std::uint32_t BuildOpenSink(const zvEventSinkConfig& config, zvEventSinkPtr& sink,
                            std::string* error) {
    auto built = std::make_shared<Sink>(config);
    const std::uint32_t result = built->Open(error);
    sink = std::move(built);
    return result;
}

std::uint32_t BuildWebhookSink(const zvEventSinkConfig& config, zvEventSinkPtr& sink,
                               std::string* error) {
    auto webhook = std::make_shared<zvEventWebhookHttpSink>(config);
    const std::uint32_t result = webhook->Validate(error);
    if (result == ZVEVENT_OK) sink = std::move(webhook);
    return result;
}

std::uint32_t BuildSink(const zvEventSinkConfig& config, zvEventSinkPtr& sink, std::string* error) {
    switch (config.kind) {
        case zvEventSinkKind::csv:
            return BuildCsvSink(config, sink, error);
        case zvEventSinkKind::syslog_udp:
            return BuildOpenSink<zvEventSyslogUdpSink>(config, sink, error);
        case zvEventSinkKind::native:
            return BuildOpenSink<zvEventNativeSink>(config, sink, error);
        case zvEventSinkKind::snmp_trap:
            return BuildOpenSink<zvEventSnmpTrapSink>(config, sink, error);
        case zvEventSinkKind::cloudevents_http:
        case zvEventSinkKind::webhook_http:
            return BuildWebhookSink(config, sink, error);
        case zvEventSinkKind::alertmanager:
            sink = std::make_shared<zvEventAlertmanagerSink>(config);
            return ZVEVENT_OK;
        default:
            sink = std::make_shared<zvEventConfiguredSink>(config);
            return ZVEVENT_OK;
    }
}

}  // namespace

std::uint32_t BuildConfiguredSinks(const zvEventConfig& config, const zvEventSinkPtr& callback_sink,
                                   std::vector<zvEventSinkPtr>* sinks, std::string* error) {
    if (sinks == nullptr) return ZVEVENT_E_INVALID_ARGUMENT;
    sinks->clear();
    for (const zvEventSinkConfig& entry : config.sinks) {
        if (!entry.enabled) continue;
        zvEventSinkPtr sink;
        const std::uint32_t result = BuildSink(entry, sink, error);
        if (result != ZVEVENT_OK) return result;
        sinks->push_back(std::move(sink));
    }
    sinks->push_back(callback_sink);
    return ZVEVENT_OK;
}

}  // namespace zvevent
