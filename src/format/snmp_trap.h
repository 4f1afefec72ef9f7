// Events as SNMPv2c traps: a whole message with the event in its variable bindings, which
// docs/mib/ZVEVENT-MIB.txt describes to managers. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "format/ber.h"
#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// Fits into one UDP datagram that every manager accepts.
inline constexpr std::size_t kMaxSnmpTrapBytes = 8192;

inline constexpr std::size_t kEnterpriseBindings = 12;

// Builds the traps of one sender. The identifiers are fixed, so they are encoded once, in the
// constructor; a malformed one makes every Format fail. Immutable once constructed.
class SnmpTrapFormatter {
public:
    SnmpTrapFormatter(std::string_view community, std::string_view enterprise_oid,
                      std::string_view trap_oid);

    // Replaces `message` with the event's trap. `now_ms`, a count of milliseconds, becomes the
    // request-id and the uptime. Returns false with a text in `error` when an identifier is
    // malformed or the trap too large; `message` is then unspecified.
    bool Format(const zvEventNormalizedEvent& event, std::uint32_t now_ms, std::string& message,
                std::string& error) const;

private:
    void WriteBindings(const zvEventNormalizedEvent& event, std::uint32_t now_ms,
                       BerWriter& trap) const;

    const std::string community_;
    // Identifiers as they are sent:
    std::string uptime_;       // sysUpTime.0
    std::string trap_object_;  // snmpTrapOID.0, and the trap's own
    std::array<std::string, kEnterpriseBindings> names_;
    std::string identifier_error_;  // empty: all identifiers are good
};

}  // namespace zvevent
