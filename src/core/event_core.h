// The core: takes events from the submitting threads, and has one worker thread pass them through
// the alert state to the dispatcher. Started, reloaded and stopped by the lifecycle, which never
// does two of these at once; everything else may be called from any thread at any time.
//
// Locks: core_mutex_ before the queue's and the alert state's.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "config/config.h"
#include "core/alert_state.h"
#include "core/core_statistics.h"
#include "core/dispatcher.h"
#include "core/event_queue.h"
#include "platform/worker_thread.h"

namespace zvevent {

class EventCore {
public:
    using Config = std::shared_ptr<const zvEventConfig>;

    explicit EventCore(Dispatcher& dispatcher) : dispatcher_(dispatcher) {}

    // ZVEVENT_E_INVALID_ARGUMENT without a configuration or with a queue_size of 0;
    // ZVEVENT_E_ALREADY_INITIALIZED when running. Throws std::system_error when the system gives
    // no thread, and then is not running.
    std::uint32_t Start(Config config);

    // Refuses events from now on, waits for the queue to drain (timeout_ms as in WaitUntilDrained),
    // flushes the outputs and joins the worker, which finishes the event in hand however long that
    // takes. ZVEVENT_E_FAILURE when events had to be discarded or an output could not be flushed.
    std::uint32_t Stop(std::uint32_t timeout_ms);

    // For a process that ends: delivers what is queued, within timeout_ms, or else discards it, and
    // flushes the outputs. Stays running. Waits for no lock without a limit; returns false when one
    // could not be had, so that nothing of the core may be called any more.
    bool DrainForExit(std::uint32_t timeout_ms);

    // Applies new settings; active alerts and what still fits the queue stay.
    std::uint32_t Reload(Config config);

    // ZVEVENT_OK once nothing is queued or in hand; ZVEVENT_E_FAILURE after timeout_ms (0: no
    // limit).
    std::uint32_t WaitUntilDrained(std::uint32_t timeout_ms);

    // Whether an event of this severity would only be counted as filtered or, by a full queue, as
    // dropped; then that is done. Costs next to nothing, so it is asked before the event is made.
    bool DropsAtOnce(std::uint32_t severity);

    // Queues an event, or counts it as filtered or dropped: both are ZVEVENT_OK. *lost tells
    // whether it was dropped because the queue is full. ZVEVENT_E_NOT_INITIALIZED when not running
    // or stopping.
    std::uint32_t Enqueue(const EventView& event, bool* lost = nullptr);

    bool IsRunning() const;

    // A consistent snapshot. Takes the queue's locks and the alert state's, one after the other.
    CoreStatistics Statistics() const;

    // Whether the calling thread is a worker of the library.
    static bool OnWorkerThread();

    // In a child that was forked on a worker: its thread is an ordinary one.
    static void ForgetWorkerThread();

private:
    std::uint32_t FlushOutputs(std::uint32_t timeout_ms);
    void Run();
    EventQueue::Outcome Process(zvEventNormalizedEvent& event);
    void ResetStatistics();

    Dispatcher& dispatcher_;

    // What Enqueue must know before it takes a lock, in one word so that it is one consistent
    // answer: kNotRunning, or the lowest severity that is admitted (kAdmitNone: none is).
    static constexpr std::uint32_t kNotRunning = 0xFFFFFFFF;
    static constexpr std::uint32_t kAdmitNone = 0x100;
    static std::uint32_t GateOf(const zvEventConfig& config);
    std::atomic<std::uint32_t> gate_{kNotRunning};

    std::mutex core_mutex_;
    // Guarded by core_mutex_ (gate_ is written under it too):
    Config config_;
    std::unique_ptr<WorkerThread> worker_;

    EventQueue queue_;
    AlertState alert_state_;

    // Counted by the threads that see them and without a lock; the queue counts the rest under its
    // own. The first is every submitting thread's, hence a cache line of its own.
    alignas(64) std::atomic<std::uint64_t> filtered_{0};
    alignas(64) std::atomic<std::uint64_t> lost_on_submit_{0};
    std::atomic<std::uint64_t> delivery_failures_{0};
    std::atomic<std::uint64_t> fallback_deliveries_{0};
};

}  // namespace zvevent
