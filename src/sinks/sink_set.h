// The active outputs, in order of delivery: the configured ones, then the callback sink. Replaced
// whole by a reload; an event in delivery finishes with the outputs it began with.
//
// Dispatch runs on the worker, the rest on any thread. No lock is held while an output runs.
// Locks: sink_list_mutex_ before the callback registry's and before sink_error_mutex_.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "config/config.h"
#include "core/dispatcher.h"
#include "sinks/callback_sink.h"
#include "sinks/output.h"
#include "sinks/sink.h"

namespace zvevent {

// The type of an event by which the library reports that an output fails. Its source_id names the
// output, which is not given it.
inline constexpr std::string_view kOutputReport = "zvevent.output";
inline constexpr std::string_view kReportSource = "zvEvent";

class SinkSet final : public Dispatcher {
public:
    using Factory = std::uint32_t (*)(const zvEventConfig& config,
                                      const zvEventSinkPtr& callback_sink,
                                      std::vector<zvEventSinkPtr>* sinks, std::string* error);

    SinkSet();
    // With another factory, for tests.
    explicit SinkSet(Factory factory);

    // Build the configuration's sinks and make them the active ones. On failure the active ones
    // stay, and the reason is the sink error text and the calling thread's last error.
    std::uint32_t Initialize(const zvEventConfig& config);
    std::uint32_t Reload(const zvEventConfig& config);

    // Drops every sink and every callback registration. Allocates nothing.
    std::uint32_t ShutDown() noexcept;

    std::uint32_t Dispatch(const zvEventNormalizedEvent& event, std::uint64_t* failures,
                           std::uint64_t* fallbacks) override;

    void HandOver() override;

    // Every sink gets the whole timeout_ms.
    std::uint32_t Flush(std::uint32_t timeout_ms) override;

    // The active outputs with what became of their events, in order of delivery. An output that a
    // reload replaces by one of the same name goes on counting. Any thread; waits for no output.
    std::vector<OutputStatus> Status();

    // The latest failure of Initialize, Reload or Flush, or `absent` when there is none.
    std::string ErrorText(std::string_view absent);

    zvEventCallbackSink& callbacks() { return *callback_sink_; }

private:
    using OutputList = std::vector<Output>;
    using OutputListPtr = std::shared_ptr<const OutputList>;

    std::uint32_t Replace(const zvEventConfig& config, std::string_view default_error);
    OutputListPtr ActiveOutputs();
    std::vector<OutputListPtr> RetiredOutputs();
    enum class Busy { kFlush, kLeave };
    bool FlushRetired(const std::vector<OutputListPtr>& retired, std::uint32_t timeout_ms,
                      Busy busy);
    void SetErrorText(std::string_view text);
    void ClearErrorText() noexcept;

    const Factory factory_;
    const std::shared_ptr<zvEventCallbackSink> callback_sink_ =
        std::make_shared<zvEventCallbackSink>();

    const OutputListPtr no_outputs_ = std::make_shared<OutputList>();
    std::mutex sink_list_mutex_;
    // Guarded by sink_list_mutex_. A list is never changed, only replaced.
    OutputListPtr active_ = no_outputs_;
    // What reloads replaced and a delivery still uses, or could not be flushed since.
    std::vector<OutputListPtr> retired_;

    std::mutex sink_error_mutex_;
    std::string error_text_;  // guarded by sink_error_mutex_; empty: none
};

}  // namespace zvevent
