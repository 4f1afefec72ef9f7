#include "sinks/sink_factory.h"

#include <algorithm>
#include <array>

#include "sinks/alertmanager_sink.h"
#include "sinks/configured_sink.h"
#include "sinks/csv_sink.h"
#include "sinks/native_sink.h"
#include "sinks/snmp_trap_sink.h"
#include "sinks/syslog_udp_sink.h"
#include "sinks/webhook_http_sink.h"

namespace zvevent {

namespace {

// Constructs a sink and takes the step by which its kind opens, if it has one. `sink` is set on
// success only.
template <typename Sink>
std::uint32_t Build(const zvEventSinkConfig& entry, zvEventSinkPtr& sink, std::string* error) {
    std::shared_ptr<Sink> built;
    std::uint32_t result = ZVEVENT_OK;
    if constexpr (requires { Sink::Create(entry, &built, error); }) {
        result = Sink::Create(entry, &built, error);
    } else {
        built = std::make_shared<Sink>(entry);
        if constexpr (requires { built->Open(error); }) result = built->Open(error);
        if constexpr (requires { built->Validate(error); }) result = built->Validate(error);
    }
    if (result == ZVEVENT_OK) sink = std::move(built);
    return result;
}

struct Kind {
    zvEventSinkKind kind;
    std::uint32_t (*build)(const zvEventSinkConfig& entry, zvEventSinkPtr& sink,
                           std::string* error);
};
constexpr std::array kKinds = {
    Kind{zvEventSinkKind::csv, Build<zvEventCsvSink>},
    Kind{zvEventSinkKind::syslog_udp, Build<zvEventSyslogUdpSink>},
    Kind{zvEventSinkKind::native, Build<zvEventNativeSink>},
    Kind{zvEventSinkKind::cloudevents_http, Build<zvEventWebhookHttpSink>},
    Kind{zvEventSinkKind::webhook_http, Build<zvEventWebhookHttpSink>},
    Kind{zvEventSinkKind::snmp_trap, Build<zvEventSnmpTrapSink>},
    Kind{zvEventSinkKind::alertmanager, Build<zvEventAlertmanagerSink>},
};

std::uint32_t BuildSink(const zvEventSinkConfig& entry, zvEventSinkPtr& sink, std::string* error) {
    const auto* const known = std::find_if(
        kKinds.begin(), kKinds.end(), [&](const Kind& kind) { return kind.kind == entry.kind; });
    return known != kKinds.end() ? known->build(entry, sink, error)
                                 : Build<zvEventConfiguredSink>(entry, sink, error);
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
