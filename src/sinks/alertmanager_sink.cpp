#include "sinks/alertmanager_sink.h"

#include <utility>

#include "format/alertmanager_alert.h"

namespace {

// What one unusually large document leaves reserved, at most.
constexpr std::size_t kKeptBytes = 64 * 1024;

}  // namespace

zvEventAlertmanagerSink::zvEventAlertmanagerSink(const zvEventSinkConfig& config)
    : minimum_severity_(config.minimum_severity) {
    formatter_config_.send_resolved = config.alertmanager.send_resolved;
    formatter_config_.allow_source_label = config.alertmanager.allow_source_label;
    if (!config.alertmanager.alertname_prefix.empty()) {
        formatter_config_.alertname_prefix = config.alertmanager.alertname_prefix;
    }
}

std::uint32_t zvEventAlertmanagerSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (event.severity < minimum_severity_) return ZVEVENT_OK;
    std::string payload = TakeSpare();
    zvevent::AppendAlertmanagerAlert(payload, event, formatter_config_);
    Keep(std::move(payload));
    return ZVEVENT_OK;
}

std::string zvEventAlertmanagerSink::LastPayload() {
    const std::scoped_lock lock(mutex_);
    return last_payload_;
}

std::string zvEventAlertmanagerSink::TakeSpare() {
    std::string spare;
    const std::scoped_lock lock(mutex_);
    spare.swap(spare_);
    return spare;
}

void zvEventAlertmanagerSink::Keep(std::string payload) {
    const std::scoped_lock lock(mutex_);
    last_payload_.swap(payload);
    if (payload.capacity() > kKeptBytes) return;
    payload.clear();
    spare_.swap(payload);
}
