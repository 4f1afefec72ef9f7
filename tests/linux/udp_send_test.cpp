// What the outputs over UDP send, received by a socket of the test's own. (On Windows the tests
// with real receivers see to that.)
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/host_name.h"
#include "sinks/sink_factory.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

TEST(UdpSend, OneDatagramForEachEventThatIsSevereEnough) {
    const int receiver = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval patience = {10, 0};
    setsockopt(receiver, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    ASSERT_TRUE(bind(receiver, any, size) == 0 && getsockname(receiver, any, &size) == 0);

    const std::string start = "<164>1 2023-11-14T22:13:20.123456789Z " + HostName() + " zvEvent " +
                              std::to_string(getpid()) + " temperature [";
    for (const auto& [kind, first_bytes] :
         {std::pair(zvEventSinkKind::syslog_udp, start),
          std::pair(zvEventSinkKind::snmp_trap, std::string("\x30\x82"))}) {
        zvEventConfig config;
        zvEventSinkConfig& entry = config.sinks.emplace_back();
        entry.kind = kind;
        entry.enabled = true;
        entry.minimum_severity = zvEventSeverityWarning;
        entry.syslog_udp.port = entry.snmp_trap.port = ntohs(address.sin_port);
        entry.syslog_udp.facility = "LOCAL4";
        std::vector<zvEventSinkPtr> sinks;
        ASSERT_EQ(BuildConfiguredSinks(config, nullptr, &sinks, nullptr), ZVEVENT_OK);
        for (const char* name : {"first", "filtered", "second"}) {
            zvEventNormalizedEvent event = test::SampleEvent();
            event.message = name;
            if (event.message == "filtered") event.severity = zvEventSeverityInfo;
            EXPECT_EQ(sinks.front()->write(event, nullptr), ZVEVENT_OK);
        }
        for (const char* name : {"first", "second"}) {
            char bytes[8192];
            const ssize_t received = recv(receiver, bytes, sizeof bytes, 0);
            const std::string datagram(bytes,
                                       static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
            EXPECT_EQ(datagram.substr(0, first_bytes.size()), first_bytes);
            EXPECT_NE(datagram.find(name), std::string::npos);
        }
    }
    close(receiver);
}

}  // namespace
}  // namespace zvevent
