#include "listen/decode.h"

#include <cstdio>
#include <ctime>

namespace zvevent::tool {

namespace {

std::string UtcMilliseconds(std::chrono::system_clock::time_point at) {
    using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::year_month_day;
    const auto day = std::chrono::floor<std::chrono::days>(at);
    const year_month_day date(day);
    const std::chrono::hh_mm_ss time(duration_cast<milliseconds>(at - day));
    char text[48];
    static_cast<void>(std::snprintf(
        text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int{date.year()},
        unsigned{date.month()}, unsigned{date.day()}, static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
        static_cast<int>(time.subseconds().count())));
    return text;
}

std::string Hexadecimal(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        text += kDigits[static_cast<unsigned char>(c) >> 4];
        text += kDigits[static_cast<unsigned char>(c) & 0xF];
    }
    return text;
}

std::string DecodeProtocol(const Received& received, Json& message) {
    switch (received.protocol) {
        case Protocol::kSyslog:
            return DecodeSyslog(received.bytes, message);
        case Protocol::kSnmp:
            return DecodeSnmp(received.bytes, message);
        case Protocol::kHttp:
            return DecodeHttp(received, message);
    }
    return "";
}

}  // namespace

Json Decode(const Received& received) {
    Json message{{"protocol", ProtocolName(received.protocol)},
                 {"received", UtcMilliseconds(received.at)},
                 {"from", received.from},
                 {"raw", received.protocol == Protocol::kSnmp ? Hexadecimal(received.bytes)
                                                              : received.bytes}};
    const std::string error = DecodeProtocol(received, message);
    if (!error.empty()) message["malformed"] = error;
    return message;
}

}  // namespace zvevent::tool
