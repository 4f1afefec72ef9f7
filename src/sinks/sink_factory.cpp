#include "sinks/sink_factory.h"

#include "sinks/configured_sink.h"
#include "sinks/csv_sink.h"
#include "sinks/native_sink.h"

namespace zvevent {

namespace {

std::uint32_t BuildCsvSink(const zvEventSinkConfig& config, zvEventSinkPtr& sink,
                           std::string* error) {
    std::shared_ptr<zvEventCsvSink> csv;
    const std::uint32_t result = zvEventCsvSink::Create(config, &csv, error);
    sink = std::move(csv);
    return result;
}

std::uint32_t BuildNativeSink(const zvEventSinkConfig& config, zvEventSinkPtr& sink,
                              std::string* error) {
    auto native = std::make_shared<zvEventNativeSink>(config);
    const std::uint32_t result = native->Open(error);
    sink = std::move(native);
    return result;
}

std::uint32_t BuildSink(const zvEventSinkConfig& config, zvEventSinkPtr& sink, std::string* error) {
    switch (config.kind) {
        case zvEventSinkKind::csv:
            return BuildCsvSink(config, sink, error);
        case zvEventSinkKind::native:
            return BuildNativeSink(config, sink, error);
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
