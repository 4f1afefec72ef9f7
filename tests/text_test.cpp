#include "format/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <tuple>

#include "base/keyed_digest.h"
#include "base/number_text.h"
#include "base/texts.h"

namespace zvevent {
namespace {

using std::string_literals::operator""s;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Text, EscapesJsonAndEncodesBase64) {
    EXPECT_EQ(JsonEscape("plain / a\"b\\c\"\b\t\n\f\r\0\x01\x0B\x1F\x7F\xC3\xA9\xFF"s),
              R"(plain / a\"b\\c\"\b\t\n\f\r\u0000\u0001\u000b\u001f)"
              "\x7F\xC3\xA9\xFF");
    EXPECT_EQ(Base64Encode("") + Base64Encode("a") + Base64Encode("ab"), "YQ==YWI=");
    EXPECT_EQ(Base64Encode("abc") + Base64Encode("\xFB\xEF\xBE\xFF\x00"s), "YWJj++++/wA=");
}

// Any bits as a number, and whole ones around what is written in short, against the C library.
TEST(Text, WritesNumbersAsPrintfDoes) {
    std::mt19937_64 bits(20);
    const double limits[] = {999'999, 1e6, -1e6, 999'999'999'999'999, 1e15, -1e15, 1e15 + 1, 1e16};
    for (int i = 0; i < 20'000; ++i) {
        const std::uint64_t pattern = bits();
        double number;
        std::memcpy(&number, &pattern, sizeof number);
        if (i % 4 == 0) number = std::ldexp(static_cast<double>(pattern % 100'000), i % 60 - 30);
        if (i < std::ssize(limits)) number = limits[i];
        if (!std::isfinite(number)) continue;  // spelled differently by some C libraries
        for (const int digits : {17 - i % 12, 17, 6, 17}) {
            char expected[40];
            std::snprintf(expected, sizeof expected, "%.*g", digits, number);
            std::string text;
            AppendGeneral(text, number, digits);
            ASSERT_EQ(text, expected);
        }
    }
    EXPECT_EQ(FormatJsonNumber(0.1) + FormatMeasurementText(-0.0), "0.10000000000000001-0");
    std::string text;
    for (const double odd : {kInfinity, -kInfinity, std::nan(""), -std::nan("")}) {
        EXPECT_EQ(FormatJsonNumber(odd), "null");
        EXPECT_EQ(FormatMeasurementText(odd), "");
        AppendGeneral(text, odd, 17);
        text += ' ';
    }
    EXPECT_EQ(text, "inf -inf nan -nan ");
}

TEST(Text, WritesUtcTimes) {
    const std::tuple<std::uint64_t, std::string, std::string> cases[] = {
        {0, "1970-01-01T00:00:00", ".000000000"},
        {999'999'999, "1970-01-01T00:00:00", ".999999999"},
        {951'782'400'000'000'000, "2000-02-29T00:00:00", ".000000000"},
        {4'107'542'399'000'000'000, "2100-02-28T23:59:59", ".000000000"},
        {18'446'744'073'709'551'615U, "2554-07-21T23:34:33", ".709551615"}};
    for (const auto& [ns, seconds, fraction] : cases) {
        EXPECT_EQ(FormatUtcIso8601Nanos(ns), seconds + fraction + "Z");
        EXPECT_EQ(FormatUtcIso8601(ns), seconds + (ns % 1'000'000'000 ? fraction : "") + "Z");
    }
}

// The bytes 0, 1, 2, ... by another implementation of SipHash-1-3 with 128 bits.
TEST(Text, HasItsSipHashAsDigest) {
    const std::pair<std::size_t, Digest> cases[] = {{0, {0xbea58827b2bc7ee7, 0x013030dd6adb62fd}},
                                                    {1, {0xa8edd36004376ffc, 0x63f02f2bcc73055e}},
                                                    {7, {0xc3e0aaf223b98410, 0x77ab4808c82e2fa6}},
                                                    {8, {0xb4dae3d5e1fe12aa, 0x99c7f935ab164f72}},
                                                    {15, {0x6c52bdb205557ec1, 0x09017e1eeccd2129}},
                                                    {37, {0xdad3ed1a387e87b9, 0x10ac23ff753ec308}}};
    for (const auto& [length, digest] : cases) {
        std::string text(length, 0);
        std::iota(text.begin(), text.end(), char{0});
        EXPECT_EQ(DigestOf({0x0706050403020100, 0x0f0e0d0c0b0a0908}, text), digest) << length;
    }
}

TEST(Text, BuffersGiveTheMemoryOfALargeTextBack) {
    for (const std::size_t bytes : {kKeptBytes / 2, 2 * kKeptBytes}) {
        std::string buffer(bytes, 'x');
        ClearBuffer(buffer);
        EXPECT_EQ(buffer, "");
        EXPECT_EQ(buffer.capacity() >= bytes, bytes < kKeptBytes) << buffer.capacity();
    }
}

}  // namespace
}  // namespace zvevent
