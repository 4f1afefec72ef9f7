#include "config/value_reader.h"

#include <array>
#include <optional>

#include "base/ascii.h"
#include "base/severity.h"

namespace zvevent {

namespace {

constexpr std::uint32_t kTextBufferSize = 2048;
constexpr char kMinimumSeverity[] = "minimum_severity";
constexpr char kDropPolicy[] = "drop_policy";

template <typename Value>
struct Word {
    std::string_view word;
    Value value;
};

constexpr std::array<Word<bool>, 10> kBooleans = {{{"1", true},
                                                   {"true", true},
                                                   {"yes", true},
                                                   {"on", true},
                                                   {"enabled", true},
                                                   {"0", false},
                                                   {"false", false},
                                                   {"no", false},
                                                   {"off", false},
                                                   {"disabled", false}}};

constexpr std::array<Word<std::uint32_t>, 7> kSeverities = {{{"debug", zvEventSeverityDebug},
                                                             {"info", zvEventSeverityInfo},
                                                             {"information", zvEventSeverityInfo},
                                                             {"warning", zvEventSeverityWarning},
                                                             {"warn", zvEventSeverityWarning},
                                                             {"error", zvEventSeverityError},
                                                             {"err", zvEventSeverityError}}};

constexpr std::array<Word<zvEventDropPolicy>, 6> kDropPolicies = {
    {{"drop_newest", zvEventDropPolicy::drop_newest},
     {"newest", zvEventDropPolicy::drop_newest},
     {"drop", zvEventDropPolicy::drop_newest},
     {"drop_debug_info_first", zvEventDropPolicy::drop_debug_info_first},
     {"debug_info_first", zvEventDropPolicy::drop_debug_info_first},
     {"drop_low_severity_first", zvEventDropPolicy::drop_debug_info_first}}};

template <typename Value, std::size_t Count>
std::optional<Value> FindWord(const std::array<Word<Value>, Count>& words, std::string_view text) {
    for (const auto& [word, value] : words) {
        if (EqualsLowerAscii(text, word)) return value;
    }
    return std::nullopt;
}

}  // namespace

std::string ValueReader::Text(const std::string& key, const char* name, const char* absent) {
    std::string text;
    if (ReadText(key, name, text)) return text;
    text = absent;
    if (!text.empty()) {
        std::uint32_t length = kTextBufferSize;
        zvCFGValueString(tree_, key.c_str(), name, text.data(), &length, 1);
    }
    return text;
}

std::uint32_t ValueReader::Number(const std::string& key, const char* name, std::uint32_t absent) {
    std::uint32_t number = absent;
    if (!ReadNumber(key, name, number)) {
        number = absent;
        zvCFGValueDword(tree_, key.c_str(), name, &number, 1);
    }
    return number;
}

bool ValueReader::Boolean(const std::string& key, const char* name, bool seed) {
    std::uint32_t number = 0;
    if (ReadNumber(key, name, number)) return number != 0;
    const std::string text = Text(key, name, seed ? "1" : "0");
    const auto value = FindWord(kBooleans, text);
    if (!value) SetError("boolean", key, name, text);
    return value.value_or(seed);
}

std::uint32_t ValueReader::MinimumSeverity(const std::string& key, std::uint32_t seed) {
    std::uint32_t number = 0;
    if (ReadNumber(key, kMinimumSeverity, number) && number <= kMaxSeverity) return number;
    const std::string text = Text(key, kMinimumSeverity, "info");
    const auto value = FindWord(kSeverities, text);
    if (!value) SetError(kMinimumSeverity, key, kMinimumSeverity, text);
    return value.value_or(seed);
}

zvEventDropPolicy ValueReader::DropPolicy(const std::string& key, zvEventDropPolicy seed) {
    const std::string text = Text(key, kDropPolicy, "drop_newest");
    const auto value = FindWord(kDropPolicies, text);
    if (!value) SetError(kDropPolicy, key, kDropPolicy, text);
    return value.value_or(seed);
}

bool ValueReader::ReadText(const std::string& key, const char* name, std::string& text) {
    std::array<char, kTextBufferSize> buffer{};
    std::uint32_t length = kTextBufferSize;
    if (zvCFGValueString(tree_, key.c_str(), name, buffer.data(), &length, 0) != 0) return false;
    text = buffer.data();
    return true;
}

bool ValueReader::ReadNumber(const std::string& key, const char* name, std::uint32_t& number) {
    return zvCFGValueDword(tree_, key.c_str(), name, &number, 0) == 0;
}

void ValueReader::SetError(std::string_view what, const std::string& key, const char* name,
                           std::string_view text) {
    if (error_ == nullptr) return;
    error_->assign("Invalid ").append(what).append(" value for ").append(key);
    error_->append("\\").append(name).append(": ").append(text);
}

}  // namespace zvevent
