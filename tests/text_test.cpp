#include "format/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>

#include "base/number_text.h"

namespace zvevent {
namespace {

using namespace std::string_literals;

TEST(Text, EscapesJson) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"plain / text", "plain / text"},
        {"a\"b\\c", R"(a\"b\\c)"},
        {"\b\t\n\f\r", R"(\b\t\n\f\r)"},
        {"\0\x01\x0B\x1F"s, R"(\u0000\u0001\u000b\u001f)"},
        {"\x7F\xC3\xA9\xFF", "\x7F\xC3\xA9\xFF"},
        {"\"", "\\\""},
    };
    for (const auto& [text, escaped] : cases)
        EXPECT_EQ(JsonEscape(text), escaped);
}

TEST(Text, WritesNumbersAsTheCLocaleDoes) {
    const std::pair<double, std::string> cases[] = {
        {1.0, "1"},        {0.5, "0.5"}, {0.1, "0.10000000000000001"}, {75.3, "75.299999999999997"},
        {1e20, "1e+20"},   {-0.0, "-0"}, {1e16, "10000000000000000"},  {1e17, "1e+17"},
        {0.0001, "0.0001"}};
    for (const auto& [number, text] : cases) {
        EXPECT_EQ(FormatJsonNumber(number), text);
        EXPECT_EQ(FormatMeasurementText(number), text);
    }
    for (const double odd : {std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(), std::nan("")}) {
        EXPECT_EQ(FormatJsonNumber(odd), "null");
        EXPECT_EQ(FormatMeasurementText(odd), "");
    }
}

// Any bits as a number, against the C library.
TEST(Text, GeneralNotationEqualsPrintf) {
    std::mt19937_64 bits(20);
    for (int i = 0; i < 20'000; ++i) {
        const std::uint64_t pattern = bits();
        double number;
        std::memcpy(&number, &pattern, sizeof number);
        if (i % 4 == 0) number = std::ldexp(static_cast<double>(pattern % 100'000), i % 60 - 30);
        if (!std::isfinite(number)) continue;  // spelled differently by some C libraries
        for (const int digits : {6, 17}) {
            char expected[40];
            std::snprintf(expected, sizeof expected, "%.*g", digits, number);
            std::string text;
            AppendGeneral(text, number, digits);
            ASSERT_EQ(text, expected);
        }
    }
    std::string text;
    for (const double odd :
         {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::copysign(std::nan(""), 1.0), std::copysign(std::nan(""), -1.0)}) {
        AppendGeneral(text, odd, 17);
        text += ' ';
    }
    EXPECT_EQ(text, "inf -inf nan -nan ");
}

TEST(Text, WritesUtcTimes) {
    struct Case {
        std::uint64_t ns;
        const char* seconds;
        const char* fraction;
    };
    const Case cases[] = {
        {0, "1970-01-01T00:00:00", ".000000000"},
        {999'999'999, "1970-01-01T00:00:00", ".999999999"},
        {1'700'000'000'000'000'000, "2023-11-14T22:13:20", ".000000000"},
        {1'700'000'000'000'000'001, "2023-11-14T22:13:20", ".000000001"},
        {951'782'400'000'000'000, "2000-02-29T00:00:00", ".000000000"},
        {4'107'542'399'000'000'000, "2100-02-28T23:59:59", ".000000000"},
        {18'446'744'073'709'551'615U, "2554-07-21T23:34:33", ".709551615"},
    };
    for (const Case& c : cases) {
        const std::string seconds = c.seconds;
        EXPECT_EQ(FormatUtcIso8601Nanos(c.ns), seconds + c.fraction + "Z");
        const bool whole = c.ns % 1'000'000'000 == 0;
        EXPECT_EQ(FormatUtcIso8601(c.ns), whole ? seconds + "Z" : seconds + c.fraction + "Z");
    }
}

TEST(Text, EncodesBase64) {
    const std::pair<std::string, std::string> cases[] = {{"", ""},
                                                         {"a", "YQ=="},
                                                         {"ab", "YWI="},
                                                         {"abc", "YWJj"},
                                                         {"user:pass", "dXNlcjpwYXNz"},
                                                         {"\xFB\xEF\xBE\xFF\x00"s, "++++/wA="}};
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(Base64Encode(bytes), text);
}

}  // namespace
}  // namespace zvevent
