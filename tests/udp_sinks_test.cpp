// The outputs over UDP: what they have in common, and what each does besides its message.
#include <gtest/gtest.h>

#include <memory>
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
    config.syslog_udp.host = config.snmp_trap.host = host;
    config.syslog_udp.port = config.snmp_trap.port = port;
    return config;
}

// One try of the factory.
struct Built {
    explicit Built(std::vector<zvEventSinkConfig> entries) {
        zvEventConfig config;
        config.sinks = std::move(entries);
        result = zvevent::BuildConfiguredSinks(config, nullptr, &sinks, &error);
    }
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    std::uint32_t result;
};

template <typename Sink>
struct KindOf;
template <>
struct KindOf<zvEventSyslogUdpSink> {
    static constexpr zvEventSinkKind kKind = zvEventSinkKind::syslog_udp;
    static constexpr const char* kChannel = "zvEvent syslog UDP";
    static constexpr const char* kDefaultPort = "514";
};
template <>
struct KindOf<zvEventSnmpTrapSink> {
    static constexpr zvEventSinkKind kKind = zvEventSinkKind::snmp_trap;
    static constexpr const char* kChannel = "zvEvent SNMP trap";
    static constexpr const char* kDefaultPort = "162";
};

template <typename Sink>
class UdpSinks : public ::testing::Test, public KindOf<Sink> {};
using Kinds = ::testing::Types<zvEventSyslogUdpSink, zvEventSnmpTrapSink>;
TYPED_TEST_SUITE(UdpSinks, Kinds);

TYPED_TEST(UdpSinks, SendOneDatagramAnEventAboveTheMinimum) {
    for (const char* address : {"127.0.0.1", "::1"}) {
        UdpReceiver receiver(address);
        if (receiver.Port() == 0) continue;  // a system without IPv6
        zvEventSinkConfig config = Config(this->kKind, address, receiver.Port());
        config.minimum_severity = zvEventSeverityWarning;
        Built built({config});
        ASSERT_EQ(built.result, ZVEVENT_OK) << built.error;
        for (const char* name : {"first", "filtered", "second"}) {
            zvEventNormalizedEvent event = SampleEvent();
            event.message = name;
            if (event.message == "filtered") event.severity = zvEventSeverityInfo;
            EXPECT_EQ(built.sinks[0]->write(event, nullptr), ZVEVENT_OK);
        }
        EXPECT_NE(receiver.Receive().find("first"), std::string::npos);
        EXPECT_NE(receiver.Receive().find("second"), std::string::npos);
    }
}

TYPED_TEST(UdpSinks, AnUnknownDestinationFailsTheOpeningAndEveryUnfilteredWrite) {
    const std::string start = std::string(this->kChannel) + " resolve failed for ";
    const Built wrong_port({Config(this->kKind, "", 65536 + 514)});
    EXPECT_EQ(wrong_port.result, ZVEVENT_E_FAILURE);
    EXPECT_EQ(wrong_port.error,
              start + "127.0.0.1:66050 error=" + std::to_string(zvevent::test::kUnknownService));

    zvEventSinkConfig config = Config(this->kKind, kNoHost, 0);
    config.minimum_severity = zvEventSeverityError;
    TypeParam sink(config);
    EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(sink.LastError(), "");
    zvEventNormalizedEvent event;
    event.severity = zvEventSeverityError;
    EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), Built({config}).error);
    EXPECT_EQ(sink.LastError().find(start + kNoHost + ":" + this->kDefaultPort + " error="), 0U);
}

TYPED_TEST(UdpSinks, AFailedSendIsToldAndHarmsNoOtherSink) {
    UdpReceiver receiver("127.0.0.1");
    TypeParam sink(Config(this->kKind, kNoWay, 9));
    TypeParam other(Config(this->kKind, "", receiver.Port()));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
        EXPECT_EQ(other.write(SampleEvent(), nullptr), ZVEVENT_OK);
        EXPECT_NE(receiver.Receive(), "");
    }
    const std::string start =
        std::string(this->kChannel) + " send failed to " + kNoWay + ":9 error=";
    EXPECT_EQ(sink.LastError().find(start), 0U);
    EXPECT_GT(std::stoi(sink.LastError().substr(start.size())), 0);
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

TEST(UdpSinksSnmp, TakesVersion2cOnly) {
    const auto error_of = [](const char* version) {
        zvEventSinkConfig config = Config(zvEventSinkKind::snmp_trap, "", 9);
        config.snmp_trap.version = version;
        const Built built({config});
        EXPECT_EQ(built.result, built.error.empty() ? ZVEVENT_OK : ZVEVENT_E_INVALID_ARGUMENT);
        return built.error;
    };
    for (const char* version : {"", "2c", "V2C", "SNMPv2c"})
        EXPECT_EQ(error_of(version), "") << version;
    for (const char* version : {"1", "v1", "2", " 2c"})
        EXPECT_EQ(error_of(version), "zvEvent SNMP trap sink currently supports SNMP v2c only");
    for (const char* version : {"3", "V3", "snmpV3"})
        EXPECT_EQ(error_of(version), "SNMPv3 requires a future external-library backend");
}

TEST(UdpSinksSnmp, ABadIdentifierFailsEveryWriteButNotTheOpening) {
    zvEventSinkConfig config = Config(zvEventSinkKind::snmp_trap, "", 9);
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
    std::string error;
    EXPECT_FALSE(sender.Open(error));
    EXPECT_EQ(error, "WSAStartup failed for zvEvent test sink: 10091");
}

}  // namespace
