// Events as SNMPv2c traps: a whole message with the event in its variable bindings, which
// docs/mib/ZVEVENT-MIB.txt describes to managers. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// One UDP datagram that every manager takes.
inline constexpr std::size_t kMaxSnmpTrapBytes = 8192;

inline constexpr std::size_t kEnterpriseBindings = 12;

// Makes the traps of one sender. Identifiers never change, so they are encoded once; one that is
// none is told of by every Format, and not before. Changed by nothing after its construction.
class SnmpTrapFormatter {
public:
    SnmpTrapFormatter(std::string_view community, std::string_view enterprise_oid,
                      std::string_view trap_oid);

    // Replaces `message` by the event's trap. `now_ms`, a count of milliseconds, becomes request-id
    // and uptime. False, with a text in `error`, for an identifier that is none, and for a trap
    // that is too large; `message` is then of no use.
    bool Format(const zvEventNormalizedEvent& event, std::uint32_t now_ms, std::string& message,
                std::string& error) const;

private:
    void AppendBindings(const zvEventNormalizedEvent& event, std::uint32_t now_ms,
                        std::string& message) const;

    std::string head_;         // version and community
    std::string trap_object_;  // the binding of snmpTrapOID.0
    std::array<std::string, kEnterpriseBindings> names_;
    std::string identifier_error_;  // empty: all identifiers are good
};

}  // namespace zvevent
