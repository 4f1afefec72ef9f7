// Where Windows keeps the sources of its Application event log.
#pragma once

#include <string>

namespace zvevent {

// The key below HKEY_LOCAL_MACHINE.
inline std::string EventSourceKey(const std::string& source_name) {
    return "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\" + source_name;
}

}  // namespace zvevent
