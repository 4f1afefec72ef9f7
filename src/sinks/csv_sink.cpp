#include "sinks/csv_sink.h"

#include <algorithm>
#include <chrono>

#include "base/lock_within.h"
#include "base/texts.h"
#include "format/csv_row.h"
#include "sinks/directory_tree.h"

namespace {

// Rows are handed to the file once this many bytes have come together.
constexpr std::size_t kHandOverBytes = 16 * 1024;

// Whether a row that is cut after `text` was cut inside a quoted field. Quotes come in pairs in a
// row, those inside fields too.
bool EndsInsideQuotes(std::string_view text) {
    return std::count(text.begin(), text.end(), '"') % 2 != 0;
}

// How many bytes of `text`, which starts at a row's start, are whole rows. A line feed inside a
// field stands between quotes.
std::size_t WholeRows(std::string_view text) {
    std::size_t whole = 0;
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"') quoted = !quoted;
        if (text[at] == '\n' && !quoted) whole = at + 1;
    }
    return whole;
}

// What one unusually large row leaves reserved, at most.
constexpr std::size_t kKeptBytes = 8 * kHandOverBytes;

}  // namespace

std::uint32_t zvEventCsvSink::Create(const zvEventSinkConfig& config,
                                     std::shared_ptr<zvEventCsvSink>* sink, std::string* error) {
    if (sink == nullptr) {
        if (error != nullptr) *error = "Invalid zvEvent CSV sink output";
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    auto created = std::make_shared<zvEventCsvSink>(config);
    const std::scoped_lock lock(created->mutex_);
    const std::uint32_t result = created->EnsureOpen();
    if (result == ZVEVENT_OK) *sink = created;
    return created->Report(result, error);
}

zvEventCsvSink::zvEventCsvSink(const zvEventSinkConfig& config)
    : zvEventSink(config), path_(config.csv.path), flush_each_event_(config.csv.flush_each_event) {}

zvEventCsvSink::~zvEventCsvSink() {
    HandOver();
}

std::uint32_t zvEventCsvSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (!Admits(event)) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    const std::uint32_t opened = EnsureOpen();
    if (opened != ZVEVENT_OK) return opened;
    const std::size_t before = pending_.size();
    try {
        zvevent::AppendCsvRow(pending_, event);
    } catch (...) {
        pending_.resize(before);  // no memory: no part of a row stays behind
        throw;
    }
    const std::size_t row_bytes = pending_.size() - before;
    if (!flush_each_event_ && pending_.size() < kHandOverBytes) return ZVEVENT_OK;
    if (HandOver()) return ZVEVENT_OK;
    // The rows before it stay for the next try. This one is reported as failed, so it must not
    // come out after all.
    pending_.resize(pending_.size() - row_bytes);
    return Fail(flush_each_event_ ? "Unable to flush zvEvent CSV row: "
                                  : "Unable to write zvEvent CSV row: ",
                path_);
}

std::uint32_t zvEventCsvSink::flush(std::uint32_t timeout_ms) {
    std::unique_lock lock(mutex_, std::defer_lock);
    if (timeout_ms == 0) {
        lock.lock();
    } else if (!zvevent::LockWithin(lock, std::chrono::milliseconds(timeout_ms))) {
        return ZVEVENT_E_FAILURE;  // a write is stuck; its own failure will tell why
    }
    if (!file_.IsOpen() || HandOver()) return ZVEVENT_OK;
    return Fail("Unable to flush zvEvent CSV file: ", path_);
}

std::uint32_t zvEventCsvSink::EnsureOpen() {
    if (file_.IsOpen()) return ZVEVENT_OK;
    if (path_.empty()) return Fail("zvEvent CSV sink path is empty");
    const std::string_view directory = zvevent::DirectoryPart(path_);
    if (!zvevent::EnsureDirectory(directory)) {
        return Fail("Unable to create directory for zvEvent CSV sink: ", directory);
    }
    const bool needs_header = zvevent::FileIsMissingOrEmpty(path_);
    if (!file_.Open(path_)) return Fail("Unable to open zvEvent CSV file for append: ", path_);
    if (needs_header && !WriteHeader()) {
        file_.Close();
        return Fail("Unable to write zvEvent CSV header: ", path_);
    }
    return ZVEVENT_OK;
}

// At once, so that another sink or a reload on the same path finds the file begun. A header that
// came out in part only (a full disk) is taken back: a file that is not empty would never get one.
bool zvEventCsvSink::WriteHeader() {
    const std::size_t written = file_.Append(zvevent::kCsvHeader);
    if (written == zvevent::kCsvHeader.size()) return true;
    if (written != 0) zvevent::EmptyFileOfSize(path_, written);
    return false;
}

// Appends what is pending. After a failure the rows that are not whole in the file stay pending;
// a row that was cut is ended in the file before the next try writes it again.
bool zvEventCsvSink::HandOver() {
    row_end_.erase(0, file_.Append(row_end_));
    if (!row_end_.empty()) return false;
    const std::size_t written = file_.Append(pending_);
    if (written == pending_.size()) {
        zvevent::ClearBuffer(pending_, kKeptBytes);
        return true;
    }
    const std::string_view in_file = std::string_view(pending_).substr(0, written);
    const std::size_t whole = WholeRows(in_file);
    const std::string_view cut = in_file.substr(whole);
    if (!cut.empty()) row_end_ = EndsInsideQuotes(cut) ? "\"\n" : "\n";
    pending_.erase(0, whole);
    return false;
}
