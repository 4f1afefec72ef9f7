// Installing and removing the event log source of this system. Any thread, in any state of the
// library.
#pragma once

#include <cstdint>
#include <string>

namespace zvevent {

// `name` must be non-empty and without a backslash; `message_file` may be null or empty. The
// reason of a failure goes into `error`.
std::uint32_t InstallEventSource(const char* name, const char* message_file, std::string& error);
std::uint32_t RemoveEventSource(const char* name, std::string& error);

}  // namespace zvevent
