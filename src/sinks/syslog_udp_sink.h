// The syslog output: every event as one RFC 5424 message in one datagram, to one collector.
//
// The collector's address is looked up when the sink is opened, and not again. What the network
// loses is lost. write runs on the worker; the sink's mutex makes any other use safe too.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "config/config.h"
#include "format/syslog_message.h"
#include "platform/udp_sender.h"
#include "sinks/sink.h"

class zvEventSyslogUdpSink final : public zvEventSink {
public:
    // Takes the section's settings, with a fallback for each that is empty, and the host's name as
    // the system tells it now. Touches no network.
    explicit zvEventSyslogUdpSink(const zvEventSinkConfig& config);

    // Looks the collector up and creates the socket. `error`, which may be null, gets the text of
    // a failure.
    std::uint32_t Open(std::string* error);

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;

private:
    const zvevent::SyslogOrigin origin_;

    std::mutex mutex_;
    // Guarded by mutex_:
    zvevent::UdpSender sender_;
    std::string message_;  // kept, so that sending allocates nothing
};
