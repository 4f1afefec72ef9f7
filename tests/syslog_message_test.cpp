// The RFC 5424 message, byte by byte, and the names of the facilities.
#include "format/syslog_message.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "base/syslog_code.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

const SyslogOrigin kOrigin(16, "host.example", "zvEvent", "4711");

std::string Format(const zvEventNormalizedEvent& event, const SyslogOrigin& origin = kOrigin) {
    std::string message = "what was before";
    origin.Format(event, message);
    return message;
}

// The part of a message between two texts.
std::string Between(const std::string& message, const std::string& start, const std::string& end) {
    const std::size_t from = message.find(start) + start.size();
    return message.substr(from, message.find(end, from) - from);
}

TEST(SyslogMessage, CarriesTheWholeEvent) {
    EXPECT_EQ(
        Format(test::SampleEvent()),
        "<132>1 2023-11-14T22:13:20.123456789Z host.example zvEvent 4711 temperature "
        "[zavorin@32473 version=\"65536\" event_id=\"42\" severity=\"warning\" action=\"raise\" "
        "event_type=\"temperature\" source_id=\"psu-1\" source_name=\"Power supply 1\" "
        "dedupe_key=\"psu-1/temperature\" correlation_id=\"c-7\" utc_ns=\"1700000000123456789\" "
        "ptp_ns=\"1700000037123456789\" pts=\"-90000\" timecode=\"10:00:00:12\" value=\"81.5\" "
        "threshold=\"75.3\" units=\"C\" duration_ms=\"1500\" "
        "details_json=\"{\\\"fan\\\":\\\"ok\\\"}\"] Too hot");
}

TEST(SyslogMessage, NumbersSeverityAndMeasurements) {
    const std::tuple<std::uint32_t, std::uint32_t, const char*, double, const char*> cases[] = {
        {20, 2, "<164>1 ", 1234567, "1.23457e+06"},
        {0, 0, "<7>1 ", 1.234567e-5, "1.23457e-05"},
        {23, 1, "<190>1 ", -HUGE_VAL, "-inf"},
        {16, 3, "<131>1 ", std::nan(""), "nan"},
        {16, 4, "<134>1 ", -std::nan(""), "-nan"}};
    for (const auto& [facility, severity, priority, number, text] : cases) {
        zvEventNormalizedEvent event;
        event.severity = severity;
        event.threshold = number;
        event.units = R"(a"b\c]d)";
        const std::string message = Format(event, SyslogOrigin(facility, "h", "a", "p"));
        EXPECT_TRUE(message.starts_with(priority)) << message;
        EXPECT_EQ(Between(message, " threshold=\"", "\""), text);
        EXPECT_EQ(Between(message, " units=\"", "\" duration"), R"(a\"b\\c\]d)");
    }
}

TEST(SyslogMessage, HeaderFieldsHoldPrintableAsciiUpToTheirLimits) {
    zvEventNormalizedEvent event;
    EXPECT_EQ(Between(Format(event), "4711 ", " ["), "-");
    event.event_type = "disk full";
    EXPECT_EQ(Between(Format(event, SyslogOrigin(16, "", "a\t~!\x7F\xC3\xA4", "")), "0Z ", " ["),
              "- a_~!___ - disk_full");
    event.event_type = std::string(40, 't');
    const SyslogOrigin wide(16, std::string(256, 'h'), std::string(49, 'a'), std::string(129, '1'));
    EXPECT_EQ(Between(Format(event, wide), "0Z ", " ["),
              std::string(255, 'h') + " " + std::string(48, 'a') + " " + std::string(128, '1') +
                  " " + std::string(32, 't'));
}

TEST(SyslogMessage, IsCutAt8192BytesAndLeavesNoGreatBuffer) {
    zvEventNormalizedEvent event = test::SampleEvent();
    const std::string start = Format(event).substr(0, Format(event).find("Too hot"));
    for (const std::size_t length : {8192 - start.size(), std::size_t{10'000}}) {
        event.message = std::string(length, 'm');
        EXPECT_EQ(Format(event), start + std::string(8192 - start.size(), 'm'));
    }
    event.details_json = event.message = std::string(1'000'000, '"');
    std::string message;
    kOrigin.Format(event, message);
    EXPECT_EQ(message.size(), 8192U);
    EXPECT_EQ(message.substr(8190), "\\\"");
    EXPECT_LT(message.capacity(), 4 * kMaxSyslogMessageBytes);
}

TEST(SyslogMessage, FacilitiesAreNamedInAnyCase) {
    const std::pair<const char*, std::uint32_t> cases[] = {
        {"kern", 0},   {"USER", 1},     {"auth", 4},    {"Security", 4}, {"authpriv", 10},
        {"ftp", 11},   {"local0", 16},  {"LOCAL4", 20}, {"local7", 23},  {"local8", 16},
        {"local", 16}, {"local10", 16}, {"", 16},       {" kern", 16},   {"ntp", 16}};
    for (const auto& [name, code] : cases)
        EXPECT_EQ(SyslogFacility(name), code) << name;
}

}  // namespace
}  // namespace zvevent
