#include "sinks/alertmanager_sink.h"

#include <utility>

#include "base/texts.h"
#include "format/alertmanager_alert.h"

zvEventAlertmanagerSink::zvEventAlertmanagerSink(const zvEventSinkConfig& config)
    : zvEventSink(config),
      formatter_config_{config.alertmanager.send_resolved, config.alertmanager.allow_source_label,
                        zvevent::OrElse(config.alertmanager.alertname_prefix,
                                        zvEventSinkConfig::Alertmanager::kDefaultAlertnamePrefix)} {
}

std::uint32_t zvEventAlertmanagerSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (!Admits(event)) return ZVEVENT_OK;
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
    zvevent::ClearBuffer(payload);
    spare_.swap(payload);
}
