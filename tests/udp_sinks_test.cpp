// The outputs over UDP: what they have in common, once for each.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/host_name.h"
#include "platform/process_id.h"
#include "platform/udp_sender.h"
#include "platform/zvutil.h"
#include "sinks/sink_factory.h"
#include "sinks/snmp_trap_sink.h"
#include "sinks/syslog_udp_sink.h"
#include "support/sample_event.h"
#include "support/udp_receiver.h"

namespace {

using zvevent::test::SampleEvent;
using zvevent::test::UdpReceiver;

const std::string kNoHost(300, 'x');  // longer than any name: refused without asking around
const std::string kNoWay = "255.255.255.255";  // opens, but nothing may be sent there

zvEventSinkConfig Config(zvEventSinkKind kind, const std::string& host, std::uint32_t port) {
    zvEventSinkConfig config;
    config.kind = kind;
    config.enabled = true;
    config.syslog_udp.host = config.snmp_trap.host = host;
    config.syslog_udp.port = config.snmp_trap.port = port;
    return config;
}

std::uint32_t Build(const std::vector<zvEventSinkConfig>& entries,
                    std::vector<zvEventSinkPtr>& sinks, std::string& error) {
    zvEventConfig config;
    config.sinks = entries;
    return zvevent::BuildConfiguredSinks(config, nullptr, &sinks, &error);
}

std::string LastErrorOf(zvEventSink& sink) {
    if (auto* const syslog = dynamic_cast<zvEventSyslogUdpSink*>(&sink)) return syslog->LastError();
    return dynamic_cast<zvEventSnmpTrapSink&>(sink).LastError();
}

struct Kind {
    zvEventSinkKind kind;
    const char* channel;
    const char* default_port;
};
class UdpSinks : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(
    UdpSinks, UdpSinks,
    ::testing::Values(Kind{zvEventSinkKind::syslog_udp, "zvEvent syslog UDP", "514"},
                      Kind{zvEventSinkKind::snmp_trap, "zvEvent SNMP trap", "162"}),
    [](const auto& param) { return param.index == 0 ? "SyslogUdp" : "SnmpTrap"; });

TEST_P(UdpSinks, SendOneDatagramAnEventAboveTheMinimum) {
    for (const char* address : {"127.0.0.1", "::1"}) {
        UdpReceiver receiver(address);
        if (receiver.Port() == 0) continue;  // a system without IPv6
        zvEventSinkConfig config = Config(GetParam().kind, address, receiver.Port());
        config.minimum_severity = zvEventSeverityWarning;
        std::vector<zvEventSinkPtr> sinks;
        std::string error;
        ASSERT_EQ(Build({config}, sinks, error), ZVEVENT_OK) << error;
        for (const char* name : {"first", "filtered", "second"}) {
            zvEventNormalizedEvent event = SampleEvent();
            event.message = name;
            if (event.message == "filtered") event.severity = zvEventSeverityInfo;
            EXPECT_EQ(sinks[0]->write(event, nullptr), ZVEVENT_OK);
        }
        EXPECT_NE(receiver.Receive().find("first"), std::string::npos);
        EXPECT_NE(receiver.Receive().find("second"), std::string::npos);
        EXPECT_EQ(LastErrorOf(*sinks[0]), "");
    }
}

TEST_P(UdpSinks, TellWhereTheyCannotOpen) {
    const std::string resolve_failed = std::string(GetParam().channel) + " resolve failed for ";
    const struct {
        std::string host;
        std::uint32_t port;
        std::string text;
    } cases[] = {{kNoHost, 0,
                  kNoHost + ":" + GetParam().default_port +
                      " error=" + std::to_string(zvevent::test::ResolveCode(kNoHost))},
                 {"", 65536 + 514,
                  "127.0.0.1:66050 error=" + std::to_string(zvevent::test::kUnknownService)}};
    for (const auto& c : cases) {
        std::vector<zvEventSinkPtr> sinks;
        std::string error;
        EXPECT_EQ(Build({Config(GetParam().kind, c.host, c.port)}, sinks, error),
                  ZVEVENT_E_FAILURE);
        EXPECT_EQ(error, resolve_failed + c.text);
        EXPECT_TRUE(sinks.empty());
    }
}

TEST_P(UdpSinks, TryToOpenAgainOnEveryWriteThatPassesTheFilter) {
    zvEventSinkConfig config = Config(GetParam().kind, kNoHost, 9);
    config.minimum_severity = zvEventSeverityWarning;
    zvEventNormalizedEvent event = SampleEvent();
    const auto check = [&](auto sink) {
        event.severity = zvEventSeverityInfo;
        EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_OK);
        EXPECT_EQ(sink->LastError(), "");
        event.severity = zvEventSeverityWarning;
        EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_E_FAILURE);
        EXPECT_NE(sink->LastError().find(" resolve failed for "), std::string::npos);
    };
    if (GetParam().kind == zvEventSinkKind::syslog_udp) {
        check(std::make_shared<zvEventSyslogUdpSink>(config));
    } else {
        check(std::make_shared<zvEventSnmpTrapSink>(config));
    }
}

TEST_P(UdpSinks, AFailedSendIsToldAndHarmsNoOtherSink) {
    UdpReceiver receiver("127.0.0.1");
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    ASSERT_EQ(Build({Config(GetParam().kind, kNoWay, 9),
                     Config(GetParam().kind, "127.0.0.1", receiver.Port())},
                    sinks, error),
              ZVEVENT_OK)
        << error;
    const int code = zvevent::test::SendCode(kNoWay);
    ASSERT_NE(code, 0);
    EXPECT_EQ(sinks[0]->write(SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sinks[1]->write(SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(LastErrorOf(*sinks[0]), std::string(GetParam().channel) + " send failed to " +
                                          kNoWay + ":9 error=" + std::to_string(code));
    EXPECT_NE(receiver.Receive(), "");
}

TEST(UdpSinksSyslog, NamesHostProgramAndProcess) {
    UdpReceiver receiver("127.0.0.1");
    zvEventSinkConfig config = Config(zvEventSinkKind::syslog_udp, "", receiver.Port());
    config.syslog_udp.facility = "LOCAL4";
    zvEventSyslogUdpSink sink(config);
    ASSERT_EQ(sink.Open(nullptr), ZVEVENT_OK);
    ASSERT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_OK);
    // The test's own socket has started Winsock, so the name is known there too.
    EXPECT_EQ(receiver.Receive().find("<164>1 2023-11-14T22:13:20.123456789Z " +
                                      zvevent::HostName() + " zvEvent " +
                                      std::to_string(zvevent::ProcessId()) + " temperature ["),
              0U);
}

TEST(UdpSinksSnmp, TakesVersion2cOnly) {
    const struct {
        const char* version;
        std::uint32_t result;
        const char* error;
    } cases[] = {
        {"", ZVEVENT_OK, ""},
        {"2c", ZVEVENT_OK, ""},
        {"V2C", ZVEVENT_OK, ""},
        {"SNMPv2c", ZVEVENT_OK, ""},
        {"1", ZVEVENT_E_INVALID_ARGUMENT,
         "zvEvent SNMP trap sink currently supports SNMP v2c only"},
        {"2", ZVEVENT_E_INVALID_ARGUMENT,
         "zvEvent SNMP trap sink currently supports SNMP v2c only"},
        {" 2c", ZVEVENT_E_INVALID_ARGUMENT,
         "zvEvent SNMP trap sink currently supports SNMP v2c only"},
        {"3", ZVEVENT_E_INVALID_ARGUMENT, "SNMPv3 requires a future external-library backend"},
        {"V3", ZVEVENT_E_INVALID_ARGUMENT, "SNMPv3 requires a future external-library backend"},
        {"snmpV3", ZVEVENT_E_INVALID_ARGUMENT, "SNMPv3 requires a future external-library backend"},
    };
    for (const auto& c : cases) {
        zvEventSinkConfig config = Config(zvEventSinkKind::snmp_trap, "127.0.0.1", 9);
        config.snmp_trap.version = c.version;
        std::vector<zvEventSinkPtr> sinks;
        std::string error;
        EXPECT_EQ(Build({config}, sinks, error), c.result) << c.version;
        EXPECT_EQ(error, c.error);
    }
}

TEST(UdpSinksSnmp, ABadIdentifierFailsEveryWriteButNotTheOpening) {
    zvEventSinkConfig config = Config(zvEventSinkKind::snmp_trap, "127.0.0.1", 9);
    config.snmp_trap.trap_oid = "1.3..6";
    zvEventSnmpTrapSink sink(config);
    EXPECT_EQ(sink.Open(nullptr), ZVEVENT_OK);
    EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), "Invalid SNMP trap_oid: 1.3..6");
}

TEST(UdpSinksSender, AFailedStartOfTheNetworkIsTold) {
    static const zvevent::UdpOwner kOwner = {"zvEvent test", "zvEvent test sink",
                                             [] { return 10091; }};
    zvevent::UdpSender sender(kOwner, "127.0.0.1", 9);
    for (int i = 0; i < 2; ++i) {
        std::string error;
        EXPECT_FALSE(sender.Open(error));
        EXPECT_EQ(error, "WSAStartup failed for zvEvent test sink: 10091");
    }
}

}  // namespace
