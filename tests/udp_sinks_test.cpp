// The outputs over UDP, as the factory builds them: what they have in common, and what each does
// besides its message.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/host_name.h"
#include "platform/process_id.h"
#include "platform/udp_sender.h"
#include "sinks/sink_factory.h"
#include "sinks/syslog_udp_sink.h"
#include "support/sample_event.h"
#include "support/udp_receiver.h"

namespace zvevent {
namespace {

const std::string kNoHost(300, 'x');  // longer than any name: refused without asking around
const std::string kNoWay = "255.255.255.255";  // opens, but nothing may be sent there

struct Kind {
    zvEventSinkKind kind;
    std::string channel;
    std::string default_port;
};
const Kind kKinds[] = {{zvEventSinkKind::syslog_udp, "zvEvent syslog UDP", "514"},
                       {zvEventSinkKind::snmp_trap, "zvEvent SNMP trap", "162"}};

zvEventSinkConfig Config(zvEventSinkKind kind, const std::string& host, std::uint32_t port) {
    zvEventSinkConfig config;
    config.kind = kind;
    config.enabled = true;
    config.minimum_severity = zvEventSeverityWarning;
    config.syslog_udp.host = config.snmp_trap.host = host;
    config.syslog_udp.port = config.snmp_trap.port = port;
    return config;
}

// The entry's sink, and the code and text of a failure.
struct Built {
    explicit Built(const zvEventSinkConfig& entry) {
        zvEventConfig config;
        config.sinks = {entry};
        result = BuildConfiguredSinks(config, nullptr, &sinks, &error);
    }
    std::uint32_t Write(const zvEventNormalizedEvent& event) const {
        return sinks.front()->write(event, nullptr);
    }
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    std::uint32_t result;
};

TEST(UdpSinks, SendOneDatagramAnEventThoughAnotherSinkFails) {
    for (const auto& [kind, channel, port] : kKinds) {
        const Built failing(Config(kind, kNoWay, 9));
        for (const char* address : {"127.0.0.1", "::1"}) {
            test::UdpReceiver receiver(address);
            if (receiver.Port() == 0) continue;  // a system without IPv6
            const Built built(Config(kind, address, receiver.Port()));
            for (const char* name : {"first", "filtered", "second"}) {
                zvEventNormalizedEvent event = test::SampleEvent();
                event.message = name;
                if (event.message == "filtered") event.severity = zvEventSeverityInfo;
                EXPECT_EQ(failing.Write(test::SampleEvent()), ZVEVENT_E_FAILURE);
                EXPECT_EQ(built.Write(event), ZVEVENT_OK);
            }
            EXPECT_NE(receiver.Receive().find("first"), std::string::npos);
            EXPECT_NE(receiver.Receive().find("second"), std::string::npos);
        }
        const std::string start = channel + " send failed to " + kNoWay + ":9 error=";
        const std::string error = failing.sinks.front()->LastError();
        EXPECT_EQ(error.find(start), 0U) << error;
        EXPECT_GT(std::stoi(error.substr(start.size())), 0);
    }
}

TEST(UdpSinks, AnUnknownDestinationFailsTheOpeningAndEveryUnfilteredWrite) {
    for (const auto& [kind, channel, port] : kKinds) {
        const std::string start = channel + " resolve failed for ";
        const Built unknown_port(Config(kind, "", 65536 + 514));
        EXPECT_EQ(unknown_port.result, ZVEVENT_E_FAILURE);
        EXPECT_EQ(unknown_port.error,
                  start + "127.0.0.1:66050 error=" + std::to_string(test::kUnknownService));
        EXPECT_EQ(Built(Config(kind, kNoHost, 0)).error.find(start + kNoHost + ":" + port), 0U);
    }
    zvEventSyslogUdpSink unopened(Config(zvEventSinkKind::syslog_udp, kNoHost, 0));
    EXPECT_EQ(unopened.write({}, nullptr), ZVEVENT_OK);
    EXPECT_EQ(unopened.LastError(), "");
    EXPECT_EQ(unopened.write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_NE(unopened.LastError(), "");
}

TEST(UdpSinks, SyslogNamesHostProgramAndProcess) {
    test::UdpReceiver receiver("127.0.0.1");  // starts Winsock, so that the name is known there too
    zvEventSinkConfig config = Config(zvEventSinkKind::syslog_udp, "", receiver.Port());
    config.syslog_udp.facility = "LOCAL4";
    ASSERT_EQ(Built(config).Write(test::SampleEvent()), ZVEVENT_OK);
    EXPECT_EQ(receiver.Receive().find("<164>1 2023-11-14T22:13:20.123456789Z " + HostName() +
                                      " zvEvent " + std::to_string(ProcessId()) + " temperature ["),
              0U);
}

TEST(UdpSinks, SnmpOpensForVersion2cOnlyAndWithAnyIdentifier) {
    const char* const kOther = "zvEvent SNMP trap sink currently supports SNMP v2c only";
    const char* const kThree = "SNMPv3 requires a future external-library backend";
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},      {"2c", ""},      {"V2C", ""},   {"SNMPv2c", ""},   {"1", kOther},
        {"2", kOther}, {" 2c", kOther}, {"3", kThree}, {"snmpV3", kThree}};
    zvEventSinkConfig config = Config(zvEventSinkKind::snmp_trap, "", 9);
    config.snmp_trap.trap_oid = "1.3..6";
    for (const auto& [version, error] : cases) {
        config.snmp_trap.version = version;
        const Built built(config);
        EXPECT_EQ(built.error, error) << version;
        if (!built.error.empty()) {
            EXPECT_EQ(built.result, ZVEVENT_E_INVALID_ARGUMENT);
        } else {
            EXPECT_EQ(built.Write(test::SampleEvent()), ZVEVENT_E_FAILURE);
            EXPECT_EQ(built.sinks.front()->LastError(), "Invalid SNMP trap_oid: 1.3..6");
        }
    }
}

TEST(UdpSinks, TellThatTheNetworkDoesNotStart) {
    static const UdpOwner kOwner = {"zvEvent test", "zvEvent test sink", [] { return 10091; }};
    std::string error;
    EXPECT_FALSE(UdpSender(kOwner, "127.0.0.1", 9).Open(error));
    EXPECT_EQ(error, "WSAStartup failed for zvEvent test sink: 10091");
}

}  // namespace
}  // namespace zvevent
