// The file is held exclusively: that keeps other processes out, takes no lock a transaction and
// maps no memory that another program could cut off under the application. Every change is a
// transaction of its own in the write-ahead log, which the process's end cannot undo. What is done
// with is noted as one number, a third of the work of deleting it, and deleted later, many at once.
#include "sinks/outbox_store.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <utility>

#include "base/number_text.h"
#include "platform/append_file.h"
#include "platform/process.h"
#include "sinks/directory_tree.h"
#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

constexpr int kApplicationId = 0x7A76454F;  // "zvEO" in the file's header
constexpr int kVersion = 1;                 // of the tables

// So many events that are done with are deleted together, or fewer once no others are left.
constexpr std::uint32_t kRemovedTogether = 100;

// How long another program that only looks in may delay the opening.
constexpr int kBusyMs = 250;

constexpr const char* kSetUp =
    "PRAGMA mmap_size=0; PRAGMA secure_delete=OFF; PRAGMA journal_mode=WAL; PRAGMA "
    "journal_size_limit=8388608";
constexpr const char* kCreateTables =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS pending(id INTEGER PRIMARY KEY, severity INTEGER NOT NULL,"
    " format INTEGER NOT NULL, put_ns INTEGER NOT NULL, body BLOB NOT NULL);"
    "CREATE INDEX IF NOT EXISTS pending_by_severity ON pending(severity);"
    "CREATE TABLE IF NOT EXISTS refused(id INTEGER PRIMARY KEY, severity INTEGER NOT NULL,"
    " format INTEGER NOT NULL, put_ns INTEGER NOT NULL, body BLOB NOT NULL,"
    " status INTEGER NOT NULL, refused_ns INTEGER NOT NULL);"
    "CREATE TABLE IF NOT EXISTS done(through INTEGER NOT NULL);"
    "INSERT INTO done SELECT 0 WHERE NOT EXISTS (SELECT * FROM done);"
    "DELETE FROM pending WHERE id <= (SELECT through FROM done);"
    "PRAGMA application_id=2054571343; PRAGMA user_version=1;"
    "COMMIT";
static_assert(kApplicationId == 2054571343 && kVersion == 1);

// One prepared statement. Until Reset a query that found a row holds what it found.
class Statement {
public:
    Statement(sqlite3* database, const char* sql) {
        sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool IsGood() const { return statement_ != nullptr; }

    // For its next run; blobs are borrowed until Reset.
    template <typename... Values>
    Statement& With(const Values&... values) {
        Reset();
        int position = 0;
        (Bind(++position, values), ...);
        return *this;
    }

    // SQLITE_ROW, SQLITE_DONE or an error.
    int Step() { return sqlite3_step(statement_); }
    void Reset() { sqlite3_reset(statement_); }

    // For one that gives no rows.
    bool Run() {
        const int result = Step();
        Reset();
        return result == SQLITE_DONE;
    }

    std::int64_t Number(int column) const { return sqlite3_column_int64(statement_, column); }
    void Blob(int column, std::string& bytes) const {
        const auto* const first = static_cast<const char*>(sqlite3_column_blob(statement_, column));
        bytes.assign(first != nullptr ? first : "",
                     static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
    }

private:
    void Bind(int position, std::integral auto number) {
        sqlite3_bind_int64(statement_, position, static_cast<std::int64_t>(number));
    }
    void Bind(int position, const std::string& bytes) {
        sqlite3_bind_blob64(statement_, position, bytes.data(), bytes.size(), SQLITE_STATIC);
    }

    sqlite3_stmt* statement_ = nullptr;
};

// Of a query that gives numbers in one row.
template <std::size_t kColumns>
bool Read(sqlite3* database, const char* sql, std::array<std::int64_t, kColumns>& numbers) {
    Statement query(database, sql);
    if (!query.IsGood() || query.Step() != SQLITE_ROW) return false;
    for (std::size_t i = 0; i < kColumns; ++i)
        numbers[i] = query.Number(static_cast<int>(i));
    return true;
}

// The first five columns of a table.
void Read(const Statement& row, OutboxEvent& event) {
    event.id = row.Number(0);
    event.severity = static_cast<std::uint32_t>(row.Number(1));
    event.format = static_cast<std::uint32_t>(row.Number(2));
    event.put_ns = static_cast<std::uint64_t>(row.Number(3));
    row.Blob(4, event.body);
}

bool Execute(sqlite3* database, const char* sql) {
    return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// The application has told the SQLite that it shares with us to do without locks: two libraries
// cannot use it then.
bool HasLocks() {
    sqlite3_mutex* const mutex = sqlite3_mutex_alloc(SQLITE_MUTEX_FAST);
    sqlite3_mutex_free(mutex);
    return mutex != nullptr;
}

bool IsDamage(int code) {
    return (code & 0xFF) == SQLITE_CORRUPT || (code & 0xFF) == SQLITE_NOTADB;
}

}  // namespace

struct OutboxStore::Statements {
    explicit Statements(sqlite3* database)
        : insert(database, "INSERT INTO pending VALUES(?,?,?,?,?)"),
          first(database,
                "SELECT id, severity, format, put_ns, body FROM pending WHERE id > ?"
                " ORDER BY id LIMIT 1"),
          note_done(database, "UPDATE done SET through = ?"),
          remove(database, "DELETE FROM pending WHERE id <= ?"),
          refuse(database,
                 "INSERT INTO refused SELECT id, severity, format, put_ns, body, ?2, ?3"
                 " FROM pending WHERE id = ?1"),
          lowest(database,
                 "SELECT id, severity, length(body) FROM pending WHERE +id > ?"
                 " ORDER BY severity, id LIMIT 1"),
          discard(database, "DELETE FROM pending WHERE id = ?"),
          oldest_refused(database, "SELECT id, length(body) FROM refused ORDER BY id LIMIT 1"),
          discard_refused(database, "DELETE FROM refused WHERE id = ?") {}

    bool AreGood() const {
        return insert.IsGood() && first.IsGood() && note_done.IsGood() && remove.IsGood() &&
               refuse.IsGood() && lowest.IsGood() && discard.IsGood() && oldest_refused.IsGood() &&
               discard_refused.IsGood();
    }

    Statement insert, first, note_done, remove, refuse, lowest, discard, oldest_refused,
        discard_refused;
};

bool OutboxStore::IsBuiltIn() {
    return true;
}

OutboxStore::OutboxStore() = default;

OutboxStore::~OutboxStore() {
    Close();
}

bool OutboxStore::Open(const std::string& path, std::string& trouble) {
    Close();
    path_ = path;
    trouble.clear();
    EnsureDirectory(DirectoryPart(path));  // if it cannot, the file tells
    return OpenFile(SQLITE_OPEN_CREATE) || Recover(trouble);
}

bool OutboxStore::OpenExisting(const std::string& path, std::string& trouble) {
    Close();
    path_ = path;
    trouble.clear();
    return OpenFile(0) || Fail(trouble);
}

void OutboxStore::Close() {
    WithFileSignalsHeld([this] {
        if (statements_ != nullptr && unremoved_ != 0) RemoveDone();
        statements_.reset();
        sqlite3_close(std::exchange(database_, nullptr));
    });
}

bool OutboxStore::OpenFile(int flags) {
    bool opened = false;
    explanation_.clear();
    WithFileSignalsHeld([&] {
        if (sqlite3_initialize() != SQLITE_OK || !HasLocks()) {
            failure_ = SQLITE_MISUSE;
            explanation_ = "the application uses SQLite without locks";
            return;
        }
        const int result =
            sqlite3_open_v2(path_.c_str(), &database_,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | flags, nullptr);
        sqlite3_busy_timeout(database_, kBusyMs);
        opened = result == SQLITE_OK && Execute(database_, "PRAGMA locking_mode=EXCLUSIVE") &&
                 IsOurs() && Execute(database_, kSetUp) && Execute(database_, kCreateTables);
        if (opened) {
            statements_ = std::make_unique<Statements>(database_);
            opened = statements_->AreGood() && LoadCounts() && ApplySync();
        }
        if (!opened && explanation_.empty()) {
            failure_ = sqlite3_errcode(database_);
            explanation_ = (failure_ & 0xFF) == SQLITE_BUSY ? "another process has it in use"
                                                            : sqlite3_errmsg(database_);
        }
    });
    if (!opened) Close();
    return opened;
}

// A database that someone else keeps something in is left alone.
bool OutboxStore::IsOurs() {
    std::array<std::int64_t, 3> found{};
    if (!Read(database_,
              "SELECT (SELECT application_id FROM pragma_application_id),"
              " (SELECT user_version FROM pragma_user_version),"
              " (SELECT count(*) FROM sqlite_schema)",
              found)) {
        return false;
    }
    const auto [application, version, objects] = found;
    if (application == kApplicationId && version <= kVersion) return true;
    if (application == 0 && version == 0 && objects == 0) return true;
    failure_ = SQLITE_MISUSE;
    explanation_ = application == kApplicationId ? "a newer version has written it"
                                                 : "it is another program's database";
    return false;
}

bool OutboxStore::LoadCounts() {
    std::array<std::int64_t, 6> found{};
    if (!Read(database_,
              "SELECT (SELECT count(*) FROM pending), (SELECT count(*) FROM refused),"
              " (SELECT ifnull(sum(length(body)), 0) FROM pending),"
              " (SELECT ifnull(sum(length(body)), 0) FROM refused),"
              " (SELECT ifnull(min(id), 0) FROM pending),"
              " (SELECT max(through, ifnull((SELECT max(id) FROM pending), 0),"
              "             ifnull((SELECT max(id) FROM refused), 0)) FROM done)",
              found)) {
        return false;
    }
    counts_.pending = static_cast<std::uint64_t>(found[0]);
    counts_.refused = static_cast<std::uint64_t>(found[1]);
    body_bytes_ = static_cast<std::uint64_t>(found[2] + found[3]);
    next_id_ = std::max(next_id_, found[5] + 1);  // ids of a file that was put aside stay behind
    done_id_ = counts_.pending != 0 ? found[4] - 1 : next_id_ - 1;
    in_hand_ = done_id_;
    unremoved_ = 0;
    return true;
}

bool OutboxStore::ApplySync() {
    return Execute(database_, sync_each_ ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
}

bool OutboxStore::SetSyncEach(bool sync_each, std::string& trouble) {
    if (sync_each == sync_each_) return true;
    sync_each_ = sync_each;
    return !IsOpen() || ApplySync() || NoteFailure() || Fail(trouble);
}

bool OutboxStore::Put(const OutboxEvent& event, std::string& trouble) {
    trouble.clear();
    if (event.body.size() > limit_.body_bytes) {
        trouble = "The event is larger than the outbox";
        return false;
    }
    return Insert(event) || (Recover(trouble) && (Insert(event) || Fail(trouble)));
}

bool OutboxStore::Insert(const OutboxEvent& event) {
    bool fits = true;
    while (counts_.pending + counts_.refused >= limit_.events ||
           body_bytes_ > limit_.body_bytes - event.body.size()) {
        if (!(counts_.refused != 0 ? DiscardRefused() : DiscardPending(event.severity, fits))) {
            return NoteFailure();
        }
        ++counts_.discarded;
        if (!fits) return true;
    }
    if (!statements_->insert.With(next_id_, event.severity, event.format, event.put_ns, event.body)
             .Run()) {
        return NoteFailure();
    }
    ++next_id_;
    ++counts_.pending;
    body_bytes_ += event.body.size();
    return true;
}

bool OutboxStore::DiscardRefused() {
    Statement& oldest = statements_->oldest_refused.With();
    const bool found = oldest.Step() == SQLITE_ROW;
    const std::int64_t id = found ? oldest.Number(0) : 0;
    const auto bytes = static_cast<std::uint64_t>(found ? oldest.Number(1) : 0);
    oldest.Reset();
    if (!found || !statements_->discard_refused.With(id).Run()) return false;
    --counts_.refused;
    body_bytes_ -= bytes;
    return true;
}

// Of the pending events and one of `severity` that is to come; `stays` tells whether the latter
// does.
bool OutboxStore::DiscardPending(std::uint32_t severity, bool& stays) {
    Statement& lowest = statements_->lowest.With(in_hand_);
    const int result = lowest.Step();
    stays = result == SQLITE_ROW && lowest.Number(1) <= severity;
    const std::int64_t id = lowest.Number(0);
    const auto bytes = static_cast<std::uint64_t>(lowest.Number(2));
    lowest.Reset();
    if (!stays) return result == SQLITE_ROW || result == SQLITE_DONE;
    if (!statements_->discard.With(id).Run()) return false;
    --counts_.pending;
    body_bytes_ -= bytes;
    return true;
}

bool OutboxStore::TakeFirst(OutboxEvent& event, std::string& trouble) {
    trouble.clear();
    Statement& first = statements_->first.With(done_id_);
    switch (first.Step()) {
        case SQLITE_ROW:
            Read(first, event);
            first.Reset();
            in_hand_ = event.id;
            return true;
        case SQLITE_DONE:
            first.Reset();
            if (unremoved_ == 0 || RemoveDone()) return false;
            [[fallthrough]];
        default:
            NoteFailure();
            Recover(trouble);
            return false;
    }
}

bool OutboxStore::Remove(const OutboxEvent& event, std::string& trouble) {
    trouble.clear();
    if (!CountAsDone(event)) return true;
    const bool noted = statements_->note_done.With(done_id_).Run() &&
                       (++unremoved_ < kRemovedTogether || RemoveDone());
    return noted || NoteFailure() || Recover(trouble);
}

bool OutboxStore::RemoveDone() {
    if (!statements_->remove.With(done_id_).Run()) return false;
    unremoved_ = 0;
    return true;
}

bool OutboxStore::Refuse(const OutboxEvent& event, std::uint32_t status, std::uint64_t now_ns,
                         std::string& trouble) {
    trouble.clear();
    if (!CountAsDone(event)) return true;
    if (Execute(database_, "BEGIN IMMEDIATE") &&
        statements_->refuse.With(event.id, status, now_ns).Run() && RemoveDone() &&
        Execute(database_, "COMMIT")) {
        ++counts_.refused;
        body_bytes_ += event.body.size();
        return true;
    }
    NoteFailure();
    Execute(database_, "ROLLBACK");
    return Recover(trouble);
}

bool OutboxStore::ForEach(const std::function<void(const OutboxEvent&)>& visit,
                          std::string& trouble) {
    for (const char* const table :
         {"SELECT id, severity, format, put_ns, body, 0, 0 FROM pending ORDER BY id",
          "SELECT id, severity, format, put_ns, body, status, refused_ns FROM refused ORDER BY "
          "id"}) {
        Statement events(database_, table);
        int result = SQLITE_ERROR;
        while (events.IsGood() && (result = events.Step()) == SQLITE_ROW) {
            OutboxEvent event;
            Read(events, event);
            event.status = static_cast<std::uint32_t>(events.Number(5));
            event.refused_ns = static_cast<std::uint64_t>(events.Number(6));
            visit(event);
        }
        if (result != SQLITE_DONE) return NoteFailure() || Fail(trouble);
    }
    return true;
}

bool OutboxStore::RetryRefused(std::string& trouble) {
    return Change(
        "INSERT INTO pending SELECT id, severity, format, put_ns, body FROM refused;"
        "DELETE FROM refused; UPDATE done SET through = 0",
        trouble);
}

bool OutboxStore::Drop(bool pending, bool refused, std::string& trouble) {
    return (!pending || Change("DELETE FROM pending", trouble)) &&
           (!refused || Change("DELETE FROM refused", trouble));
}

bool OutboxStore::Change(const char* sql, std::string& trouble) {
    const bool changed = Execute(database_, "BEGIN IMMEDIATE") && Execute(database_, sql) &&
                         Execute(database_, "COMMIT") && LoadCounts();
    if (changed) return true;
    NoteFailure();
    Execute(database_, "ROLLBACK");
    return Fail(trouble);
}

// False when the event is none of this file: it was taken from one that was put aside since.
bool OutboxStore::CountAsDone(const OutboxEvent& event) {
    if (!IsOpen() || event.id <= done_id_) return false;
    done_id_ = event.id;
    --counts_.pending;
    body_bytes_ -= event.body.size();
    return true;
}

bool OutboxStore::NoteFailure() {
    failure_ = sqlite3_errcode(database_);
    explanation_ = sqlite3_errmsg(database_);
    return false;
}

bool OutboxStore::Fail(std::string& trouble) const {
    trouble.assign("The outbox ").append(path_).append(" cannot be used: ").append(explanation_);
    return false;
}

// After a failure: a damaged file is put aside and a new one takes its place. Returns whether one
// did.
bool OutboxStore::Recover(std::string& trouble) {
    if (!IsDamage(failure_)) return Fail(trouble);
    Close();
    std::string aside = path_ + ".damaged-";
    AppendDecimal(aside, zvOSGetTimePTPNano());
    // With its log, which belongs to it alone.
    if (!RenameFile(path_, aside)) return Fail(trouble);
    RenameFile(path_ + "-wal", aside + "-wal");
    if (!OpenFile(SQLITE_OPEN_CREATE)) return Fail(trouble);
    trouble.assign("The damaged outbox was put aside as ").append(aside);
    return true;
}

}  // namespace zvevent
