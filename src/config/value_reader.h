// Reads the values of one key of the configuration tree into settings, and completes the tree: a
// value that is missing and has a non-empty default is written back. It is a visitor of
// config/settings.h: a field holds its default before, which is also what stays when a word
// (boolean, severity, drop policy) is none. Such errors go into the error text, the last one
// staying; a caller that gives none does not learn of them.
//
// One thread; the tree handle and the error text belong to the caller.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/config.h"
#include "config/settings.h"
#include "zvutil/zvutil.h"

namespace zvevent {

class ValueReader {
public:
    ValueReader(zvCFGHandle tree, std::string key, std::string* error)
        : tree_(tree), key_(std::move(key)), error_(error) {}

    // At most 2047 bytes of the text, as stored.
    void operator()(const char* name, std::string& value);
    void operator()(const char* name, std::string& value, const char* absent);

    void operator()(const char* name, std::uint32_t& value);

    // A number (not 0 is true) or one of ten words in any case.
    void operator()(const char* name, bool& value);

    // A number 0 to 3 or a word; "info" when missing, whatever the field held.
    void operator()(const char* name, SeverityIn<std::uint32_t> value);

    void operator()(const char* name, zvEventDropPolicy& value);

    // The same words and numbers; nothing when missing or empty, and then nothing is written back.
    void operator()(const char* name, std::optional<bool>& value);
    void operator()(const char* name, SeverityIn<std::optional<std::uint32_t>> value);

private:
    std::string Text(const char* name, const char* absent);
    bool ReadText(const char* name, std::string& text);
    bool ReadNumber(const char* name, std::uint32_t& number);
    void SetError(std::string_view what, const char* name, std::string_view text);

    zvCFGHandle tree_;
    const std::string key_;
    std::string* error_;
};

}  // namespace zvevent
