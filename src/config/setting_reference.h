// What every setting means, in the words of docs/configuration.md, which a test compares with this
// table. For tools; the library itself does not carry it. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/config.h"
#include "config/settings.h"

namespace zvevent {

struct SettingReference {
    std::string_view
        section;  // kCoreKey, kStateKey, a SinkSection's path; kSinkKey: every output's
    std::string_view name;
    std::string_view effect;  // Markdown, one line, no full stop
    bool secret = false;      // not for everyone's eyes
};

// Never fails for a setting of settings.h; for anything else an entry with empty texts.
const SettingReference& ReferenceOf(std::string_view section, std::string_view name);

// One line about a section, the part of a key that SettingReference names.
std::string_view SectionSummary(std::string_view section);

// What a setting holds, by the type of its field.
constexpr std::string_view KindOf(const std::string&) {
    return "text";
}
constexpr std::string_view KindOf(std::uint32_t) {
    return "number";
}
constexpr std::string_view KindOf(bool) {
    return "boolean";
}
constexpr std::string_view KindOf(std::optional<bool>) {
    return "boolean";
}
template <typename Number>
constexpr std::string_view KindOf(SeverityIn<Number>) {
    return "severity";
}
constexpr std::string_view KindOf(zvEventDropPolicy) {
    return "policy";
}

}  // namespace zvevent
