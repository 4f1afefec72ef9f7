#include "sinks/snmp_trap_sink.h"

#include "base/texts.h"
#include "config/sink_faults.h"
#include "zvutil/zvutil.h"

namespace {

constexpr zvevent::UdpOwner kOwner = {
    .channel = "zvEvent SNMP trap",
    .sink = "zvEvent SNMP trap sink",
    .start_network =
        [] {
            static const int result = zvevent::StartNetwork();
            return result;
        },
};

using Settings = zvEventSinkConfig::SnmpTrap;

}  // namespace

zvEventSnmpTrapSink::zvEventSnmpTrapSink(const zvEventSinkConfig& config)
    : zvEventSink(config),
      version_(zvevent::OrElse(config.snmp_trap.version, Settings::kDefaultVersion)),
      formatter_(zvevent::OrElse(config.snmp_trap.community, Settings::kDefaultCommunity),
                 zvevent::OrElse(config.snmp_trap.enterprise_oid, Settings::kDefaultEnterpriseOid),
                 zvevent::OrElse(config.snmp_trap.trap_oid, Settings::kDefaultTrapOid)),
      sender_(kOwner, zvevent::OrElse(config.snmp_trap.host, Settings::kDefaultHost),
              config.snmp_trap.port != 0 ? config.snmp_trap.port : Settings::kDefaultPort) {}

std::uint32_t zvEventSnmpTrapSink::Open(std::string* error) {
    const std::scoped_lock lock(mutex_);
    return Report(OpenLocked(), error);
}

std::uint32_t zvEventSnmpTrapSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (!Admits(event)) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    std::string failure;
    const bool sent = sender_.Open(failure) &&
                      formatter_.Format(event, zvOSGetMs(), message_, failure) &&
                      sender_.Send(message_, failure);
    return sent ? ZVEVENT_OK : Fail(failure);
}

std::uint32_t zvEventSnmpTrapSink::OpenLocked() {
    if (const char* const fault = zvevent::SnmpTrapFault(version_)) return Refuse(fault);
    std::string failure;
    return sender_.Open(failure) ? ZVEVENT_OK : Fail(failure);
}
