// The SNMP output: every event as one SNMPv2c trap in one datagram, to one manager.
//
// The manager's address is looked up when the sink is opened, and not again. What the network loses
// is lost. write runs on the worker; the sink's mutex makes any other use safe too.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "config/config.h"
#include "format/snmp_trap.h"
#include "platform/udp_sender.h"
#include "sinks/sink.h"

class zvEventSnmpTrapSink final : public zvEventSink {
public:
    // Takes the section's settings, with a fallback for each that is empty. Checks nothing and
    // touches no network.
    explicit zvEventSnmpTrapSink(const zvEventSinkConfig& config);

    // Refuses every version of SNMP but 2c, then looks the manager up and creates the socket.
    // `error`, which may be null, gets the text of a failure. A bad object identifier makes every
    // write fail, not this.
    std::uint32_t Open(std::string* error);

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;

private:
    std::uint32_t OpenLocked();

    const std::string version_;
    const zvevent::SnmpTrapFormatter formatter_;

    std::mutex mutex_;
    // Guarded by mutex_:
    zvevent::UdpSender sender_;
    std::string message_;  // kept, so that sending allocates nothing
};
