// Where the system's logger listens.
#pragma once

namespace zvevent {

// For tests: the datagram socket that logs created from now on connect to instead of /dev/log. The
// text is not copied. Not while another thread creates a log.
void SetSystemLoggerPath(const char* path);

}  // namespace zvevent
