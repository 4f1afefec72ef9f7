// The outputs over UDP, as the factory builds them: what makes them fail.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "platform/udp_sender.h"
#include "sinks/sink_factory.h"
#include "sinks/syslog_udp_sink.h"
#include "support/sample_event.h"

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

// The entry's sink, or the code and text of a failure.
struct Built {
    explicit Built(const zvEventSinkConfig& entry) {
        zvEventConfig config;
        config.sinks = {entry};
        result = BuildConfiguredSinks(config, nullptr, &sinks, &error);
    }
    zvEventSink* operator->() const { return sinks.front().get(); }
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    std::uint32_t result;
};

TEST(UdpSinks, AnUnknownDestinationFailsTheOpeningAndNoWayEveryWrite) {
    for (const auto& [kind, channel, port] : kKinds) {
        const std::string start = channel + " resolve failed for ";
        for (const auto& [host, number, place] :
             {std::tuple(std::string(), 65536U + 514U, std::string("127.0.0.1:66050")),
              std::tuple(kNoHost, 0U, kNoHost + ":" + port)}) {
            const Built unknown(Config(kind, host, number));
            EXPECT_EQ(unknown.result, ZVEVENT_E_FAILURE);
            EXPECT_EQ(unknown.error.find(start + place + " error="), 0U) << unknown.error;
        }
        const Built sink(Config(kind, kNoWay, 9));
        EXPECT_EQ(sink->write({}, nullptr), ZVEVENT_OK);  // below the minimum
        EXPECT_EQ(sink->LastError(), "");
        EXPECT_EQ(sink->write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
        const std::string failed = channel + " send failed to " + kNoWay + ":9 error=";
        ASSERT_EQ(sink->LastError().find(failed), 0U);
        EXPECT_GT(std::stoi(sink->LastError().substr(failed.size())), 0);
    }
    zvEventSyslogUdpSink unopened(Config(zvEventSinkKind::syslog_udp, kNoHost, 0));
    EXPECT_EQ(unopened.write({}, nullptr), ZVEVENT_OK);
    EXPECT_EQ(unopened.write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
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
            EXPECT_EQ(built->write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
            EXPECT_EQ(built->LastError(), "Invalid SNMP trap_oid: 1.3..6");
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
