#include "sinks/csv_file.h"

#include <chrono>
#include <map>

#include "base/contain.h"
#include "base/lock_within.h"
#include "base/no_destructor.h"
#include "base/texts.h"
#include "config/sink_faults.h"
#include "format/csv_row.h"
#include "format/csv_tail.h"
#include "sinks/directory_tree.h"

namespace zvevent {

namespace {

// Rows are handed to the file once this many bytes have come together.
// A hand-over costs some 6 us beside the bytes: a third of a row's time with 16 KiB, a tenth so.
constexpr std::size_t kHandOverBytes = 64 * 1024;

// What one unusually large row leaves reserved, at most.
constexpr std::size_t kKeptRowBytes = 2 * kHandOverBytes;

// For the lock, when another sink of the path is just writing.
constexpr std::chrono::seconds kOpenWait{1};

// How far a file's end is read back for a row of ours: first, and at most.
constexpr std::uint64_t kFirstLookBack = 64 * 1024;
constexpr std::uint64_t kLastLookBack = 256 * 1024 * 1024;

// The files that have sinks, by their absolute path.
class Files {
public:
    std::shared_ptr<CsvFile> Of(const std::string& path) {
        const std::string absolute = AbsolutePath(path);
        const std::scoped_lock lock(mutex_);
        std::erase_if(files_, [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<CsvFile>& known = files_[absolute];
        std::shared_ptr<CsvFile> file = known.lock();
        if (file == nullptr) known = file = std::make_shared<CsvFile>(path);
        return file;
    }

private:
    std::mutex mutex_;
    std::map<std::string, std::weak_ptr<CsvFile>> files_;  // guarded by mutex_
};

// Made when the library is loaded: no fork can come in between.
NoDestructor<Files> files;

bool Fail(std::string& error, std::string_view what, std::string_view subject = {}) {
    error.assign(what).append(subject);
    return false;
}

// What the file lacks for its last row to be ended.
std::string MissingEnd(const std::string& path) {
    const std::uint64_t size = FileSize(path);
    for (std::uint64_t look_back = kFirstLookBack;; look_back *= 16) {
        std::uint64_t at = size > look_back ? size - look_back : 0;
        const bool whole_file = at == 0;
        CsvTail tail(whole_file);
        while (at < size) {
            const std::string piece = ReadFile(path, at, kFirstLookBack);
            if (piece.empty()) return {};
            tail.Read(piece);
            at += piece.size();
        }
        if (tail.FoundRow() || look_back >= kLastLookBack) return std::string(tail.MissingEnd());
    }
}

}  // namespace

std::shared_ptr<CsvFile> CsvFile::Of(const std::string& path) {
    return files->Of(path);
}

void CsvFile::ForgetAllInChild() {
    files.Renew();
}

CsvFile::CsvFile(const std::string& path) : path_(path), absolute_path_(AbsolutePath(path)) {}

CsvFile::~CsvFile() {
    Contain([this] {
        std::string error;
        HandOver(error);
    });
}

bool CsvFile::Open(std::string& error) {
    std::unique_lock lock(mutex_, std::defer_lock);
    // Who reloads does not wait for a write that hangs; its file is open.
    return !LockWithin(lock, kOpenWait) || Follow(error);
}

bool CsvFile::Write(const zvEventNormalizedEvent& event, bool at_once, std::string& error) {
    const std::scoped_lock lock(mutex_);
    if (!file_.IsOpen() && !OpenAnew(error)) return false;
    const std::size_t before = pending_.size();
    try {
        AppendCsvRow(pending_, event);
    } catch (...) {
        pending_.resize(before);  // no memory: no part of a row stays behind
        throw;
    }
    const std::size_t row_bytes = pending_.size() - before;
    if ((!at_once && pending_.size() < kHandOverBytes) || HandOver(error)) return true;
    // This row is reported as failed, so it must not come out after all.
    pending_.resize(pending_.size() - row_bytes);
    if (!error.empty()) return false;
    return Fail(
        error,
        at_once ? "Unable to flush zvEvent CSV row: " : "Unable to write zvEvent CSV row: ", path_);
}

bool CsvFile::Flush(std::uint32_t timeout_ms, std::string& error) {
    std::unique_lock lock(mutex_, std::defer_lock);
    if (timeout_ms == 0) {
        lock.lock();
    } else if (!LockWithin(lock, std::chrono::milliseconds(timeout_ms))) {
        return false;
    }
    if (HandOver(error)) return true;
    return !error.empty() ? false : Fail(error, "Unable to flush zvEvent CSV file: ", path_);
}

bool CsvFile::Follow(std::string& error) {
    if (!file_.IsOpen()) return OpenAnew(error);
    switch (file_.Look(absolute_path_)) {
        case AppendFile::Place::kHere:
            return true;
        case AppendFile::Place::kEmptied:
            row_end_.clear();
            return WriteHeader(error);
        case AppendFile::Place::kElsewhere:
            file_.Append(row_end_);
            row_end_.clear();
            file_.Close();
            break;
    }
    return OpenAnew(error);
}

bool CsvFile::OpenAnew(std::string& error) {
    if (const char* const fault = CsvFault(path_)) return Fail(error, fault);
    if (!EnsureDirectory(DirectoryPart(absolute_path_))) {
        return Fail(error,
                    "Unable to create directory for zvEvent CSV sink: ", DirectoryPart(path_));
    }
    if (!file_.Open(absolute_path_)) {
        return Fail(error, "Unable to open zvEvent CSV file for append: ", path_);
    }
    // Looked at once it is open, when another who opened it at the same moment has begun it.
    const bool needs_header = FileSize(absolute_path_) == 0;
    if (needs_header && !WriteHeader(error)) {
        file_.Close();
        return false;
    }
    // Only who is alone can tell a row that was left cut from one that is just being written.
    if (!needs_header && file_.IsAlone()) {
        row_end_ = MissingEnd(absolute_path_);
        row_end_.erase(0, file_.Append(row_end_));
    }
    file_.Share();
    return true;
}

// At once, so that other writers of the path find the file begun. A header that came out in part
// only (a full disk) is taken back: a file that is not empty would never get one.
bool CsvFile::WriteHeader(std::string& error) {
    const std::size_t written = file_.Append(kCsvHeader);
    if (written == kCsvHeader.size()) return true;
    if (written != 0) file_.TakeBack(written);
    return Fail(error, "Unable to write zvEvent CSV header: ", path_);
}

// Appends what is pending. After a failure the rows that are not whole in the file stay pending;
// the cut one is taken back, or ended in the file before the next try writes it again. Leaves
// `error` empty when only an append failed.
bool CsvFile::HandOver(std::string& error) {
    if (pending_.empty() && row_end_.empty()) return true;
    if (!Follow(error)) return false;
    if (!row_end_.empty()) row_end_.erase(0, file_.Append(row_end_));
    if (!row_end_.empty()) return false;
    const std::size_t written = file_.Append(pending_);
    if (written == pending_.size()) {
        ClearBuffer(pending_, kKeptRowBytes);
        return true;
    }
    const std::string_view in_file = std::string_view(pending_).substr(0, written);
    const std::size_t whole = WholeRows(in_file);
    const std::string_view cut = in_file.substr(whole);
    if (!cut.empty() && !file_.TakeBack(cut.size())) {
        CsvTail tail(true);
        tail.Read(cut);
        row_end_ = tail.MissingEnd();
    }
    pending_.erase(0, whole);
    return false;
}

}  // namespace zvevent
