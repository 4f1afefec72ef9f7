// The file that an outbox keeps its events in: an SQLite database of three tables: "pending" with
// what is still to be sent, in the order of its ids, "refused" with what a receiver will never
// take, and "done" with the id up to which pending events are done with. What was put in survives
// the end of the process, whatever ends it.
//
// One thread at a time: the owner locks. Functions wait for the disk.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "config/outbox_limit.h"

struct sqlite3;

namespace zvevent {

struct OutboxEvent {
    std::int64_t id = 0;
    std::uint32_t severity = 0;
    std::uint32_t format = 0;  // of the body, a number of the owner's
    std::uint64_t put_ns = 0;  // nanoseconds since 1970 UTC
    std::string body;
    // Of a refused one, as ForEach gives it:
    std::uint32_t status = 0;      // the receiver's answer; 0: the event is pending
    std::uint64_t refused_ns = 0;  // likewise since 1970
};

struct OutboxCounts {
    std::uint64_t pending = 0;
    std::uint64_t refused = 0;
    std::uint64_t discarded = 0;  // for want of room, by this object
};

class OutboxStore {
public:
    // Whether this build has it; without it nothing opens.
    static bool IsBuiltIn();

    OutboxStore();
    ~OutboxStore();  // closes
    OutboxStore(const OutboxStore&) = delete;
    OutboxStore& operator=(const OutboxStore&) = delete;

    // All that return bool return whether they succeeded. `trouble` then gets the reason why not;
    // after a success it can tell that a damaged file was put aside under another name.

    // Opens the file, creating it and the directories above it. No other process can open it
    // meanwhile.
    bool Open(const std::string& path, std::string& trouble);
    // The same for a file that is there, and is left as it is when it is damaged.
    bool OpenExisting(const std::string& path, std::string& trouble);
    bool IsOpen() const { return database_ != nullptr; }
    void Close();

    // Whether a power failure may take no event at all, rather than those that no sync has reached.
    bool SetSyncEach(bool sync_each, std::string& trouble);
    // For what is kept, refused events included.
    void SetLimit(const OutboxLimit& limit) { limit_ = limit; }

    // Adds an event and gives it its id, above all earlier ones. Room is made by discarding refused
    // events, then the oldest of the lowest severity; that may be the new one.
    bool Put(const OutboxEvent& event, std::string& trouble);

    // The first event that is not done with; false without a trouble when there is none. It is not
    // discarded until it is done with.
    bool TakeFirst(OutboxEvent& event, std::string& trouble);

    // Done with the event that was taken. TakeFirst does not give it again, even when the disk
    // takes no change now; the next change makes up for it.
    bool Remove(const OutboxEvent& event, std::string& trouble);
    bool Refuse(const OutboxEvent& event, std::uint32_t status, std::uint64_t now_ns,
                std::string& trouble);

    // For whoever looks in from outside, while no event is taken.

    // Pending ones first, each table in the order of its ids.
    bool ForEach(const std::function<void(const OutboxEvent&)>& visit, std::string& trouble);
    // Makes the refused events pending again, in their old places.
    bool RetryRefused(std::string& trouble);
    bool Drop(bool pending, bool refused, std::string& trouble);

    const OutboxCounts& counts() const { return counts_; }
    std::int64_t LastId() const { return next_id_ - 1; }  // that was given
    std::int64_t DoneId() const { return done_id_; }      // all up to this one are done with

private:
    struct Statements;

    bool OpenFile(int flags);
    bool IsOurs();
    bool LoadCounts();
    bool ApplySync();
    bool Insert(const OutboxEvent& event);
    bool DiscardRefused();
    bool DiscardPending(std::uint32_t severity, bool& stays);
    bool Change(const char* sql, std::string& trouble);
    bool RemoveDone();
    bool CountAsDone(const OutboxEvent& event);
    // These return false, for the end of a step that failed.
    bool NoteFailure();
    bool Fail(std::string& trouble) const;

    bool Recover(std::string& trouble);

    std::string path_;
    sqlite3* database_ = nullptr;
    std::unique_ptr<Statements> statements_;  // of database_
    bool sync_each_ = false;
    int failure_ = 0;          // SQLite's code of the last failed step
    std::string explanation_;  // its words for it
    OutboxLimit limit_;
    OutboxCounts counts_;
    std::uint64_t body_bytes_ = 0;  // of both tables
    std::int64_t next_id_ = 1;
    std::int64_t done_id_ = 0;
    std::int64_t in_hand_ = 0;
    std::uint32_t unremoved_ = 0;  // events done with that are still in the file
};

}  // namespace zvevent
