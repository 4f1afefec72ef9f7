// The fields of an event: one table for the options of `send`, the members of a JSON line and what
// `listen` shows. Pure functions, any thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "json_text.h"
#include "zvEvent/zvEvent.h"

namespace zvevent::tool {

struct RecordField {
    // The 32-bit member is the severity, written as a word or a number.
    using Member = std::variant<const char * zvEventRecord::*, double zvEventRecord::*,
                                std::uint64_t zvEventRecord::*, std::int64_t zvEventRecord::*,
                                std::uint32_t zvEventRecord::*>;

    std::string_view name;    // of the record's member; its name in JSON and in structured data too
    std::string_view option;  // without the dashes; a second name in JSON
    std::string_view help;
    Member member;
};

std::span<const RecordField> RecordFields();

// The field of that name, or null.
const RecordField* FindRecordField(std::string_view name);

// The field's text as JSON: a number where the field is one and the text can be read as such, or
// else the text.
Json FieldValue(const RecordField& field, std::string_view text);

// A record that owns its texts. Functions that set return what is wrong, or an empty text.
class Event {
public:
    [[nodiscard]] std::string Set(const RecordField& field, std::string_view text);

    // Sets what the object's members name. Both a field's names are taken, numbers may be texts,
    // and `details_json` may be any JSON. The members that only the library's own documents have
    // are passed over; unknown ones are refused.
    [[nodiscard]] std::string SetAll(const Json& object);

    // Borrows from this event until it changes.
    [[nodiscard]] const zvEventRecord& Record();

    [[nodiscard]] bool HasMessage() const;

private:
    static constexpr std::size_t kFieldCount = 18;
    std::array<std::optional<std::string>, kFieldCount> texts_;  // of the fields that are texts
    zvEventRecord record_ = zvEventRecordInit();

    friend std::span<const RecordField> RecordFields();
};

}  // namespace zvevent::tool
