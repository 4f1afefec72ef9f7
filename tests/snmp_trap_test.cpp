// The BER elements and the SNMPv2c trap, byte by byte.
#include "format/snmp_trap.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "config/config.h"
#include "format/ber.h"

namespace {

using zvevent::SnmpTrapFormatter;

const zvEventSinkConfig::SnmpTrap kFresh;

std::string Hex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string hex;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (!hex.empty()) hex += ' ';
        (hex += kDigits[byte >> 4]) += kDigits[byte & 0xF];
    }
    return hex;
}

// The message, or the text of the failure.
std::string Format(const SnmpTrapFormatter& formatter, const zvEventNormalizedEvent& event,
                   std::uint32_t now_ms = 0) {
    std::string message = "what was before";
    std::string error;
    return formatter.Format(event, now_ms, message, error) ? message : error;
}

TEST(SnmpTrapBer, Elements) {
    const std::pair<std::uint32_t, const char*> numbers[] = {{0, "02 01 00"},
                                                             {127, "02 01 7F"},
                                                             {200, "02 02 00 C8"},
                                                             {256, "02 02 01 00"},
                                                             {0x7FFFFFFF, "02 04 7F FF FF FF"},
                                                             {0xFFFFFFFF, "02 05 00 FF FF FF FF"}};
    for (const auto& [number, hex] : numbers) {
        std::string out;
        zvevent::AppendBerUnsigned(out, zvevent::BerTag::kInteger, number);
        EXPECT_EQ(Hex(out), hex);
    }
    const std::pair<std::size_t, const char*> lengths[] = {
        {0, "04 00"},      {127, "04 7F"},       {128, "04 81 80"},
        {255, "04 81 FF"}, {256, "04 82 01 00"}, {65536, "04 83 01 00 00"}};
    for (const auto& [bytes, header] : lengths) {
        std::string out;
        zvevent::AppendBerOctets(out, std::string(bytes, 'x'));
        EXPECT_EQ(Hex(out.substr(0, out.size() - bytes)), header);
    }
}

TEST(SnmpTrapBer, ObjectIdentifiers) {
    constexpr std::string_view kMax = "06 06 2B 8F FF FF FF 7F";
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"1.3.6.1.4.1.32473.1.1.1.1.0", "06 0D 2B 06 01 04 01 81 FD 59 01 01 01 01 00"},
        {"0.39", "06 01 27"},
        {"2.176", "06 01 00"},
        {"2.300", "06 01 7C"},  // the second counts with its low byte
        {"1.3.6.", "06 02 2B 06"},
        {"1.3.0.127.128.16384", "06 08 2B 00 7F 81 00 81 80 00"},
        {"1.3.4294967296", kMax},
        {"1.3.-99999999999999999999999", kMax},
        {"1.3.-1", kMax},
        {"1.3.-4294967295", "06 02 2B 01"},
        {" \t\n\v\f\r1.+3.-0", "06 02 2B 00"}};
    for (const auto& [dotted, hex] : cases) {
        std::string out;
        EXPECT_TRUE(zvevent::AppendBerObjectIdentifier(out, dotted));
        EXPECT_EQ(Hex(out), hex) << dotted;
    }
    for (const char* bad :
         {"1.3..6", ".1.3", "1.3..", "1", "1.", "", ".", "3.1", "1.40", "0.40", "1.3.x", "1.3.6x",
          "1.3.0x6", "1.3.6 ", "1.3. ", "1.3.-", "1.3.+-6", "1.3.- 6"}) {
        std::string out;
        EXPECT_FALSE(zvevent::AppendBerObjectIdentifier(out, bad)) << bad;
        EXPECT_EQ(out, "");
    }
}

TEST(SnmpTrap, IsBuiltFromTheEventAndOneClockReading) {
    zvEventNormalizedEvent event;
    event.event_id = 7;
    event.severity = 3;
    event.details_json = "{}";
    // Up to the bindings of the event, which the test with a real receiver reads back by name.
    const std::string expected =
        "30 82 01 33 02 01 01 04 01 63 A7 82 01 29 02 01 09 02 01 00 02 01 00 30 82 01 1C "
        "30 10 06 08 2B 06 01 02 01 01 03 00 43 04 0C CC CC CD "
        "30 1A 06 0A 2B 06 01 06 03 01 01 04 01 00 06 0C 2B 06 01 04 01 81 FD 59 01 01 00 01 "
        "30 12 06 0D 2B 06 01 04 01 81 FD 59 01 01 01 01 00 02 01 03";
    const SnmpTrapFormatter formatter("c", kFresh.enterprise_oid, kFresh.trap_oid);
    EXPECT_EQ(Hex(Format(formatter, event, 0x80000009)).substr(0, expected.size()), expected);
}

TEST(SnmpTrap, TellsWhichIdentifierIsBad) {
    EXPECT_EQ(Format({"c", "1.x", "1.3..6"}, {}), "Invalid SNMP trap_oid: 1.3..6");
    EXPECT_EQ(Format({"c", "1.3.6.", "1.3.6."}, {}), "Invalid SNMP enterprise_oid: 1.3.6.");
}

TEST(SnmpTrap, Is8192BytesAtMost) {
    zvEventNormalizedEvent event;
    event.message = event.details_json = std::string(3000, 'x');
    std::string community(3000, 'c');
    community.append(
        8192 - Format({community, kFresh.enterprise_oid, kFresh.trap_oid}, event).size(), 'c');
    EXPECT_EQ(Format({community, kFresh.enterprise_oid, kFresh.trap_oid}, event).size(), 8192U);
    EXPECT_EQ(Format({community + "c", kFresh.enterprise_oid, kFresh.trap_oid}, event),
              "zvEvent SNMP trap exceeds maximum datagram size");
}

}  // namespace
