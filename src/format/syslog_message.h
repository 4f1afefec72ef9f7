// Events as RFC 5424 syslog messages: the whole event in one structured-data element, so that a
// collector gets every field back without parsing free text. Pure functions, any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// Longer messages are cut there, in the middle of a character or of the structured data if need be.
inline constexpr std::size_t kMaxSyslogMessageBytes = 8192;

// What all messages of one sender have in common. The texts are as the system or the configuration
// gives them; what a header field cannot hold is replaced.
class SyslogOrigin {
public:
    // `facility` is 0 to 23.
    SyslogOrigin(std::uint32_t facility, std::string_view host_name, std::string_view app_name,
                 std::string_view process_id);

    // Replaces `message` by the event's message, without a line end. `message` keeps
    // less than four times the greatest length, whatever the event holds.
    void Format(const zvEventNormalizedEvent& event, std::string& message) const;

private:
    std::uint32_t facility_;
    std::string header_;  // HOSTNAME, APP-NAME and PROCID, a space around each
};

}  // namespace zvevent
