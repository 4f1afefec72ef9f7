// Where rows end, in text of a CSV file that may stop in the middle of one: a full disk, a killed
// process or an editor leaves such an end. Pure, any thread.
#pragma once

#include <cstddef>
#include <string_view>

namespace zvevent {

// How many bytes of `text`, which starts at a row's start, are whole rows. A line feed inside a
// field stands between quotes and ends no row.
std::size_t WholeRows(std::string_view text);

// Reads a file's last part, piece by piece, and tells how its last row ends.
class CsvTail {
public:
    // `at_start`: the first piece is the file's beginning. Otherwise reading starts in the middle
    // of whatever stands there, and counts from the first line that looks like a row of ours.
    explicit CsvTail(bool at_start) : found_row_(at_start) {}

    void Read(std::string_view piece);

    bool FoundRow() const { return found_row_; }

    // What has to be appended to end the last row: nothing, a line feed, or, when a quoted field is
    // open, a quote and a line feed. Without a row only whether a line feed is last is known.
    std::string_view MissingEnd() const;

private:
    bool found_row_;
    bool inside_quotes_ = false;  // quotes come in pairs in a row, those inside fields too
    char last_ = '\n';
};

}  // namespace zvevent
