#include "core/event_core.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "base/contain.h"
#include "base/lock_within.h"
#include "base/stop_signal.h"
#include "base/texts.h"
#include "core/event_fields.h"
#include "platform/worker_thread.h"

namespace zvevent {

namespace {

thread_local bool on_worker_thread = false;

// At the end of the process an output that is stuck in a write is not waited for longer than this.
constexpr std::uint32_t kLastFlushMs = 1000;

// The worker's event keeps its texts' memory for the next one, within the limit of a buffer.
void ReleaseLargeTexts(zvEventNormalizedEvent& event) {
    ForEachEventText([&](const auto& field) { ClearBuffer(event.*field.event); });
}

void Count(std::atomic<std::uint64_t>& counter, std::uint64_t by = 1) {
    counter.fetch_add(by, std::memory_order_relaxed);
}

void AnnounceStop(std::uint32_t timeout_ms) {
    StopSignal::Instance().Announce(std::chrono::steady_clock::now() +
                                    std::chrono::milliseconds(timeout_ms));
}

}  // namespace

std::uint32_t EventCore::GateOf(const zvEventConfig& config) {
    return config.enabled ? config.minimum_severity : kAdmitNone;
}

std::uint32_t EventCore::Start(Config config) {
    if (config == nullptr || config->queue_size == 0) return ZVEVENT_E_INVALID_ARGUMENT;
    const std::scoped_lock lock(core_mutex_);
    if (gate_.load() != kNotRunning) return ZVEVENT_E_ALREADY_INITIALIZED;
    ResetStatistics();
    alert_state_.Clear();
    alert_state_.Configure(*config);
    queue_.Open(config->queue_size, config->drop_policy);
    StopSignal::Instance().Clear();
    try {
        worker_ = StartWorkerThread([](void* core) { static_cast<EventCore*>(core)->Run(); }, this);
    } catch (...) {
        queue_.Close();
        throw;
    }
    gate_.store(GateOf(*config));
    config_ = std::move(config);
    return ZVEVENT_OK;
}

std::uint32_t EventCore::Stop(std::uint32_t timeout_ms) {
    std::unique_ptr<WorkerThread> worker;
    {
        const std::scoped_lock lock(core_mutex_);
        if (gate_.load() == kNotRunning) return ZVEVENT_E_NOT_INITIALIZED;
        gate_.store(kNotRunning);
        worker = std::move(worker_);
    }
    AnnounceStop(timeout_ms);
    queue_.StopAccepting();
    std::uint32_t result = WaitUntilDrained(timeout_ms);
    if (result == ZVEVENT_OK) {
        result = FlushOutputs(timeout_ms);
    } else {
        queue_.Purge();
        StopSignal::Instance().Raise();
    }
    queue_.RequestStop();
    worker->Join();
    {
        const std::scoped_lock lock(core_mutex_);
        config_.reset();
    }
    queue_.Close();
    alert_state_.Clear();
    return result;
}

bool EventCore::DrainForExit(std::uint32_t timeout_ms) {
    if (!IsRunning()) return true;
    AnnounceStop(timeout_ms);
    const EventQueue::ForExit drain = queue_.DrainForExit(std::chrono::milliseconds(timeout_ms));
    if (drain == EventQueue::ForExit::kPurged) StopSignal::Instance().Raise();
    FlushOutputs(kLastFlushMs);
    std::unique_lock lock(core_mutex_, std::defer_lock);
    return drain != EventQueue::ForExit::kLockHeld && LockWithin(lock, kBriefLock);
}

// A stop goes on whatever an output does.
std::uint32_t EventCore::FlushOutputs(std::uint32_t timeout_ms) {
    std::uint32_t result = ZVEVENT_E_FAILURE;
    Contain([&] { result = dispatcher_.Flush(timeout_ms); });
    return result;
}

std::uint32_t EventCore::Reload(Config config) {
    if (config == nullptr || config->queue_size == 0) return ZVEVENT_E_INVALID_ARGUMENT;
    const std::scoped_lock lock(core_mutex_);
    if (gate_.load() == kNotRunning) return ZVEVENT_E_NOT_INITIALIZED;
    gate_.store(GateOf(*config));
    alert_state_.Configure(*config);
    queue_.Reconfigure(config->queue_size, config->drop_policy);
    config_ = std::move(config);
    return ZVEVENT_OK;
}

std::uint32_t EventCore::WaitUntilDrained(std::uint32_t timeout_ms) {
    return queue_.WaitUntilDrained(timeout_ms) ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

bool EventCore::DropsAtOnce(std::uint32_t severity) {
    const std::uint32_t gate = gate_.load(std::memory_order_relaxed);
    if (gate == kNotRunning) return false;
    if (severity >= gate) return queue_.DropsForLackOfRoom();
    Count(filtered_);
    return true;
}

std::uint32_t EventCore::Enqueue(const EventView& event, bool* lost) {
    const std::uint32_t gate = gate_.load(std::memory_order_relaxed);
    if (gate == kNotRunning) return ZVEVENT_E_NOT_INITIALIZED;
    if (event.severity < gate) {
        Count(filtered_);
        return ZVEVENT_OK;
    }
    try {
        const EventQueue::Pushed pushed = queue_.Push(event);
        if (lost != nullptr) *lost = pushed == EventQueue::Pushed::kDropped;
        return pushed == EventQueue::Pushed::kRefused ? ZVEVENT_E_NOT_INITIALIZED : ZVEVENT_OK;
    } catch (...) {
        Count(lost_on_submit_);
        throw;
    }
}

bool EventCore::IsRunning() const {
    return gate_.load() != kNotRunning;
}

CoreStatistics EventCore::Statistics() const {
    CoreStatistics statistics;
    statistics.dropped.filtered = filtered_.load();
    statistics.dropped.memory = lost_on_submit_.load();
    statistics.received = statistics.dropped.filtered + statistics.dropped.memory;
    queue_.AddTo(statistics);
    statistics.delivery_failures = delivery_failures_.load();
    statistics.fallback_deliveries = fallback_deliveries_.load();
    statistics.active_alerts = alert_state_.ActiveCount();
    return statistics;
}

bool EventCore::OnWorkerThread() {
    return on_worker_thread;
}

void EventCore::ForgetWorkerThread() {
    on_worker_thread = false;
}

void EventCore::Run() {
    // Also when a callback ends the thread by force.
    struct Ending {
        EventQueue& queue;
        ~Ending() { queue.WorkerEnded(); }
    } const ending{queue_};
    on_worker_thread = true;
    zvEventNormalizedEvent event;
    auto outcome = EventQueue::Outcome::kLost;
    for (;;) {
        switch (queue_.Take(event, outcome)) {
            case EventQueue::Taken::kEvent:
                outcome = Process(event);
                ReleaseLargeTexts(event);
                break;
            case EventQueue::Taken::kLost:
                outcome = EventQueue::Outcome::kLost;
                Count(delivery_failures_);
                break;
            case EventQueue::Taken::kIdle:
                Contain([this] { dispatcher_.HandOver(); });
                break;
            case EventQueue::Taken::kStopped:
                return;
        }
    }
}

EventQueue::Outcome EventCore::Process(zvEventNormalizedEvent& event) {
    std::uint64_t failures = 0;
    std::uint64_t fallbacks = 0;
    bool forward = true;
    bool dispatched = false;
    const bool contained = Contain([&] {
        dispatched = alert_state_.Process(&event, &forward) == ZVEVENT_OK && forward;
        if (dispatched) dispatcher_.Dispatch(event, &failures, &fallbacks);
    });
    if (!contained) failures = 1;
    if (failures != 0) Count(delivery_failures_, failures);
    if (fallbacks != 0) Count(fallback_deliveries_, fallbacks);
    if (dispatched) return EventQueue::Outcome::kProcessed;
    // Without an answer from the alert state there was no memory for it.
    return forward ? EventQueue::Outcome::kLost : EventQueue::Outcome::kSuppressed;
}

void EventCore::ResetStatistics() {
    for (auto* counter :
         {&filtered_, &lost_on_submit_, &delivery_failures_, &fallback_deliveries_}) {
        counter->store(0);
    }
}

}  // namespace zvevent
