// The output to the operating system's own log. An event that the log does not take goes out as
// debugger output (on the standard error where there is none) and counts as delivered by fallback:
// the log never fails an event.
//
// write runs on the worker; the sink's mutex guards it against Open on another thread.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "config/config.h"
#include "platform/debug_output.h"
#include "platform/native_log.h"
#include "sinks/sink.h"

class zvEventNativeSink final : public zvEventSink {
public:
    // What of the operating system the sink uses.
    struct System {
        decltype(&zvevent::NativeLog::Create) create_log = &zvevent::NativeLog::Create;
        decltype(&zvevent::WriteDebugOutput) fall_back = &zvevent::WriteDebugOutput;
    };

    // Makes no system calls. Empty settings take their defaults.
    explicit zvEventNativeSink(const zvEventSinkConfig& config)
        : zvEventNativeSink(config, System()) {}
    zvEventNativeSink(const zvEventSinkConfig& config, const System& system);

    // Gets the log's handle; called once before the first event. `error` may be null.
    std::uint32_t Open(std::string* error);

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;

private:
    // All under mutex_.
    std::uint32_t EnsureOpen();
    std::uint32_t OpenLog(std::unique_ptr<zvevent::NativeLog>* log);
    bool Log(const zvEventNormalizedEvent& event);

    const System system_;
    const zvevent::NativeLogSettings settings_;

    std::mutex mutex_;
    // Guarded by mutex_:
    std::unique_ptr<zvevent::NativeLog> log_;
    std::string message_;  // these keep their memory from event to event
    std::string fallback_;
    std::string reason_;
};
