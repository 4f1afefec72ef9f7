// What every output is.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "config/config.h"
#include "format/status_document.h"
#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// The latest failure of an output.
struct SinkFailure {
    std::string text;          // empty: none so far
    std::uint64_t utc_ns = 0;  // nanoseconds since 1970 UTC
};

}  // namespace zvevent

class zvEventSink {
public:
    zvEventSink(const zvEventSink&) = delete;
    zvEventSink& operator=(const zvEventSink&) = delete;
    virtual ~zvEventSink() = default;

    // Delivers one event; called on the worker, one event at a time. No lock of the library is held
    // meanwhile, and no other output proceeds. Returns ZVEVENT_OK, also for an event that the sink
    // does not admit, or a code; may throw. An output that got the event out by a fallback path
    // only adds one to *fallbacks, which may be null.
    virtual std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) = 0;

    // Writes out what the sink holds back. Called on the thread that flushes or stops, possibly
    // while the worker is in write: a sink that keeps anything locks it itself.
    virtual std::uint32_t flush(std::uint32_t timeout_ms);

    // Hands on what the sink has collected: nothing is queued, and the worker, which calls this, is
    // about to sleep. What does not go now may wait for the next event or flush.
    virtual void hand_over();

    // The sink comes into force, and is in force no longer: what it does between events may begin,
    // and must end. On the thread that initialises, reloads or shuts down; the worker may still be
    // in write at the end. Those of a reload begin before those that they replace end.
    virtual void begin() {}
    virtual void end() {}

    // What the sink's outbox holds, if it has one. Any thread; waits for no write.
    virtual std::optional<zvevent::OutboxStatus> Outbox() const { return std::nullopt; }

    // Whether the event reaches the sink's minimum severity: what write asks first, and whoever
    // counts what was not written. Any thread.
    bool Admits(const zvEventNormalizedEvent& event) const {
        return event.severity >= minimum_severity_;
    }

    // What the output is called: the key of its entry below "sink", with slashes, such as
    // "syslog/udp/default". Any thread.
    const std::string& OutputName() const { return output_name_; }

    // Any thread; waits for no write.
    virtual zvevent::SinkFailure LastFailure() const;
    std::string LastError() const { return LastFailure().text; }

    // Takes over the latest failure of a sink in whose place this one comes.
    void InheritFailure(const zvEventSink& former);

protected:
    // The sink of a configuration's entry.
    explicit zvEventSink(const zvEventSinkConfig& entry);
    // One that admits every event.
    explicit zvEventSink(std::string output_name) : output_name_(std::move(output_name)) {}

    // Keeps `what` and `subject` in one text as the latest failure, for LastFailure.
    void NoteFailure(std::string_view what, std::string_view subject = {});
    // The same, for a step that ends with ZVEVENT_E_FAILURE, and with ZVEVENT_E_INVALID_ARGUMENT.
    std::uint32_t Fail(std::string_view what, std::string_view subject = {});
    std::uint32_t Refuse(std::string_view what);

    // Ends an opening step: returns `result` and hands the text of its failure to `error`, which
    // may be null.
    std::uint32_t Report(std::uint32_t result, std::string* error) const;

private:
    const std::string output_name_;
    const std::uint32_t minimum_severity_ = zvEventSeverityDebug;

    mutable std::mutex failure_mutex_;
    zvevent::SinkFailure failure_;  // guarded by failure_mutex_
};

using zvEventSinkPtr = std::shared_ptr<zvEventSink>;
