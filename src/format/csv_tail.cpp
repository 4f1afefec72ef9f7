#include "format/csv_tail.h"

#include <algorithm>

#include "zvEvent/zvEvent.h"

namespace zvevent {

namespace {

// Every row begins so, whatever the event.
constexpr std::string_view kRowStart = "\n65536,";
static_assert(ZVEVENT_API_VERSION == 65536);

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether `text` goes on like a row after its first column: the event's number and a date.
bool GoesOnLikeARow(std::string_view text) {
    constexpr std::string_view kDate = ",0000-00-00T";
    const auto number_end = std::find_if_not(text.begin(), text.end(), IsDigit);
    if (number_end == text.begin()) return false;
    text.remove_prefix(static_cast<std::size_t>(number_end - text.begin()));
    const auto alike = [](char c, char model) {
        return c == model || (model == '0' && IsDigit(c));
    };
    return text.size() >= kDate.size() &&
           std::equal(kDate.begin(), kDate.end(), text.begin(),
                      [&](char model, char c) { return alike(c, model); });
}

// Where the first row starts; npos when none is seen to.
std::size_t FirstRow(std::string_view text) {
    std::size_t at = text.find(kRowStart);
    while (at != std::string_view::npos && !GoesOnLikeARow(text.substr(at + kRowStart.size())))
        at = text.find(kRowStart, at + 1);
    return at;
}

}  // namespace

std::size_t WholeRows(std::string_view text) {
    std::size_t whole = 0;
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"') quoted = !quoted;
        if (text[at] == '\n' && !quoted) whole = at + 1;
    }
    return whole;
}

void CsvTail::Read(std::string_view piece) {
    if (piece.empty()) return;
    last_ = piece.back();
    if (!found_row_) {
        const std::size_t row = FirstRow(piece);
        if (row == std::string_view::npos) return;
        found_row_ = true;
        piece.remove_prefix(row);
    }
    if (std::count(piece.begin(), piece.end(), '"') % 2 != 0) inside_quotes_ = !inside_quotes_;
}

std::string_view CsvTail::MissingEnd() const {
    if (inside_quotes_) return "\"\n";
    return last_ == '\n' ? "" : "\n";
}

}  // namespace zvevent
