#include "config/sink_loader.h"

#include <array>
#include <utility>
#include <vector>

#include "config/config_keys.h"
#include "config/settings.h"

namespace zvevent {

namespace {

// A CloudEvents entry is delivered by the webhook output, which reads the webhook group.
void FillWebhookGroup(zvEventSinkConfig& sink) {
    const zvEventSinkConfig::CloudeventsHttp& from = sink.cloudevents_http;
    zvEventSinkConfig::WebhookHttp& to = sink.webhook_http;
    to.endpoint_url = from.endpoint_url;
    to.payload_mode = "cloudevents";
    to.headers = from.auth_header;
    to.connect_timeout_ms = from.timeout_ms;
    to.request_timeout_ms = from.timeout_ms;
    to.tls_verify = false;  // deliberate: no setting turns it on for this kind
    to.cloudevents_source = from.source;
    to.cloudevents_subject_prefix = from.subject_prefix;
    to.outbox = from.outbox;
    to.outbox_limit = from.outbox_limit;
    to.outbox_sync = from.outbox_sync;
}

void LoadInstance(zvCFGHandle tree, const ReadSinkSettings& read, const SinkSection& section,
                  const std::string& name, zvEventConfig& config) {
    const std::string key = SinkKey(section) + '\\' + name;
    EnsureKey(tree, key);
    zvEventSinkConfig sink;
    sink.kind = section.kind;
    sink.name = name;
    sink.enabled = section.enabled;
    sink.minimum_severity = config.minimum_severity;
    if (section.seeded_with_warning) sink.minimum_severity = zvEventSeverityWarning;
    read(key, sink);
    if (sink.kind == zvEventSinkKind::cloudevents_http) FillWebhookGroup(sink);
    config.sinks.push_back(std::move(sink));
}

}  // namespace

void LoadSinks(zvCFGHandle tree, const ReadSinkSettings& read, zvEventConfig& config) {
    std::array<std::vector<std::string>, kSinkSections.size()> instances;
    for (std::size_t i = 0; i < kSinkSections.size(); ++i) {
        instances[i] = ChildKeys(tree, SinkKey(kSinkSections[i]));
        if (instances[i].empty()) instances[i].emplace_back(kSinkSections[i].default_instance);
    }
    for (std::size_t i = 0; i < kSinkSections.size(); ++i) {
        for (const std::string& name : instances[i])
            LoadInstance(tree, read, kSinkSections[i], name, config);
    }
}

}  // namespace zvevent
