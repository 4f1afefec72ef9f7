#include "sinks/syslog_udp_sink.h"

#include "base/syslog_facility.h"
#include "platform/host_name.h"
#include "platform/process_id.h"

namespace {

constexpr zvevent::UdpOwner kOwner = {
    .channel = "zvEvent syslog UDP",
    .sink = "zvEvent syslog sink",
    .start_network =
        [] {
            static const int result = zvevent::StartNetwork();
            return result;
        },
};

constexpr std::uint32_t kDefaultPort = 514;

std::string OrElse(const std::string& text, const char* fallback) {
    return text.empty() ? fallback : text;
}

}  // namespace

zvEventSyslogUdpSink::zvEventSyslogUdpSink(const zvEventSinkConfig& config)
    : minimum_severity_(config.minimum_severity),
      origin_(zvevent::SyslogFacility(config.syslog_udp.facility), zvevent::HostName(),
              OrElse(config.syslog_udp.app_name, "zvEvent"), std::to_string(zvevent::ProcessId())),
      sender_(kOwner, OrElse(config.syslog_udp.host, "127.0.0.1"),
              config.syslog_udp.port != 0 ? config.syslog_udp.port : kDefaultPort) {}

std::uint32_t zvEventSyslogUdpSink::Open(std::string* error) {
    const std::scoped_lock lock(mutex_);
    if (sender_.Open(last_error_)) return ZVEVENT_OK;
    if (error != nullptr) *error = last_error_;
    return ZVEVENT_E_FAILURE;
}

std::uint32_t zvEventSyslogUdpSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (event.severity < minimum_severity_) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    if (!sender_.Open(last_error_)) return ZVEVENT_E_FAILURE;
    origin_.Format(event, message_);
    return sender_.Send(message_, last_error_) ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

std::string zvEventSyslogUdpSink::LastError() {
    const std::scoped_lock lock(mutex_);
    return last_error_;
}
