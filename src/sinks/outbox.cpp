#include "sinks/outbox.h"

#include <algorithm>
#include <map>
#include <random>
#include <utility>

#include "base/contain.h"
#include "base/lock_within.h"
#include "base/no_destructor.h"
#include "base/number_text.h"
#include "platform/append_file.h"
#include "platform/process_id.h"
#include "sinks/outbox_rules.h"

namespace zvevent {

namespace {

// A file that could not be used is tried again after this.
constexpr std::chrono::seconds kBetweenOpenings{10};
// What the power's failure can take, unless every event is synced.
constexpr std::chrono::seconds kBetweenSyncs{1};
// After a failure of the sender itself, such as no memory.
constexpr std::chrono::seconds kAfterTrouble{1};

// The outboxes that have users, by their absolute path, and what a fork holds of them.
struct Outboxes {
    std::mutex mutex;
    // Guarded by mutex:
    std::map<std::string, std::weak_ptr<Outbox>> known;
    std::vector<std::shared_ptr<Outbox>> held;
    std::vector<std::unique_lock<std::mutex>> locks;  // of `held`
    std::unique_lock<std::mutex> lock;                // of `mutex`
    bool all_held = true;
};

// Made when the library is loaded: no fork can come in between.
NoDestructor<Outboxes> outboxes;

// A child whose parent was inside SQLite when it was forked must not enter it.
std::atomic<bool> usable_in_this_process{true};

std::int64_t Ticks(Outbox::Clock::time_point time) {
    return time.time_since_epoch().count();
}

}  // namespace

std::shared_ptr<Outbox> Outbox::Of(const std::string& path) {
    const std::string absolute = AbsolutePath(WithProcessId(path));
    const std::scoped_lock lock(outboxes->mutex);
    std::erase_if(outboxes->known, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<Outbox>& known = outboxes->known[absolute];
    std::shared_ptr<Outbox> outbox = known.lock();
    if (outbox == nullptr) known = outbox = std::make_shared<Outbox>(absolute);
    return outbox;
}

Outbox::Outbox(std::string path)
    : path_(std::move(path)),
      random_(static_cast<std::minstd_rand::result_type>(zvOSGetTimePTPNano()) ^ ProcessId()) {}

void Outbox::HoldForFork() {
    Contain([] {
        Outboxes& all = *outboxes;
        std::unique_lock lock(all.mutex, std::defer_lock);
        all.all_held = LockWithin(lock, kBriefLock);
        if (!all.all_held) return;
        for (const auto& [path, known] : all.known) {
            if (std::shared_ptr<Outbox> outbox = known.lock()) {
                std::unique_lock busy(outbox->mutex_, std::defer_lock);
                if (!LockWithin(busy, kBriefLock)) all.all_held = false;
                all.locks.push_back(std::move(busy));
                all.held.push_back(std::move(outbox));
            }
        }
        all.lock = std::move(lock);
    });
}

void Outbox::ReleaseAfterFork() {
    std::vector<std::shared_ptr<Outbox>> held;  // one may be the last of its outbox
    std::unique_lock<std::mutex> lock;
    outboxes->locks.clear();
    held.swap(outboxes->held);
    lock.swap(outboxes->lock);
    if (lock.owns_lock()) lock.unlock();
}

void Outbox::ForgetAllInChild() {
    if (!outboxes->all_held) usable_in_this_process = false;
    outboxes.Renew();
}

bool Outbox::Use(const void* user, const std::string& output,
                 std::shared_ptr<const OutboxDelivery> delivery, std::string& trouble) {
    trouble.clear();
    const std::scoped_lock control(control_mutex_);
    const auto other = std::find_if(users_.begin(), users_.end(),
                                    [&](const User& known) { return known.output != output; });
    if (other != users_.end()) {
        trouble = "The outbox " + path_ + " is that of the output " + other->output;
        return false;
    }
    {
        const std::scoped_lock lock(mutex_);
        store_.SetLimit(delivery->limit);
        store_.SetSyncEach(delivery->sync_each, trouble);
        delivery_ = std::move(delivery);
        failed_in_a_row_ = 0;
        next_try_ = next_open_ = {};
        OpenIfDue(trouble);
        work_.notify_all();
    }
    users_.reserve(users_.size() + 1);
    if (thread_ == nullptr) {
        stop_ = false;
        thread_ = StartWorkerThread([](void* box) { static_cast<Outbox*>(box)->Run(); }, this);
    }
    users_.push_back({user, output});
    return true;
}

void Outbox::Leave(const void* user) {
    const std::scoped_lock control(control_mutex_);
    std::erase_if(users_, [user](const User& known) { return known.object == user; });
    if (users_.empty()) EndSender();
}

// Under control_mutex_, or by the last one who has the outbox.
void Outbox::EndSender() {
    if (thread_ == nullptr) return;
    {
        const std::scoped_lock lock(mutex_);
        stop_ = true;
        work_.notify_all();
        settled_.notify_all();
    }
    thread_->Join();
    thread_.reset();
}

bool Outbox::Put(const OutboxEvent& event, std::string& trouble) {
    const std::scoped_lock lock(mutex_);
    if (!OpenIfDue(trouble)) return false;
    const bool put = store_.Put(event, trouble);
    PublishCounts();
    if (!put) return false;
    if (oldest_ns_ == 0) oldest_ns_ = event.put_ns;
    if (unsynced_since_ == 0 && !delivery_->sync_each) unsynced_since_ = Ticks(Clock::now());
    if (sender_idle_) work_.notify_all();
    return true;
}

// Under mutex_. Whether the file is open.
bool Outbox::OpenIfDue(std::string& trouble) {
    if (store_.IsOpen()) return true;
    const auto now = Clock::now();
    if (now < next_open_) {
        trouble.clear();  // told before
        return false;
    }
    if (!usable_in_this_process) {
        trouble =
            "An outbox cannot be used by this process, which was forked while its parent "
            "used one";
        return false;
    }
    next_open_ = now + kBetweenOpenings;
    const bool opened = store_.Open(path_, trouble);
    PublishCounts();
    return opened;
}

bool Outbox::Flush(std::optional<Clock::time_point> end) {
    std::unique_lock lock(mutex_, std::defer_lock);
    if (!LockWithin(lock, kBriefLock)) return false;
    const std::int64_t last = store_.LastId();
    if (!receiver_asked_) next_try_ = {};
    work_.notify_all();
    const auto settled = [&] {
        flush_target_ = std::min(flush_target_, last);
        return stop_ || !store_.IsOpen() || store_.DoneId() >= last;
    };
    if (end) {
        settled_.wait_until(lock, *end, settled);
    } else {
        settled_.wait(lock, settled);
    }
    return !store_.IsOpen() || store_.DoneId() >= last;
}

OutboxStatus Outbox::Status() const {
    return {
        .pending = pending_, .oldest_ns = oldest_ns_, .refused = refused_, .discarded = discarded_};
}

SinkFailure Outbox::LastFailure() const {
    const std::scoped_lock lock(failure_mutex_);
    return failure_;
}

void Outbox::Run() {
    std::unique_lock lock(mutex_);
    while (!stop_) {
        if (Contain([&] { Round(lock); })) continue;
        if (!lock.owns_lock()) lock.lock();
        next_try_ = Clock::now() + kAfterTrouble;
    }
}

// One step of the sender: a sync, a wait, or an event.
void Outbox::Round(std::unique_lock<std::mutex>& lock) {
    if (SyncIsDue()) return Sync(lock);
    if (Clock::now() < next_try_) return Sleep(lock, next_try_);
    receiver_asked_ = false;
    std::string trouble;
    if (!store_.IsOpen() || !store_.TakeFirst(event_, trouble)) {
        oldest_ns_ = 0;
        PublishCounts();
        if (trouble.empty()) return Sleep(lock, {});
        NoteFailure(std::move(trouble));
        next_try_ = Clock::now() + kBetweenOpenings;
        return;
    }
    oldest_ns_ = event_.put_ns;
    const auto delivery = delivery_;
    lock.unlock();
    const zvOSHTTPAnswer answer = delivery->send(
        event_, [](void* box) -> std::uint32_t { return static_cast<Outbox*>(box)->Proceed(); },
        this);
    lock.lock();
    Settle(*delivery, answer);
}

// Under mutex_: what became of event_.
void Outbox::Settle(const OutboxDelivery& delivery, const zvOSHTTPAnswer& answer) {
    std::string trouble;
    std::string failure = delivery.failure_text;
    if (answer.status != 0) AppendDecimal(failure.append(" answered "), answer.status);
    switch (JudgeStatus(answer.status)) {
        case OutboxVerdict::kDelivered:
            failure.clear();
            failed_in_a_row_ = 0;
            store_.Remove(event_, trouble);
            break;
        case OutboxVerdict::kRefused:
            failed_in_a_row_ = 0;
            store_.Refuse(event_, answer.status, zvOSGetTimePTPNano(), trouble);
            break;
        case OutboxVerdict::kAgain:
            if (stop_) return;                        // it may have been cut short
            if (delivery_.get() != &delivery) break;  // what is in force now is tried at once
            next_try_ = Clock::now() + PauseAfter(++failed_in_a_row_, delivery.backoff_ms,
                                                  answer.retry_after_s, jitter_(random_));
            receiver_asked_ = answer.retry_after_s != 0;
            break;
    }
    if (!failure.empty()) NoteFailure(std::move(failure));
    if (!trouble.empty()) NoteFailure(std::move(trouble));
    PublishCounts();
    if (store_.DoneId() < flush_target_) return;
    flush_target_ = kNoFlush;  // who still waits says so again
    settled_.notify_all();
}

// Under mutex_: until there is work, or `until`, or a sync is due.
void Outbox::Sleep(std::unique_lock<std::mutex>& lock, std::optional<Clock::time_point> until) {
    sender_idle_ = !until;
    const Clock::rep unsynced = unsynced_since_;
    if (unsynced != 0) {
        const Clock::time_point sync(Clock::duration(unsynced) + kBetweenSyncs);
        until = until ? std::min(*until, sync) : sync;
    }
    if (until) {
        work_.wait_until(lock, *until);
    } else {
        work_.wait(lock);
    }
    sender_idle_ = false;
}

bool Outbox::SyncIsDue() const {
    const Clock::rep since = unsynced_since_;
    return since != 0 && Ticks(Clock::now()) - since >= Clock::duration(kBetweenSyncs).count();
}

// Under mutex_, which is given up for it: the log stays where it is as long as the file is open,
// and it is no matter when it is not.
void Outbox::Sync(std::unique_lock<std::mutex>& lock) {
    unsynced_since_ = 0;
    lock.unlock();
    SyncFile(path_ + "-wal");
    lock.lock();
}

// While an event is sent.
bool Outbox::Proceed() {
    if (SyncIsDue()) {
        Contain([this] {
            std::unique_lock lock(mutex_, std::try_to_lock);
            if (lock.owns_lock()) Sync(lock);
        });
    }
    return !stop_;
}

// Under mutex_.
void Outbox::PublishCounts() {
    pending_ = store_.counts().pending;
    refused_ = store_.counts().refused;
    discarded_ = store_.counts().discarded;
}

void Outbox::NoteFailure(std::string text) {
    const std::uint64_t now = zvOSGetTimePTPNano();
    const std::scoped_lock lock(failure_mutex_);
    failure_ = {std::move(text), now};
}

}  // namespace zvevent
