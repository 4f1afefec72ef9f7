// The outputs over UDP: what they have in common, and what each does besides its message.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/host_name.h"
#include "platform/process_id.h"
#include "platform/udp_sender.h"
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
    config.minimum_severity = zvEventSeverityWarning;
    config.syslog_udp.host = config.snmp_trap.host = host;
    config.syslog_udp.port = config.snmp_trap.port = port;
    return config;
}

// What the factory says of one entry; empty: it was built.
std::string ErrorOf(const zvEventSinkConfig& entry, std::uint32_t code) {
    zvEventConfig config;
    config.sinks = {entry};
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    const std::uint32_t result = zvevent::BuildConfiguredSinks(config, nullptr, &sinks, &error);
    EXPECT_EQ(result, error.empty() ? ZVEVENT_OK : code);
    return error;
}

template <typename Sink>
class UdpSinks : public ::testing::Test {
protected:
    static constexpr bool kSyslog = std::is_same_v<Sink, zvEventSyslogUdpSink>;
    static constexpr auto kKind =
        kSyslog ? zvEventSinkKind::syslog_udp : zvEventSinkKind::snmp_trap;
    const std::string channel_ = kSyslog ? "zvEvent syslog UDP" : "zvEvent SNMP trap";
    const std::string default_port_ = kSyslog ? "514" : "162";
};
using Kinds = ::testing::Types<zvEventSyslogUdpSink, zvEventSnmpTrapSink>;
TYPED_TEST_SUITE(UdpSinks, Kinds);

TYPED_TEST(UdpSinks, SendOneDatagramAnEventThoughAnotherSinkFails) {
    TypeParam failing(Config(this->kKind, kNoWay, 9));
    for (const char* address : {"127.0.0.1", "::1"}) {
        UdpReceiver receiver(address);
        if (receiver.Port() == 0) continue;  // a system without IPv6
        TypeParam sink(Config(this->kKind, address, receiver.Port()));
        for (const char* name : {"first", "filtered", "second"}) {
            zvEventNormalizedEvent event = SampleEvent();
            event.message = name;
            if (event.message == "filtered") event.severity = zvEventSeverityInfo;
            EXPECT_EQ(failing.write(SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
            EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
        }
        EXPECT_NE(receiver.Receive().find("first"), std::string::npos);
        EXPECT_NE(receiver.Receive().find("second"), std::string::npos);
    }
    const std::string start = this->channel_ + " send failed to " + kNoWay + ":9 error=";
    EXPECT_EQ(failing.LastError().find(start), 0U);
    EXPECT_GT(std::stoi(failing.LastError().substr(start.size())), 0);
}

TYPED_TEST(UdpSinks, AnUnknownDestinationFailsTheOpeningAndEveryUnfilteredWrite) {
    const std::string start = this->channel_ + " resolve failed for ";
    EXPECT_EQ(ErrorOf(Config(this->kKind, "", 65536 + 514), ZVEVENT_E_FAILURE),
              start + "127.0.0.1:66050 error=" + std::to_string(zvevent::test::kUnknownService));

    const zvEventSinkConfig config = Config(this->kKind, kNoHost, 0);
    TypeParam sink(config);
    EXPECT_EQ(sink.write({}, nullptr), ZVEVENT_OK);
    EXPECT_EQ(sink.LastError(), "");
    EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), ErrorOf(config, ZVEVENT_E_FAILURE));
    EXPECT_EQ(sink.LastError().find(start + kNoHost + ":" + this->default_port_ + " error="), 0U);
}

TEST(UdpSinksSyslog, NamesHostProgramAndProcess) {
    UdpReceiver receiver("127.0.0.1");  // starts Winsock, so that the name is known there too
    zvEventSinkConfig config = Config(zvEventSinkKind::syslog_udp, "", receiver.Port());
    config.syslog_udp.facility = "LOCAL4";
    zvEventSyslogUdpSink sink(config);
    ASSERT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(receiver.Receive().find("<164>1 2023-11-14T22:13:20.123456789Z " +
                                      zvevent::HostName() + " zvEvent " +
                                      std::to_string(zvevent::ProcessId()) + " temperature ["),
              0U);
}

TEST(UdpSinksSnmp, OpensForVersion2cOnlyAndWithAnyIdentifier) {
    const char* const kOther = "zvEvent SNMP trap sink currently supports SNMP v2c only";
    const char* const kThree = "SNMPv3 requires a future external-library backend";
    zvEventSinkConfig config = Config(zvEventSinkKind::snmp_trap, "", 9);
    config.snmp_trap.trap_oid = "1.3..6";
    for (const auto& [version, error] :
         std::vector<std::pair<const char*, const char*>>{{"", ""},
                                                          {"2c", ""},
                                                          {"V2C", ""},
                                                          {"SNMPv2c", ""},
                                                          {"1", kOther},
                                                          {"2", kOther},
                                                          {" 2c", kOther},
                                                          {"3", kThree},
                                                          {"V3", kThree},
                                                          {"snmpV3", kThree}}) {
        config.snmp_trap.version = version;
        EXPECT_EQ(ErrorOf(config, ZVEVENT_E_INVALID_ARGUMENT), error) << version;
    }
    config.snmp_trap.version = "2c";
    zvEventSnmpTrapSink sink(config);
    EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), "Invalid SNMP trap_oid: 1.3..6");
}

TEST(UdpSinksSender, AFailedStartOfTheNetworkIsTold) {
    static const zvevent::UdpOwner kOwner = {"zvEvent test", "zvEvent test sink",
                                             [] { return 10091; }};
    std::string error;
    EXPECT_FALSE(zvevent::UdpSender(kOwner, "127.0.0.1", 9).Open(error));
    EXPECT_EQ(error, "WSAStartup failed for zvEvent test sink: 10091");
}

}  // namespace
