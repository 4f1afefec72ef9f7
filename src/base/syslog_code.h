// Syslog's numbers (RFC 5424): the facilities by the names that configuration writes, and the
// severities. Any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "base/ascii.h"
#include "base/severity.h"

namespace zvevent {

// The codes 12 to 15 have no name.
struct SyslogFacilityName {
    std::string_view name;
    std::uint32_t code;
};
inline constexpr std::array<SyslogFacilityName, 21> kSyslogFacilities = {{
    {"kern", 0},     {"user", 1},      {"mail", 2},    {"daemon", 3},  {"auth", 4},
    {"security", 4}, {"syslog", 5},    {"lpr", 6},     {"news", 7},    {"uucp", 8},
    {"cron", 9},     {"authpriv", 10}, {"ftp", 11},    {"local0", 16}, {"local1", 17},
    {"local2", 18},  {"local3", 19},   {"local4", 20}, {"local5", 21}, {"local6", 22},
    {"local7", 23},
}};
inline constexpr std::uint32_t kSyslogLocal0 = 16;

// The code of a facility's name in any letter case. What is no such name is local0, by design: an
// unknown facility must not keep alerts from going out.
inline std::uint32_t SyslogFacility(std::string_view name) {
    for (const SyslogFacilityName& facility : kSyslogFacilities) {
        if (EqualsLowerAscii(name, facility.name)) return facility.code;
    }
    return kSyslogLocal0;
}

// Debug, informational, warning and error; what is no severity is informational.
constexpr std::uint32_t SyslogSeverity(std::uint32_t severity) {
    constexpr std::array<std::uint32_t, kMaxSeverity + 1> kCodes = {7, 6, 4, 3};
    return severity < kCodes.size() ? kCodes[severity] : 6;
}

// The number in front of every message.
constexpr std::uint32_t SyslogPriority(std::uint32_t facility, std::uint32_t severity) {
    return facility * 8 + SyslogSeverity(severity);
}

}  // namespace zvevent
