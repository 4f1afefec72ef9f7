// One row of a CSV file (RFC 4180, lines ended by LF), read strictly.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zvevent::fuzz {

inline std::optional<std::vector<std::string>> ReadCsvRow(std::string_view row) {
    std::vector<std::string> fields(1);
    for (bool more = true; more; row.remove_prefix(1)) {
        if (row.starts_with('"')) {
            for (row.remove_prefix(1);; row.remove_prefix(1)) {
                if (row.empty()) return {};
                if (row[0] == '"' && !row.substr(1).starts_with('"')) break;
                if (row[0] == '"') row.remove_prefix(1);
                fields.back() += row[0];
            }
            row.remove_prefix(1);
        } else {
            const std::size_t end = row.find_first_of(",\n\r\"");
            if (end == std::string_view::npos) return {};
            fields.back() = row.substr(0, end);
            row.remove_prefix(end);
        }
        if (row.empty() || (row[0] != ',' && row[0] != '\n')) return {};
        more = row[0] == ',';
        if (more) fields.emplace_back();
    }
    if (!row.empty()) return {};
    return fields;
}

}  // namespace zvevent::fuzz
