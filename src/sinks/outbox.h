// An outbox: what its output accepted stays in a file until the receiver has it. The worker puts
// events in; a thread of the outbox's own sends them in order, one at a time, and waits while the
// receiver is away.
//
// All outputs of a path share one of these, so that a reload hands the outbox over with its sender
// and without a gap. Any thread. Locks: control_mutex_ (held while the thread starts and ends)
// before mutex_ (held while the file is read or changed, never while an event is sent).
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "format/status_document.h"
#include "platform/worker_thread.h"
#include "sinks/outbox_store.h"
#include "sinks/sink.h"
#include "zvutil/zvutil.h"

namespace zvevent {

// How an output's events are to be sent and kept; values, as the output may be gone meanwhile.
struct OutboxDelivery {
    OutboxLimit limit;
    bool sync_each = false;
    std::uint32_t backoff_ms = 0;
    std::string failure_text;  // what a failed try is told with
    // Sends one event and returns what was answered; asks `proceed` at least once a second whether
    // to go on.
    using Proceed = std::uint32_t (*)(void* context);
    std::function<zvOSHTTPAnswer(const OutboxEvent& event, Proceed proceed, void* context)> send;
};

class Outbox {
public:
    using Clock = std::chrono::steady_clock;

    // The outbox of that path, not yet opened if it is new here. A relative path is taken from the
    // working directory of this moment on; "{pid}" stands for the number of this process.
    static std::shared_ptr<Outbox> Of(const std::string& path);

    // Around a fork: no thread of ours is inside SQLite at that moment, whose locks a child could
    // not free otherwise. The child leaves the parent's files alone.
    static void HoldForFork();
    static void ReleaseAfterFork();
    static void ForgetAllInChild();

    explicit Outbox(std::string path);
    ~Outbox() { EndSender(); }
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    // From now on events are sent as `delivery` says, for `user`, an object of the output of that
    // name. False when the outbox is another output's. `trouble` tells why, or why the file cannot
    // be used so far, which later calls of Put try again. Throws std::system_error when the system
    // gives no thread.
    bool Use(const void* user, const std::string& output,
             std::shared_ptr<const OutboxDelivery> delivery, std::string& trouble);

    // `user` needs it no longer. With the last one sending ends, waiting up to a second or so for
    // the event under way; what is left stays in the file.
    void Leave(const void* user);

    // Accepts an event. False, with the reason in `trouble`, when the file takes none.
    bool Put(const OutboxEvent& event, std::string& trouble);

    // Waits until what is in now has gone out, until `end` (none: no limit). Has the sender try at
    // once if it only waits between tries. Returns whether it has gone.
    bool Flush(std::optional<Clock::time_point> end);

    // These wait for nobody.
    OutboxStatus Status() const;
    SinkFailure LastFailure() const;

private:
    void EndSender();
    void Run();
    void Round(std::unique_lock<std::mutex>& lock);
    void Sleep(std::unique_lock<std::mutex>& lock, std::optional<Clock::time_point> until);
    void Settle(const OutboxDelivery& delivery, const zvOSHTTPAnswer& answer);
    bool OpenIfDue(std::string& trouble);
    bool SyncIsDue() const;
    void Sync(std::unique_lock<std::mutex>& lock);
    bool Proceed();
    void PublishCounts();
    void NoteFailure(std::string text);

    const std::string path_;  // absolute

    std::mutex control_mutex_;
    // Guarded by control_mutex_:
    struct User {
        const void* object;
        std::string output;
    };
    std::vector<User> users_;
    std::unique_ptr<WorkerThread> thread_;

    std::mutex mutex_;
    // Guarded by mutex_:
    OutboxStore store_;
    std::shared_ptr<const OutboxDelivery> delivery_;
    Clock::time_point next_open_{};      // not before, after one that failed
    Clock::time_point next_try_{};       // likewise, of sending
    bool receiver_asked_ = false;        // for next_try_
    std::uint32_t failed_in_a_row_ = 0;  // tries
    bool sender_idle_ = false;           // waits for an event
    std::condition_variable work_;       // for the sender
    static constexpr std::int64_t kNoFlush = INT64_MAX;
    std::int64_t flush_target_ = kNoFlush;  // the first event that someone flushes for
    std::condition_variable settled_;       // for who flushes

    // The sender's:
    OutboxEvent event_;
    std::minstd_rand random_;
    std::uniform_real_distribution<double> jitter_{0.0, 1.0};

    std::atomic<bool> stop_{false};
    std::atomic<Clock::rep> unsynced_since_{0};  // 0: all is on the disk

    std::atomic<std::uint64_t> pending_{0};
    std::atomic<std::uint64_t> refused_{0};
    std::atomic<std::uint64_t> discarded_{0};
    std::atomic<std::uint64_t> oldest_ns_{0};

    mutable std::mutex failure_mutex_;
    SinkFailure failure_;  // guarded by failure_mutex_
};

}  // namespace zvevent
