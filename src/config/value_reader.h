// Reads single values of the configuration tree with their defaults, and completes the tree: a
// value that is missing and has a non-empty default is written back. Errors of the words
// (booleans, severities, drop policies) go into the error text, the last one staying; a caller
// that gives none does not learn of them.
//
// One thread; the tree handle and the error text belong to the caller.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/config.h"
#include "zvutil/zvutil.h"

namespace zvevent {

class ValueReader {
public:
    ValueReader(zvCFGHandle tree, std::string* error) : tree_(tree), error_(error) {}

    // At most 2047 bytes of the text, as stored.
    std::string Text(const std::string& key, const char* name, const char* absent);

    std::uint32_t Number(const std::string& key, const char* name, std::uint32_t absent);

    // A number (not 0 is true) or one of ten words in any case; `seed` for anything else.
    bool Boolean(const std::string& key, const char* name, bool seed);

    // The value "minimum_severity": a number 0 to 3 or a word; "info" when missing, `seed` for
    // anything else.
    std::uint32_t MinimumSeverity(const std::string& key, std::uint32_t seed);

    // The value "drop_policy".
    zvEventDropPolicy DropPolicy(const std::string& key, zvEventDropPolicy seed);

private:
    bool ReadText(const std::string& key, const char* name, std::string& text);
    bool ReadNumber(const std::string& key, const char* name, std::uint32_t& number);
    void SetError(std::string_view what, const std::string& key, const char* name,
                  std::string_view text);

    zvCFGHandle tree_;
    std::string* error_;
};

}  // namespace zvevent
