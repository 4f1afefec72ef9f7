#include "health/health.h"

#include <chrono>
#include <utility>

#include "base/contain.h"
#include "base/lock_within.h"
#include "core/normalize.h"
#include "platform/host_name.h"
#include "platform/process_id.h"
#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{1000};
// A file that was changed is looked at again after this, to see whether it is still being written.
constexpr std::chrono::milliseconds kWhileChanging{250};
// A changed file that stays empty or not well-formed for so many looks is told of.
constexpr std::uint32_t kPatientLooks = 5;

// A timed wait may end so much before the time that it was given.
constexpr std::uint64_t kTimerSlackMs = 50;

constexpr std::chrono::milliseconds kLockAtExit{1000};

std::uint64_t MonotonicMs() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

// Equal but for the time of the writing.
bool SameStatus(const LibraryStatus& a, const LibraryStatus& b) {
    LibraryStatus copy = a;
    copy.written_ns = b.written_ns;
    return copy == b;
}

}  // namespace

void Health::Prepare(const zvEventConfig& config) {
    const bool wanted =
        !config.status_file.empty() || config.report_severity || config.watch_config == true;
    const std::scoped_lock lock(mutex_);
    if (!wanted || thread_ != nullptr) return;
    end_requested_ = false;
    thread_ = StartWorkerThread([](void* health) { static_cast<Health*>(health)->Run(); }, this);
}

void Health::Started(const zvEventConfig& config, const FileStamp& seen) {
    {
        const std::scoped_lock lock(mutex_);
        initialized_ = true;
        started_ns_ = zvOSGetTimePTPNano();
        config_ = ConfigStatus();
        delivered_.clear();
        PutInForce(config, seen);
    }
    WriteStatus();
}

void Health::Reloaded(const zvEventConfig& config, const FileStamp& seen) {
    {
        const std::scoped_lock lock(mutex_);
        ++config_.reloads;
        config_.last_reload_ns = zvOSGetTimePTPNano();
        reports_.WatchedReload({});
        PutInForce(config, seen);
    }
    WriteStatus();
}

void Health::ReloadFailed(std::string_view error) {
    {
        const std::scoped_lock lock(mutex_);
        config_.last_error = error;
    }
    WriteStatus();
}

// Under mutex_.
void Health::PutInForce(const zvEventConfig& config, const FileStamp& seen) {
    enabled_ = config.enabled;
    config_.path = config.config_path;
    config_.last_error.clear();
    config_.unknown_keys = config.unknown_keys;
    status_file_.SetPath(config.status_file);
    report_severity_ = config.report_severity;
    reports_admitted_ =
        report_severity_ && config.enabled && *report_severity_ >= config.minimum_severity;
    config_is_changing_ = false;
    unreadable_looks_ = 0;
    watching_ = config.watch_config == true;
    watch_.Follow(config.config_path, seen);
    written_ = LibraryStatus();  // the file may be another one now
    wake_.notify_all();
}

void Health::WriteStatus() {
    const std::scoped_lock lock(mutex_);
    if (initialized_ && status_file_.IsOn()) WriteIfNews(Snapshot());
}

void Health::EndThread() {
    std::unique_ptr<WorkerThread> thread;
    {
        const std::scoped_lock lock(mutex_);
        if (thread_ == nullptr) return;
        end_requested_ = true;
        thread = std::move(thread_);
        wake_.notify_all();
    }
    thread->Join();
}

void Health::Stopped() {
    const std::scoped_lock lock(mutex_);
    initialized_ = false;
    if (status_file_.IsOn()) Contain([this] { WriteIfNews(Snapshot()); });
    status_file_.SetPath({});
    report_severity_.reset();
    reports_admitted_ = false;
    reports_.Clear();
    watching_ = false;
    config_is_changing_ = false;
    unreadable_looks_ = 0;
}

void Health::ProcessEnds() {
    std::unique_lock lock(mutex_, std::defer_lock);
    if (!LockWithin(lock, kLockAtExit) || !status_file_.IsOn()) return;
    Contain([this] { WriteIfNews(Snapshot()); });
}

void Health::Run() {
    std::unique_lock lock(mutex_);
    while (!end_requested_) {
        if (!IsOn()) {
            wake_.wait(lock, [this] { return end_requested_ || IsOn(); });
            continue;
        }
        const auto pause = config_is_changing_ ? kWhileChanging : kBetweenLooks;
        if (wake_.wait_for(lock, pause, [this] { return end_requested_; })) return;
        if (watching_) Contain([&] { LookAtConfig(lock); });
        if (!end_requested_) Contain([this] { LookAtLibrary(); });
    }
}

// The lock is given up while the configuration is read.
void Health::LookAtConfig(std::unique_lock<std::mutex>& lock) {
    const ConfigWatch::Look look = watch_.LookAtFile();
    config_is_changing_ = look == ConfigWatch::Look::kChanging;
    if (look == ConfigWatch::Look::kUnchanged && unreadable_looks_ >= kPatientLooks) {
        WatchedReloadDone(WatchedReload::kUnchanged);  // it is what it was again
    }
    if (look != ConfigWatch::Look::kChanged) {
        unreadable_looks_ = 0;
        return;
    }
    const std::string path = watch_.path();
    lock.unlock();
    std::optional<WatchedReload> outcome;
    const bool contained = Contain([&] {
        if (HoldsConfiguration(path)) outcome = reload_();
    });
    if (!contained) outcome = WatchedReload::kFailed;
    lock.lock();
    if (outcome) {
        unreadable_looks_ = 0;
        WatchedReloadDone(*outcome);
    } else if (++unreadable_looks_ == kPatientLooks) {
        config_.last_error = "The changed configuration file holds no configuration";
        reports_.WatchedReload(config_.last_error);
    }
}

// Under mutex_.
void Health::WatchedReloadDone(WatchedReload outcome) {
    if (outcome != WatchedReload::kReloaded) watch_.Accept();
    if (outcome == WatchedReload::kUnchanged) config_.last_error.clear();
    if (outcome == WatchedReload::kFailed && config_.last_error.empty()) {
        config_.last_error = "zvEvent config reload failed";  // without memory for the reason
    }
    reports_.WatchedReload(config_.last_error);
}

// Under mutex_. Once a second, also while a changing configuration is looked at more often.
void Health::LookAtLibrary() {
    const std::uint64_t now_ms = MonotonicMs();
    if (now_ms < next_look_ms_) return;
    next_look_ms_ = now_ms + static_cast<std::uint64_t>(kBetweenLooks.count()) - kTimerSlackMs;
    const LibraryStatus status = Snapshot();
    if (status_file_.IsOn()) WriteIfNews(status);
    if (reports_admitted_) {
        reports_.LookAt(status, now_ms, [this](const Report& r) { return Submit(r); });
    }
}

// Under mutex_.
LibraryStatus Health::Snapshot() {
    LibraryStatus status{.pid = ProcessId(),
                         .host = HostName(),
                         .started_ns = started_ns_,
                         .written_ns = zvOSGetTimePTPNano(),
                         .initialized = initialized_,
                         .enabled = enabled_,
                         .config = config_,
                         .core = core_.Statistics(),
                         .outputs = sinks_.Status()};
    for (OutputStatus& output : status.outputs) {
        Delivered& last = delivered_[output.output];
        if (output.delivered > last.count) last.seen_ns = status.written_ns;
        last.count = output.delivered;
        output.last_delivered_ns = last.seen_ns;
    }
    return status;
}

// Under mutex_. What could not be written is tried again at the next look.
void Health::WriteIfNews(const LibraryStatus& status) {
    if (SameStatus(status, written_)) return;
    if (status_file_.Write(status)) written_ = status;
}

// A report goes the way of every event.
bool Health::Submit(const Report& report) {
    EventView event;
    event.event_id = NextEventId();
    event.utc_ns = event.ptp_ns = zvOSGetTimePTPNano();
    event.severity = *report_severity_;
    event.event_type = report.event_type;
    event.source_id = report.source_id;
    event.source_name = kReportSource;
    event.dedupe_key = report.subject;
    event.action = report.action;
    event.message = report.message;
    event.value = static_cast<double>(report.lost);
    event.details_json = report.details_json;
    bool lost = false;
    core_.Enqueue(event, &lost);
    return !lost;
}

}  // namespace zvevent
