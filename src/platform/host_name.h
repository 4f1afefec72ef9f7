// What the system calls itself. Any thread.
#pragma once

#include <string>

namespace zvevent {

// Empty when the system does not tell or the name is longer than 254 bytes; on Windows also as long
// as nothing in the process has started its network use.
std::string HostName();

}  // namespace zvevent
