// The library's look at itself, for the three settings that ask for it: the status file, the alerts
// about outputs, queue and configuration, and the watch on the configuration file. A thread of its
// own looks once a second, so that it can tell of a worker that hangs; without any of the settings
// there is no thread, and a thread that a reload left without work sleeps without a timer.
//
// Any thread. mutex_ comes after the lifecycle's locks and before all others; it is held while the
// status file is written, and not while a configuration is reloaded.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "core/event_core.h"
#include "health/config_watch.h"
#include "health/reports.h"
#include "health/status_file.h"
#include "platform/worker_thread.h"
#include "sinks/sink_set.h"

namespace zvevent {

class Health {
public:
    enum class WatchedReload { kReloaded, kUnchanged, kFailed };

    // Reloads the configuration in force if what its file says is another thing by now; calls
    // Reloaded or ReloadFailed on the way.
    using ReloadIfChanged = WatchedReload (*)();

    Health(EventCore& core, SinkSet& sinks, ReloadIfChanged reload)
        : core_(core), sinks_(sinks), reload_(reload) {}

    // Starts the thread if the configuration asks for one and there is none. Throws
    // std::system_error when the system gives none: to be called before the configuration comes
    // into force.
    void Prepare(const zvEventConfig& config);

    // The library was initialized, or reloaded, with this configuration. `seen` is the file's stamp
    // from before it was read.
    void Started(const zvEventConfig& config, const FileStamp& seen);
    void Reloaded(const zvEventConfig& config, const FileStamp& seen);

    // A reload failed; the former configuration stays in force.
    void ReloadFailed(std::string_view error);

    // Brings the status file up to date, if there is one.
    void WriteStatus();

    // Ends the thread, waiting for a reload that it may be in. Not on that thread.
    void EndThread();

    // The library is no longer initialized; the outputs are still there. Forgets all.
    void Stopped();

    // The last word of a process that ends: waits for no lock without a limit, and not for the
    // thread.
    void ProcessEnds();

private:
    bool IsOn() const { return status_file_.IsOn() || report_severity_ || watching_; }
    void PutInForce(const zvEventConfig& config, const FileStamp& seen);
    void Run();
    void LookAtConfig(std::unique_lock<std::mutex>& lock);
    void WatchedReloadDone(WatchedReload outcome);
    void LookAtLibrary();
    void WriteIfNews(const LibraryStatus& status);
    LibraryStatus Snapshot();
    bool Submit(const Report& report);

    EventCore& core_;
    SinkSet& sinks_;
    const ReloadIfChanged reload_;

    std::mutex mutex_;
    // Guarded by mutex_:
    std::condition_variable wake_;
    std::unique_ptr<WorkerThread> thread_;  // null: none runs
    bool end_requested_ = false;
    bool initialized_ = false;
    bool enabled_ = true;
    std::uint64_t started_ns_ = 0;
    ConfigStatus config_;
    StatusFile status_file_;
    LibraryStatus written_;  // as the status file has it
    // When a look found that an output had delivered more. The worker, which knows it to the
    // nanosecond, would have to read the clock for it.
    struct Delivered {
        std::uint64_t count = 0;
        std::uint64_t seen_ns = 0;
    };
    std::map<std::string, Delivered, std::less<>> delivered_;
    std::optional<std::uint32_t> report_severity_;
    bool reports_admitted_ = false;  // the severity gate lets reports in
    Reports reports_;
    std::uint64_t next_look_ms_ = 0;  // monotonic; at the library
    bool watching_ = false;
    ConfigWatch watch_;
    std::uint32_t unreadable_looks_ = 0;  // how often in a row the changed file held nothing
    bool config_is_changing_ = false;
};

}  // namespace zvevent
