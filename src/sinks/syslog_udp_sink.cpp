#include "sinks/syslog_udp_sink.h"

#include "base/syslog_code.h"
#include "base/texts.h"
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

using Settings = zvEventSinkConfig::SyslogUdp;

// What a port of 0 stands for: the protocol's own.
constexpr std::uint32_t kSyslogPort = 514;

}  // namespace

zvEventSyslogUdpSink::zvEventSyslogUdpSink(const zvEventSinkConfig& config)
    : zvEventSink(config),
      origin_(zvevent::SyslogFacility(config.syslog_udp.facility), zvevent::HostName(),
              zvevent::OrElse(config.syslog_udp.app_name, Settings::kDefaultAppName),
              std::to_string(zvevent::ProcessId())),
      sender_(kOwner, zvevent::OrElse(config.syslog_udp.host, Settings::kDefaultHost),
              config.syslog_udp.port != 0 ? config.syslog_udp.port : kSyslogPort) {}

std::uint32_t zvEventSyslogUdpSink::Open(std::string* error) {
    const std::scoped_lock lock(mutex_);
    std::string failure;
    return Report(sender_.Open(failure) ? ZVEVENT_OK : Fail(failure), error);
}

std::uint32_t zvEventSyslogUdpSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (!Admits(event)) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    std::string failure;
    if (!sender_.Open(failure)) return Fail(failure);
    origin_.Format(event, message_);
    return sender_.Send(message_, failure) ? ZVEVENT_OK : Fail(failure);
}
