// Whether the library is initialized, and the order in which configuration, outputs and core start,
// reload and stop. Every step sets the calling thread's last error.
//
// Any thread. Locks: transition_mutex_ (held through a whole start or stop) before lifecycle_mutex_
// before everything below. lifecycle_mutex_ is never held while the configuration is read, the
// queue drains or an event is queued.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "base/no_destructor.h"
#include "core/event_core.h"
#include "health/health.h"
#include "sinks/sink_set.h"

namespace zvevent {

// The last error of a call that came too late.
inline constexpr std::string_view kProcessEnds = "The process is ending";

class Lifecycle {
public:
    // The process's one instance, made when the library is loaded. The end of the process does not
    // destroy it: threads may call in, and the worker may run, until then. Only an unload does.
    static Lifecycle& Instance();

    std::uint32_t Initialize(const char* config_path);
    std::uint32_t Shutdown();
    std::uint32_t Reload(const char* config_path);
    std::uint32_t Flush(std::uint32_t timeout_ms);
    std::uint32_t Submit(const zvEventRecord* record);

    zvEventCallbackSink& callbacks() { return sinks_.callbacks(); }
    CoreStatistics Statistics() const { return core_.Statistics(); }

private:
    friend class NoDestructor<Lifecycle>;
    Lifecycle() = default;

    using Transition = std::unique_lock<std::mutex>;

    struct Home;
    static Home& TheHome();

    std::uint32_t Start(EventCore::Config config, const FileStamp& seen);
    void UndoStart();
    std::uint32_t Reload(std::string path, bool* unchanged);
    std::uint32_t Apply(EventCore::Config config, const FileStamp& seen, bool* unchanged);
    Health::WatchedReload ReloadIfChanged();
    std::uint32_t Stop();
    void DrainForExit();
    std::string LeftInOutboxes();

    std::mutex transition_mutex_;
    std::mutex lifecycle_mutex_;
    // Written under lifecycle_mutex_; read without it where a call that came a moment earlier or
    // later could have seen the same.
    std::atomic<bool> initialized_{false};
    std::atomic<bool> process_ends_{false};  // nothing is started any more
    EventCore::Config in_force_;             // under lifecycle_mutex_

    SinkSet sinks_;
    EventCore core_{sinks_};
    Health health_{core_, sinks_, [] { return Instance().ReloadIfChanged(); }};
};

}  // namespace zvevent
