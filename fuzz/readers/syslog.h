// An RFC 5424 message with one element of structured data, read strictly.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace zvevent::fuzz {

struct SyslogMessage {
    // PRI with version, TIMESTAMP, HOSTNAME, APP-NAME, PROCID, MSGID, the element's name
    std::array<std::string, 7> header;
    std::map<std::string, std::string, std::less<>> parameters;
    std::string text;
};

inline std::optional<SyslogMessage> ReadSyslogMessage(std::string_view bytes) {
    SyslogMessage message;
    for (std::string& field : message.header) {
        const std::size_t end = bytes.find(' ');
        if (end == 0 || end == std::string_view::npos) return {};
        field = bytes.substr(0, end);
        for (const char c : field)
            if (c < '!' || c > '~') return {};
        bytes.remove_prefix(end + 1);
    }
    for (;;) {
        const std::size_t equals = bytes.find("=\"");
        if (equals == 0 || equals > 32) return {};
        const auto [at, is_new] = message.parameters.emplace(bytes.substr(0, equals), "");
        if (!is_new) return {};
        for (bytes.remove_prefix(equals + 2);; bytes.remove_prefix(1)) {
            if (bytes.empty() || bytes[0] == ']') return {};
            if (bytes[0] == '"') break;
            if (bytes[0] == '\\') bytes.remove_prefix(1);
            if (bytes.empty()) return {};
            at->second += bytes[0];
        }
        bytes.remove_prefix(1);
        if (bytes.starts_with("] ")) break;
        if (!bytes.starts_with(' ')) return {};
        bytes.remove_prefix(1);
    }
    message.text = bytes.substr(2);
    return message;
}

}  // namespace zvevent::fuzz
