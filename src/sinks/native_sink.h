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
#include <string_view>

#include "config/config.h"
#include "platform/native_log.h"
#include "sinks/sink.h"

namespace zvevent {

// Creates the handle of the native log. On failure `log` stays as it is and `error` says why.
std::uint32_t OpenNativeLog(const NativeLogSettings& settings, std::unique_ptr<NativeLog>* log,
                            std::string& error);

}  // namespace zvevent

class zvEventNativeSink final : public zvEventSink {
public:
    // Makes no system calls. Empty settings take their defaults.
    explicit zvEventNativeSink(const zvEventSinkConfig& config);

    // Gets the log's handle; called once before the first event. `error` may be null.
    std::uint32_t Open(std::string* error);

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;

    // The text of the last failure or fallback; empty before the first.
    std::string LastError();

private:
    // All under mutex_.
    std::uint32_t EnsureOpen();
    bool Log(const zvEventNormalizedEvent& event);

    const zvevent::NativeLogSettings settings_;
    const std::uint32_t minimum_severity_;

    std::mutex mutex_;
    // Guarded by mutex_:
    std::unique_ptr<zvevent::NativeLog> log_;
    std::string message_;  // these keep their memory from event to event
    std::string fallback_;
    std::string last_error_;
};
