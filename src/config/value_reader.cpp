#include "config/value_reader.h"

#include <array>
#include <optional>

#include "base/ascii.h"
#include "base/severity.h"

namespace zvevent {

namespace {

constexpr std::uint32_t kTextBufferSize = 2048;

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

void ValueReader::operator()(const char* name, std::string& value) {
    value = Text(name, value.c_str());
}

void ValueReader::operator()(const char* name, std::string& value, const char* absent) {
    value = Text(name, absent);
}

void ValueReader::operator()(const char* name, std::uint32_t& value) {
    if (!ReadNumber(name, value)) zvCFGValueDword(tree_, key_.c_str(), name, &value, 1);
}

void ValueReader::operator()(const char* name, bool& value) {
    std::uint32_t number = 0;
    if (ReadNumber(name, number)) {
        value = number != 0;
        return;
    }
    const std::string text = Text(name, value ? "1" : "0");
    const auto word = FindWord(kBooleans, text);
    if (!word) SetError("boolean", name, text);
    value = word.value_or(value);
}

void ValueReader::operator()(const char* name, SeverityIn<std::uint32_t> value) {
    std::uint32_t number = 0;
    if (ReadNumber(name, number) && number <= kMaxSeverity) {
        value.level = number;
        return;
    }
    const std::string text = Text(name, "info");
    const auto word = FindWord(kSeverities, text);
    if (!word) SetError("minimum_severity", name, text);
    value.level = word.value_or(value.level);
}

void ValueReader::operator()(const char* name, zvEventDropPolicy& value) {
    const std::string text = Text(name, "drop_newest");
    const auto word = FindWord(kDropPolicies, text);
    if (!word) SetError("drop_policy", name, text);
    value = word.value_or(value);
}

void ValueReader::operator()(const char* name, std::optional<bool>& value) {
    if (Text(name, "").empty()) return;
    bool given = false;
    (*this)(name, given);
    value = given;
}

void ValueReader::operator()(const char* name, SeverityIn<std::optional<std::uint32_t>> value) {
    const std::string text = Text(name, "");
    if (text.empty()) return;
    std::uint32_t number = 0;
    if (ReadNumber(name, number) && number <= kMaxSeverity) {
        value.level = number;
        return;
    }
    value.level = FindWord(kSeverities, text);
    if (!value.level) SetError(name, name, text);
}

std::string ValueReader::Text(const char* name, const char* absent) {
    std::string text;
    if (ReadText(name, text)) return text;
    text = absent;
    if (!text.empty()) {
        std::uint32_t length = kTextBufferSize;
        zvCFGValueString(tree_, key_.c_str(), name, text.data(), &length, 1);
    }
    return text;
}

bool ValueReader::ReadText(const char* name, std::string& text) {
    std::array<char, kTextBufferSize> buffer{};
    std::uint32_t length = kTextBufferSize;
    if (zvCFGValueString(tree_, key_.c_str(), name, buffer.data(), &length, 0) != 0) return false;
    text = buffer.data();
    return true;
}

// Leaves the number alone when there is none.
bool ValueReader::ReadNumber(const char* name, std::uint32_t& number) {
    std::uint32_t read = 0;
    if (zvCFGValueDword(tree_, key_.c_str(), name, &read, 0) != 0) return false;
    number = read;
    return true;
}

void ValueReader::SetError(std::string_view what, const char* name, std::string_view text) {
    if (error_ == nullptr) return;
    error_->assign("Invalid ").append(what).append(" value for ").append(key_);
    error_->append("\\").append(name).append(": ").append(text);
}

}  // namespace zvevent
