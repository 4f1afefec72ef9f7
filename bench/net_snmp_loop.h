// Net-SNMP's library beside the SNMP output.
#pragma once

#include <string>

namespace zvevent::bench {

// Sends the sample event as a trap `count` times to that port of 127.0.0.1, with the same bindings
// as the library's own.
void SendTrapsByNetSnmp(const std::string& port, int count);

}  // namespace zvevent::bench
