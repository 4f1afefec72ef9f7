// The outputs over UDP, as the factory builds them: what makes them fail.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "platform/udp_sender.h"
#include "sinks/sink_factory.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

const std::string kNoHost(300, 'x');  // longer than any name: refused without asking around
const std::string kNoWay = "255.255.255.255";  // opens, but nothing may be sent there

// The sink of an entry, or the code and text of a failure.
struct Built {
    Built(zvEventSinkKind kind, const std::string& host, std::uint32_t port,
          const char* version = "") {
        zvEventConfig config;
        zvEventSinkConfig& entry = config.sinks.emplace_back();
        entry.kind = kind;
        entry.enabled = true;
        entry.minimum_severity = zvEventSeverityWarning;
        entry.syslog_udp.host = entry.snmp_trap.host = host;
        entry.syslog_udp.port = entry.snmp_trap.port = port;
        entry.snmp_trap.version = version;
        entry.snmp_trap.trap_oid = host.empty() ? "1.3..6" : entry.snmp_trap.trap_oid;
        result = BuildConfiguredSinks(config, nullptr, &sinks, &error);
    }
    zvEventSink* operator->() const { return sinks.front().get(); }
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    std::uint32_t result;
};

TEST(UdpSinks, AnUnknownDestinationFailsTheOpeningAndNoWayEveryWrite) {
    for (const auto& [kind, channel, default_port] :
         {std::tuple(zvEventSinkKind::syslog_udp, "zvEvent syslog UDP", "514"),
          std::tuple(zvEventSinkKind::snmp_trap, "zvEvent SNMP trap", "162")}) {
        for (const auto& [host, number, place] :
             {std::tuple(std::string(), 65536U + 514U, std::string("127.0.0.1:66050")),
              std::tuple(kNoHost, 0U, kNoHost + ":" + default_port)}) {
            const Built unknown(kind, host, number);
            EXPECT_EQ(unknown.result, ZVEVENT_E_FAILURE);
            EXPECT_TRUE(
                unknown.error.starts_with(channel + (" resolve failed for " + place) + " error="))
                << unknown.error;
        }
        EXPECT_EQ(Built(kind, "127.0.0.1", 65535).result, ZVEVENT_OK);
        const Built sink(kind, kNoWay, 9);
        EXPECT_EQ(sink->write({}, nullptr), ZVEVENT_OK);  // below the minimum
        EXPECT_EQ(sink->LastError(), "");
        EXPECT_EQ(sink->write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
        const std::string failed = channel + (" send failed to " + kNoWay) + ":9 error=";
        ASSERT_TRUE(sink->LastError().starts_with(failed)) << sink->LastError();
        EXPECT_GT(std::stoi(sink->LastError().substr(failed.size())), 0);
    }
}

TEST(UdpSinks, SnmpOpensForVersion2cOnlyAndWithAnyIdentifier) {
    const char* const kOther = "zvEvent SNMP trap sink currently supports SNMP v2c only";
    const char* const kThree = "SNMPv3 requires a future external-library backend";
    for (const auto& [version, error] : {std::pair("1", kOther),
                                         {"2", kOther},
                                         {" 2c", kOther},
                                         {"3", kThree},
                                         {"snmpV3", kThree}}) {
        const Built built(zvEventSinkKind::snmp_trap, "", 9, version);
        EXPECT_EQ(built.result, ZVEVENT_E_INVALID_ARGUMENT);
        EXPECT_EQ(built.error, error) << version;
    }
    for (const char* version : {"", "2c", "V2C", "SNMPv2c"}) {
        const Built built(zvEventSinkKind::snmp_trap, "", 9, version);
        ASSERT_EQ(built.result, ZVEVENT_OK) << version;
        EXPECT_EQ(built->write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
        EXPECT_EQ(built->LastError(), "Invalid SNMP trap_oid: 1.3..6");
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
