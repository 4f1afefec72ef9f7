#include "sinks/snmp_trap_sink.h"

#include <algorithm>
#include <array>

#include "base/ascii.h"
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

constexpr std::uint32_t kDefaultPort = 162;
constexpr std::array<std::string_view, 3> kNamesOfVersion2c = {"2c", "v2c", "snmpv2c"};
constexpr std::array<std::string_view, 3> kNamesOfVersion3 = {"3", "v3", "snmpv3"};

bool IsOneOf(const std::array<std::string_view, 3>& names, std::string_view text) {
    return std::find(names.begin(), names.end(), text) != names.end();
}

std::string_view OrElse(const std::string& text, std::string_view fallback) {
    return text.empty() ? fallback : text;
}

}  // namespace

zvEventSnmpTrapSink::zvEventSnmpTrapSink(const zvEventSinkConfig& config)
    : minimum_severity_(config.minimum_severity),
      version_(zvevent::LowerAscii(OrElse(config.snmp_trap.version, "2c"))),
      formatter_(OrElse(config.snmp_trap.community, "vamble"), config.snmp_trap.enterprise_oid,
                 OrElse(config.snmp_trap.trap_oid, zvevent::kDefaultTrapOid)),
      sender_(kOwner, std::string(OrElse(config.snmp_trap.host, "127.0.0.1")),
              config.snmp_trap.port != 0 ? config.snmp_trap.port : kDefaultPort) {}

std::uint32_t zvEventSnmpTrapSink::Open(std::string* error) {
    const std::scoped_lock lock(mutex_);
    const std::uint32_t result = OpenLocked();
    if (result != ZVEVENT_OK && error != nullptr) *error = last_error_;
    return result;
}

std::uint32_t zvEventSnmpTrapSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (event.severity < minimum_severity_) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    const bool sent = sender_.Open(last_error_) &&
                      formatter_.Format(event, zvOSGetMs(), message_, last_error_) &&
                      sender_.Send(message_, last_error_);
    return sent ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

std::string zvEventSnmpTrapSink::LastError() {
    const std::scoped_lock lock(mutex_);
    return last_error_;
}

std::uint32_t zvEventSnmpTrapSink::OpenLocked() {
    if (IsOneOf(kNamesOfVersion3, version_)) {
        last_error_ = "SNMPv3 requires a future external-library backend";
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    if (!IsOneOf(kNamesOfVersion2c, version_)) {
        last_error_ = "zvEvent SNMP trap sink currently supports SNMP v2c only";
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    return sender_.Open(last_error_) ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}
