// The names of the severities as configuration and outputs write them. Any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "zvEvent/zvEvent.h"

namespace zvevent {

inline constexpr std::uint32_t kMaxSeverity = zvEventSeverityError;

// `fallback` names what is no severity; outputs differ there.
constexpr std::string_view SeverityName(std::uint32_t severity, std::string_view fallback) {
    constexpr std::array<std::string_view, kMaxSeverity + 1> kNames = {"debug", "info", "warning",
                                                                       "error"};
    return severity < kNames.size() ? kNames[severity] : fallback;
}

}  // namespace zvevent
