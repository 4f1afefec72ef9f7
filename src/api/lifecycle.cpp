#include "api/lifecycle.h"

#include <chrono>
#include <memory>
#include <utility>

#include "base/contain.h"
#include "base/last_error.h"
#include "base/lock_within.h"
#include "base/stop_signal.h"
#include "config/config_loader.h"
#include "core/normalize.h"
#include "platform/process.h"
#include "sinks/csv_file.h"
#include "sinks/outbox.h"

namespace zvevent {

namespace {

constexpr std::uint32_t kStopTimeoutMs = 5000;
constexpr const char* kNotInitialized = "zvEvent is not initialized";
constexpr const char* kFlushFailed = "zvEvent core flush timed out";
constexpr std::string_view kReloadFailed = "zvEvent config reload failed";

std::uint32_t Fail(std::uint32_t code, std::string_view text) {
    SetLastErrorText(text);
    return code;
}

std::uint32_t Succeed() {
    ClearLastErrorText();
    return ZVEVENT_OK;
}

std::uint32_t RefuseSecondStart() {
    return Fail(ZVEVENT_E_ALREADY_INITIALIZED, "zvEvent is already initialized");
}

std::uint32_t RefuseStartDuringShutdown() {
    return Fail(ZVEVENT_E_FAILURE,
                "zvEventInitialize cannot be called from a callback during a shutdown");
}

// Loads a configuration that is shared and unchanged from then on.
std::uint32_t Load(const char* path, std::string_view default_error, EventCore::Config& loaded,
                   zvEventEmptyFile empty = zvEventEmptyFile::completed) {
    auto config = std::make_shared<zvEventConfig>();
    std::string error;
    const std::uint32_t result = zvEventLoadConfig(path, config.get(), &error, empty);
    if (result != ZVEVENT_OK) return Fail(result, error.empty() ? default_error : error);
    loaded = std::move(config);
    return ZVEVENT_OK;
}

}  // namespace

// The instance, and what the system calls for it. Locks may be held by other threads when a child
// is forked, so the child begins with new objects.
struct Lifecycle::Home {
    NoDestructor<Lifecycle> lifecycle;

    Home() {
        StopSignal::Instance();
        AroundFork(Outbox::HoldForFork, Outbox::ReleaseAfterFork, Outbox::ForgetAllInChild);
        InChildAfterFork([] {
            TheHome().lifecycle.Renew();
            StopSignal::Instance().RenewInChild();
            CsvFile::ForgetAllInChild();
            EventCore::ForgetWorkerThread();
        });
        ReleaseAtUnload([] { Instance().~Lifecycle(); });
    }
};

Lifecycle::Home& Lifecycle::TheHome() {
    static Home home;
    return home;
}

Lifecycle& Lifecycle::Instance() {
    return *TheHome().lifecycle;
}

namespace {

// Made while the library is loaded: a thread that is making it cannot be missing in a forked child
// then. Without memory for it the first call tries again.
[[maybe_unused]] const bool made_at_load = Contain([] { Lifecycle::Instance(); });

}  // namespace

std::uint32_t Lifecycle::Initialize(const char* config_path) {
    EventCore::Config config;
    const FileStamp seen = StampOf(config_path != nullptr ? config_path : "");
    const std::uint32_t loaded = Load(config_path, "zvEvent config load failed", config);
    if (loaded != ZVEVENT_OK) return loaded;
    if (EventCore::OnWorkerThread()) {
        // Initialized; or a shutdown is waiting for this very thread.
        return initialized_ ? RefuseSecondStart() : RefuseStartDuringShutdown();
    }
    const Transition transition(transition_mutex_);
    const std::scoped_lock lock(lifecycle_mutex_);
    if (initialized_) return RefuseSecondStart();
    if (process_ends_) return Fail(ZVEVENT_E_FAILURE, kProcessEnds);
    return Start(std::move(config), seen);
}

// Under both mutexes.
std::uint32_t Lifecycle::Start(EventCore::Config config, const FileStamp& seen) {
    std::uint32_t result = sinks_.Initialize(*config);
    if (result != ZVEVENT_OK) {
        return Fail(result, sinks_.ErrorText("zvEvent sink initialization failed"));
    }
    try {
        health_.Prepare(*config);
        result = core_.Start(config);
    } catch (...) {
        UndoStart();
        throw;
    }
    if (result != ZVEVENT_OK) {
        UndoStart();
        return Fail(result, "zvEvent core start failed");
    }
    in_force_ = std::move(config);
    initialized_ = true;
    DrainAtExit([] { Instance().DrainForExit(); });
    Contain([&] { health_.Started(*in_force_, seen); });
    return Succeed();
}

void Lifecycle::UndoStart() {
    sinks_.ShutDown();
    health_.EndThread();
}

std::uint32_t Lifecycle::Shutdown() {
    if (EventCore::OnWorkerThread()) {
        return Fail(ZVEVENT_E_FAILURE, "zvEventShutdown cannot be called from a callback");
    }
    if (!initialized_) return Fail(ZVEVENT_E_NOT_INITIALIZED, kNotInitialized);
    const Transition transition(transition_mutex_);
    {
        const std::scoped_lock lock(lifecycle_mutex_);
        if (!initialized_) return Fail(ZVEVENT_E_NOT_INITIALIZED, kNotInitialized);
        initialized_ = false;
        in_force_.reset();
    }
    return Stop();
}

// Under transition_mutex_, no longer initialized.
std::uint32_t Lifecycle::Stop() {
    health_.EndThread();
    const std::uint32_t core_result = core_.Stop(kStopTimeoutMs);
    Contain([this] { health_.Stopped(); });
    std::string core_error;
    Contain([&] { core_error = sinks_.ErrorText("zvEvent core shutdown failed"); });
    const std::uint32_t sinks_result = sinks_.ShutDown();
    if (core_result != ZVEVENT_OK) return Fail(core_result, core_error);
    if (sinks_result != ZVEVENT_OK) return Fail(sinks_result, "zvEvent sink shutdown failed");
    return Succeed();
}

std::uint32_t Lifecycle::Reload(const char* config_path) {
    return Reload(config_path != nullptr ? config_path : "", nullptr);
}

// `unchanged` is for a watched reload, which leaves things be when the file says what is in force.
std::uint32_t Lifecycle::Reload(std::string path, bool* unchanged) {
    auto empty = zvEventEmptyFile::completed;
    {
        const std::scoped_lock lock(lifecycle_mutex_);
        const std::string in_force = in_force_ != nullptr ? in_force_->config_path : "";
        if (path.empty()) path = in_force;
        // Applied, it would switch off what is in force.
        if (path == in_force) empty = zvEventEmptyFile::refused;
    }
    EventCore::Config config;
    const FileStamp seen = StampOf(path);
    std::uint32_t result = Load(path.c_str(), kReloadFailed, config, empty);
    if (result == ZVEVENT_OK) result = Apply(std::move(config), seen, unchanged);
    if (result != ZVEVENT_OK && initialized_) {
        Contain([&] { health_.ReloadFailed(LastErrorText()); });
    }
    return result;
}

std::uint32_t Lifecycle::Apply(EventCore::Config config, const FileStamp& seen, bool* unchanged) {
    const std::scoped_lock lock(lifecycle_mutex_);
    if (!initialized_) return Fail(ZVEVENT_E_NOT_INITIALIZED, kNotInitialized);
    if (unchanged != nullptr && *config == *in_force_) {
        *unchanged = true;
        return Succeed();
    }
    health_.Prepare(*config);
    std::uint32_t result = sinks_.Reload(*config);
    if (result != ZVEVENT_OK) return Fail(result, sinks_.ErrorText(kReloadFailed));
    result = core_.Reload(config);
    if (result != ZVEVENT_OK) return Fail(result, "zvEvent core config reload failed");
    in_force_ = std::move(config);
    Contain([&] { health_.Reloaded(*in_force_, seen); });
    return Succeed();
}

Health::WatchedReload Lifecycle::ReloadIfChanged() {
    bool unchanged = false;
    if (process_ends_) return Health::WatchedReload::kUnchanged;
    if (Reload({}, &unchanged) != ZVEVENT_OK) return Health::WatchedReload::kFailed;
    return unchanged ? Health::WatchedReload::kUnchanged : Health::WatchedReload::kReloaded;
}

std::uint32_t Lifecycle::Flush(std::uint32_t timeout_ms) {
    if (EventCore::OnWorkerThread()) {
        return Fail(ZVEVENT_E_FAILURE, "zvEventFlush cannot be called from a callback");
    }
    if (!initialized_) return Fail(ZVEVENT_E_NOT_INITIALIZED, kNotInitialized);
    if (!core_.IsRunning()) return Fail(ZVEVENT_E_NOT_INITIALIZED, kFlushFailed);
    std::uint32_t result = core_.WaitUntilDrained(timeout_ms);
    if (result == ZVEVENT_OK) result = sinks_.Flush(timeout_ms);
    Contain([this] { health_.WriteStatus(); });
    if (result != ZVEVENT_OK) return Fail(result, kFlushFailed + LeftInOutboxes());
    return Succeed();
}

// What else is to be said of a flush that failed: events that only wait for their receiver.
std::string Lifecycle::LeftInOutboxes() {
    std::uint64_t left = 0;
    for (const OutputStatus& output : sinks_.Status())
        left += output.outbox ? output.outbox->pending : 0;
    return left != 0 ? ": " + std::to_string(left) + " events are left in an outbox, safe on disk"
                     : std::string();
}

std::uint32_t Lifecycle::Submit(const zvEventRecord* record) {
    const std::uint64_t id = NextEventId();  // every call uses one up
    if (!IsAcceptable(record)) return Fail(ZVEVENT_E_INVALID_ARGUMENT, "Invalid ZVEvent");
    if (!initialized_.load(std::memory_order_relaxed)) {
        return Fail(ZVEVENT_E_NOT_INITIALIZED, kNotInitialized);
    }
    if (core_.DropsAtOnce(SeverityOf(*record))) return Succeed();
    const std::uint32_t result = core_.Enqueue(ResolveRecord(*record, id));
    if (result != ZVEVENT_OK) return Fail(result, "zvEvent core submit failed");
    return Succeed();
}

// The process ends without a shutdown so far, or while one is under way on another thread, which
// then gets the time to deliver. What is left stays usable: destructors of the application may
// still submit and shut down. Not so when a lock is held for good, as by a call of this very thread
// that a signal handler has interrupted with exit().
void Lifecycle::DrainForExit() {
    process_ends_ = true;
    if (EventCore::OnWorkerThread()) {  // exit() inside a callback: the queue cannot go on
        Contain([this] { sinks_.Flush(kStopTimeoutMs); });
        return;
    }
    Transition transition(transition_mutex_, std::defer_lock);
    std::unique_lock lifecycle(lifecycle_mutex_, std::defer_lock);
    const bool no_transition = LockWithin(transition, std::chrono::milliseconds(kStopTimeoutMs));
    const bool core_usable = core_.DrainForExit(kStopTimeoutMs);
    if (!no_transition || !core_usable || !LockWithin(lifecycle, kBriefLock)) initialized_ = false;
    if (core_usable && lifecycle.owns_lock()) Contain([this] { health_.ProcessEnds(); });
}

}  // namespace zvevent
