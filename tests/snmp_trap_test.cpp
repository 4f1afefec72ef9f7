// The BER elements and the SNMPv2c trap, byte by byte.
#include "format/snmp_trap.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/config.h"
#include "format/ber.h"

namespace zvevent {
namespace {

std::string Hex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string hex;
    for (const char c : bytes)
        hex += {kDigits[(c & 0xF0) >> 4], kDigits[c & 0xF], ' '};
    return hex.substr(0, hex.size() - !hex.empty());
}

// The message, or the text of the failure.
std::string Format(const SnmpTrapFormatter& formatter, const zvEventNormalizedEvent& event,
                   std::uint32_t now_ms = 0) {
    std::string message = "what was before";
    std::string error;
    return formatter.Format(event, now_ms, message, error) ? message : error;
}

TEST(SnmpTrapBer, Elements) {
    std::vector<char> block(70'000);
    const char* const end = block.data() + block.size();
    BerWriter numbers(block);
    for (const std::uint32_t number : {0xFFFFFFFFU, 0x7FFFFFFFU, 256U, 200U, 127U, 0U})
        numbers.Unsigned(BerTag::kInteger, number);
    EXPECT_EQ(Hex({numbers.Begin(), end}),
              "02 01 00 02 01 7F 02 02 00 C8 02 02 01 00 02 04 7F FF FF FF 02 05 00 FF FF FF FF");
    std::string headers;
    for (const std::size_t bytes : {0U, 127U, 128U, 255U, 256U, 65536U}) {
        BerWriter octets(block);
        octets.Octets(std::string(bytes, 'x'));
        headers.append(octets.Begin(), end - bytes);
    }
    EXPECT_EQ(Hex(headers), "04 00 04 7F 04 81 80 04 81 FF 04 82 01 00 04 83 01 00 00");
}

TEST(SnmpTrapBer, ObjectIdentifiers) {
    constexpr const char* kMax = "06 06 2B 8F FF FF FF 7F";
    const std::pair<const char*, const char*> cases[] = {
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
        EXPECT_TRUE(AppendBerObjectIdentifier(out, dotted));
        EXPECT_EQ(Hex(out), hex) << dotted;
    }
    for (const char* bad : {"1.3..6", ".1.3", "1.3..", "1", "1.", "", ".", "3.1", "1.40", "1.3.x",
                            "1.3.6x", "1.3.0x6", "1.3.6 ", "1.3. ", "1.3.-", "1.3.+-6"}) {
        std::string out;
        EXPECT_FALSE(AppendBerObjectIdentifier(out, bad)) << bad;
        EXPECT_EQ(out, "");
    }
}

// What a real receiver does not show: the numbers made of the clock. And what is refused.
TEST(SnmpTrap, IsBuiltFromOneClockReadingAndIs8192BytesAtMost) {
    const zvEventSinkConfig::SnmpTrap fresh;
    const auto formatter = [&](const std::string& community) {
        return SnmpTrapFormatter(community, fresh.enterprise_oid, fresh.trap_oid);
    };
    zvEventNormalizedEvent event;
    const std::string trap = Hex(Format(formatter("c"), event, 0x80000009));
    EXPECT_NE(trap.find(" 02 01 09 02 01 00 02 01 00 30 "), std::string::npos) << trap;
    EXPECT_NE(trap.find(" 43 04 0C CC CC CD "), std::string::npos) << trap;

    EXPECT_EQ(Format({"c", "1.x", "1.3..6"}, event), "Invalid SNMP trap_oid: 1.3..6");
    EXPECT_EQ(Format({"c", "1.3.6.", "1.3.6."}, event), "Invalid SNMP enterprise_oid: 1.3.6.");

    for (const auto text :
         {&zvEventNormalizedEvent::event_type, &zvEventNormalizedEvent::source_id,
          &zvEventNormalizedEvent::source_name, &zvEventNormalizedEvent::action,
          &zvEventNormalizedEvent::message, &zvEventNormalizedEvent::dedupe_key,
          &zvEventNormalizedEvent::correlation_id, &zvEventNormalizedEvent::details_json}) {
        event.*text = std::string(3000, 'x');
    }
    std::string lengths;
    const std::string cut = Format(formatter("c"), event);
    for (std::size_t at = 0; (at = cut.find('x', at)) != cut.npos;
         at = cut.find_first_not_of('x', at))
        lengths += std::to_string(std::min(cut.find_first_not_of('x', at), cut.size()) - at) + " ";
    EXPECT_EQ(lengths, "128 128 128 64 2048 256 128 2048 ");

    event = {};
    event.message = event.details_json = std::string(3000, 'x');
    std::string community(3000, 'c');
    community.append(8192 - Format(formatter(community), event).size(), 'c');
    EXPECT_EQ(Format(formatter(community), event).size(), 8192U);
    EXPECT_EQ(Format(formatter(community + "c"), event),
              "zvEvent SNMP trap exceeds maximum datagram size");
}

}  // namespace
}  // namespace zvevent
