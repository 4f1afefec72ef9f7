// The BER elements and the SNMPv2c trap, byte by byte.
#include "format/snmp_trap.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "format/ber.h"
#include "support/sample_event.h"

namespace {

using zvevent::BerTag;
using zvevent::SnmpTrapFormatter;

constexpr std::string_view kTrapOid = zvevent::kDefaultTrapOid;

std::string Hex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string hex;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex.append(hex.empty() ? "" : " ").append(1, kDigits[byte >> 4]);
        hex += kDigits[byte & 0xF];
    }
    return hex;
}

// Takes one element off the front of `bytes`; its contents, or nothing when it has another tag.
std::optional<std::string_view> Take(std::string_view& bytes, BerTag tag) {
    const auto byte = [&](std::size_t at) {
        return std::size_t{static_cast<unsigned char>(bytes.at(at))};
    };
    if (byte(0) != static_cast<std::size_t>(tag)) return {};
    std::size_t length = byte(1);
    std::size_t header = 2;
    if (length >= 0x80) {
        header += length & 0x7F;
        length = 0;
        for (std::size_t at = 2; at < header; ++at)
            length = length << 8 | byte(at);
    }
    if (bytes.size() - header < length) return {};
    const std::string_view contents = bytes.substr(header, length);
    bytes.remove_prefix(header + length);
    return contents;
}

struct Trap {
    std::string community, request_id, uptime, trap_oid;
    std::vector<std::string> names, values;  // of the enterprise's bindings
};

// Takes a whole message apart; throws where it is not what a manager expects.
Trap Parse(const std::string& message) {
    Trap trap;
    std::string_view rest = message;
    std::string_view outer = Take(rest, BerTag::kSequence).value();
    EXPECT_TRUE(rest.empty());
    EXPECT_EQ(Hex(Take(outer, BerTag::kInteger).value()), "01");
    trap.community = Take(outer, BerTag::kOctetString).value();
    std::string_view pdu = Take(outer, BerTag::kTrapV2Pdu).value();
    EXPECT_TRUE(outer.empty());
    trap.request_id = Hex(Take(pdu, BerTag::kInteger).value());
    EXPECT_EQ(Hex(Take(pdu, BerTag::kInteger).value()), "00");
    EXPECT_EQ(Hex(Take(pdu, BerTag::kInteger).value()), "00");
    std::string_view bindings = Take(pdu, BerTag::kSequence).value();
    EXPECT_TRUE(pdu.empty());
    for (int at = 1; !bindings.empty(); ++at) {
        std::string_view binding = Take(bindings, BerTag::kSequence).value();
        const std::string name = Hex(Take(binding, BerTag::kObjectIdentifier).value());
        const auto value = [&](BerTag tag) {
            const std::string_view contents = Take(binding, tag).value();
            EXPECT_TRUE(binding.empty());
            return contents;
        };
        if (at == 1) {
            EXPECT_EQ(name, "2B 06 01 02 01 01 03 00");
            trap.uptime = Hex(value(BerTag::kTimeTicks));
        } else if (at == 2) {
            EXPECT_EQ(name, "2B 06 01 06 03 01 01 04 01 00");
            trap.trap_oid = Hex(value(BerTag::kObjectIdentifier));
        } else {
            trap.names.push_back(name);
            trap.values.emplace_back(value(at == 3 ? BerTag::kInteger : BerTag::kOctetString));
        }
    }
    return trap;
}

std::string Format(const SnmpTrapFormatter& formatter, const zvEventNormalizedEvent& event,
                   std::uint32_t now_ms = 0) {
    std::string message = "what was before";
    std::string error;
    EXPECT_TRUE(formatter.Format(event, now_ms, message, error)) << error;
    return message;
}

std::string FormatError(const SnmpTrapFormatter& formatter, const zvEventNormalizedEvent& event) {
    std::string message;
    std::string error;
    EXPECT_FALSE(formatter.Format(event, 0, message, error));
    return error;
}

TEST(SnmpTrapBer, Elements) {
    const struct {
        std::uint32_t number;
        const char* hex;
    } numbers[] = {{0, "02 01 00"},
                   {127, "02 01 7F"},
                   {128, "02 02 00 80"},
                   {200, "02 02 00 C8"},
                   {256, "02 02 01 00"},
                   {0x7FFFFFFF, "02 04 7F FF FF FF"},
                   {0xFFFFFFFF, "02 05 00 FF FF FF FF"}};
    for (const auto& c : numbers) {
        std::string out;
        zvevent::AppendBerUnsigned(out, BerTag::kInteger, c.number);
        EXPECT_EQ(Hex(out), c.hex);
    }
    const struct {
        std::size_t bytes;
        const char* header;
    } lengths[] = {
        {0, "04 00"},         {127, "04 7F"},         {128, "04 81 80"},        {255, "04 81 FF"},
        {256, "04 82 01 00"}, {65535, "04 82 FF FF"}, {65536, "04 83 01 00 00"}};
    for (const auto& c : lengths) {
        std::string out;
        zvevent::AppendBerOctets(out, std::string(c.bytes, 'x'));
        EXPECT_EQ(Hex(out.substr(0, out.size() - c.bytes)), c.header);
    }
}

TEST(SnmpTrapBer, ObjectIdentifiers) {
    const struct {
        const char* dotted;
        const char* hex;  // "": refused
    } cases[] = {
        {"1.3.6.1.4.1.32473.1.1.1.1.0", "06 0D 2B 06 01 04 01 81 FD 59 01 01 01 01 00"},
        {"0.39", "06 01 27"},
        {"2.47", "06 01 7F"},
        {"2.176", "06 01 00"},
        {"2.300", "06 01 7C"},  // the second counts with its low byte
        {"1.3.6.", "06 02 2B 06"},
        {"1.3.0.127.128.16384", "06 08 2B 00 7F 81 00 81 80 00"},
        {"1.3.4294967295", "06 06 2B 8F FF FF FF 7F"},
        {"1.3.4294967296", "06 06 2B 8F FF FF FF 7F"},
        {"1.3.99999999999999999999999", "06 06 2B 8F FF FF FF 7F"},
        {"1.3.-99999999999999999999999", "06 06 2B 8F FF FF FF 7F"},
        {"1.3.-1", "06 06 2B 8F FF FF FF 7F"},
        {"1.3.-4294967295", "06 02 2B 01"},
        {" \t\n\v\f\r1.+3.-0", "06 02 2B 00"},
        {"1.3..6", ""},
        {".1.3", ""},
        {"1.3..", ""},
        {"1", ""},
        {"1.", ""},
        {"", ""},
        {".", ""},
        {"3.1", ""},
        {"1.40", ""},
        {"0.40", ""},
        {"1.3.x", ""},
        {"1.3.6x", ""},
        {"1.3.0x6", ""},
        {"1.3.6 ", ""},
        {"1.3. ", ""},
        {"1.3.-", ""},
        {"1.3.+-6", ""},
        {"1.3.- 6", ""},
    };
    for (const auto& c : cases) {
        std::string out = "kept";
        EXPECT_EQ(zvevent::AppendBerObjectIdentifier(out, c.dotted), *c.hex != '\0') << c.dotted;
        EXPECT_EQ(Hex(out.substr(4)), c.hex) << c.dotted;
    }
}

TEST(SnmpTrap, CarriesTheEventInItsBindings) {
    const SnmpTrapFormatter formatter("public", "", kTrapOid);
    const Trap trap = Parse(Format(formatter, zvevent::test::SampleEvent(), 0x80000009));
    EXPECT_EQ(trap.community, "public");
    EXPECT_EQ(trap.request_id, "09");
    EXPECT_EQ(trap.uptime, "0C CC CC CD");  // 0x80000009 / 10
    EXPECT_EQ(trap.trap_oid, "2B 06 01 04 01 81 FD 59 01 01 00 01");
    const std::vector<std::string> values = {"\x02",
                                             "warning",
                                             "42",
                                             "temperature",
                                             "psu-1",
                                             "Power supply 1",
                                             "raise",
                                             "Too hot",
                                             "psu-1/temperature",
                                             "c-7",
                                             "1700000000123456789",
                                             R"({"fan":"ok"})"};
    EXPECT_EQ(trap.values, values);
    ASSERT_EQ(trap.names.size(), 12U);
    for (std::size_t i = 0; i < trap.names.size(); ++i) {
        EXPECT_EQ(trap.names[i], "2B 06 01 04 01 81 FD 59 01 01 01 " +
                                     Hex(std::string(1, static_cast<char>(i + 1))) + " 00");
    }
    EXPECT_EQ(Parse(Format(formatter, {}, 0xFFFFFFFF)).request_id, "7F FF FF FF");
}

TEST(SnmpTrap, CutsTextsAtTheirLimits) {
    zvEventNormalizedEvent event;
    const std::string text(3000, 'x');
    for (std::string* field :
         {&event.event_type, &event.source_id, &event.source_name, &event.action, &event.message,
          &event.dedupe_key, &event.correlation_id, &event.details_json}) {
        *field = text;
    }
    event.severity = 9;
    const Trap trap = Parse(Format({"c", "1.3.6.1.4.1.1", kTrapOid}, event));
    const std::size_t sizes[] = {1, 4, 1, 128, 128, 128, 64, 2048, 256, 128, 1, 2048};
    for (std::size_t i = 0; i < std::size(sizes); ++i)
        EXPECT_EQ(trap.values.at(i).size(), sizes[i]) << i;
    EXPECT_EQ(trap.values.at(1), "info");
    EXPECT_EQ(trap.names.at(0), "2B 06 01 04 01 01 01 01 00");
}

TEST(SnmpTrap, TellsWhichIdentifierIsBad) {
    const struct {
        std::string_view enterprise, trap, error;
    } cases[] = {
        {"1.3.6", "1.3..6", "Invalid SNMP trap_oid: 1.3..6"},
        {"1.3.6", "", "Invalid SNMP trap_oid: "},
        {"1.x", "1.3", "Invalid SNMP enterprise_oid: 1.x"},
        {"1.3.6.", "1.3.6.", "Invalid SNMP enterprise_oid: 1.3.6."},
        {"1.x", "3.1", "Invalid SNMP trap_oid: 3.1"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FormatError({"c", c.enterprise, c.trap}, {}), c.error);
}

TEST(SnmpTrap, Is8192BytesAtMost) {
    zvEventNormalizedEvent event;
    event.message = event.details_json = std::string(2048, 'x');
    const std::string community(3000, 'c');
    const std::size_t room = 8192 - Format({community, "", kTrapOid}, event).size();
    EXPECT_EQ(Format({community + std::string(room, 'c'), "", kTrapOid}, event).size(), 8192U);
    EXPECT_EQ(FormatError({community + std::string(room + 1, 'c'), "", kTrapOid}, event),
              "zvEvent SNMP trap exceeds maximum datagram size");
}

}  // namespace
