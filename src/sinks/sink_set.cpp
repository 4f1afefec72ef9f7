#include "sinks/sink_set.h"

#include <map>
#include <utility>

#include "base/contain.h"
#include "base/last_error.h"
#include "base/lock_within.h"
#include "sinks/sink_factory.h"

namespace zvevent {

namespace {

// For the lock of an output that a reload or the worker flushes once it is replaced.
constexpr std::uint32_t kRetireMs = 1000;

// Each keeps its outputs' files and sockets; more than this come together only when as many reloads
// in a row find outputs that cannot write.
constexpr std::size_t kMostRetired = 16;

// The outputs of the sinks; one that takes the place of another of its name goes on counting.
std::vector<Output> OutputsOf(std::vector<zvEventSinkPtr> sinks,
                              const std::vector<Output>& former) {
    std::map<std::string_view, const Output*> replaced;
    for (const Output& output : former)
        replaced.emplace(output.sink->OutputName(), &output);
    std::vector<Output> outputs;
    for (zvEventSinkPtr& sink : sinks) {
        const auto found = replaced.find(sink->OutputName());
        if (found == replaced.end()) {
            outputs.push_back({std::move(sink), std::make_shared<OutputCounts>()});
        } else {
            sink->InheritFailure(*found->second->sink);
            outputs.push_back({std::move(sink), found->second->counts});
        }
    }
    return outputs;
}

template <typename Action>
void ForEachSink(const std::vector<Output>& outputs, Action&& action) {
    for (const Output& output : outputs)
        Contain([&] { action(*output.sink); });
}

// Every output gets the whole time. Returns whether all succeeded.
bool FlushAll(const std::vector<Output>& outputs, std::uint32_t timeout_ms) {
    bool all_flushed = true;
    for (const auto& [sink, counts] : outputs) {
        std::uint32_t flushed = ZVEVENT_E_FAILURE;
        Contain([&, &sink = sink] { flushed = sink->flush(timeout_ms); });
        if (flushed != ZVEVENT_OK) all_flushed = false;
    }
    return all_flushed;
}

}  // namespace

SinkSet::SinkSet() : SinkSet(BuildConfiguredSinks) {}

SinkSet::SinkSet(Factory factory) : factory_(factory) {}

std::uint32_t SinkSet::Initialize(const zvEventConfig& config) {
    return Replace(config, "zvEvent sink initialization failed");
}

std::uint32_t SinkSet::Reload(const zvEventConfig& config) {
    return Replace(config, "zvEvent sink reload failed");
}

std::uint32_t SinkSet::Replace(const zvEventConfig& config, std::string_view default_error) {
    std::vector<zvEventSinkPtr> built;
    std::string error;
    const std::uint32_t result = factory_(config, callback_sink_, &built, &error);
    if (result != ZVEVENT_OK) {
        SetErrorText(error.empty() ? default_error : error);
        return result;
    }
    OutputListPtr outputs =
        std::make_shared<OutputList>(OutputsOf(std::move(built), *ActiveOutputs()));
    ForEachSink(*outputs, [](zvEventSink& sink) { sink.begin(); });
    OutputListPtr oldest;  // goes outside the lock
    {
        const std::scoped_lock lock(sink_list_mutex_);
        if (active_ != no_outputs_) retired_.push_back(active_);
        active_.swap(outputs);
        if (retired_.size() > kMostRetired) {
            oldest = std::move(retired_.front());
            retired_.erase(retired_.begin());
        }
        ClearErrorText();
    }
    ForEachSink(*outputs, [](zvEventSink& sink) { sink.end(); });
    outputs.reset();
    FlushRetired(RetiredOutputs(), kRetireMs, Busy::kLeave);
    return ZVEVENT_OK;
}

std::uint32_t SinkSet::ShutDown() noexcept {
    OutputListPtr former = no_outputs_;
    std::vector<OutputListPtr> retired;
    {
        const std::scoped_lock lock(sink_list_mutex_);
        retired_.swap(retired);
        active_.swap(former);
        callback_sink_->UnregisterAll();
        ClearErrorText();
    }
    // A flush under way may have them still.
    ForEachSink(*former, [](zvEventSink& sink) { sink.end(); });
    return ZVEVENT_OK;
}

std::uint32_t SinkSet::Dispatch(const zvEventNormalizedEvent& event, std::uint64_t* failures,
                                std::uint64_t* fallbacks) {
    std::uint64_t failed = 0;
    std::uint64_t fallen_back = 0;
    const auto outputs = ActiveOutputs();
    const bool reports_output =
        event.event_type == kOutputReport && event.source_name == kReportSource;
    for (const auto& [sink, counts] : *outputs) {
        if (reports_output && event.source_id == sink->OutputName()) continue;
        std::uint32_t result = ZVEVENT_E_FAILURE;
        std::uint64_t fallback = 0;
        Contain([&, &sink = sink] { result = sink->write(event, &fallback); });
        fallen_back += fallback;
        if (result != ZVEVENT_OK) {
            ++failed;
            counts->CountFailed();
        } else if (!sink->Admits(event)) {
            counts->CountBelowSeverity();
        } else {
            counts->CountDelivered(fallback);
        }
    }
    if (failures != nullptr) *failures = failed;
    if (fallbacks != nullptr) *fallbacks = fallen_back;
    return failed == 0 ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

void SinkSet::HandOver() {
    FlushRetired(RetiredOutputs(), kRetireMs, Busy::kLeave);
    const auto outputs = ActiveOutputs();
    for (const auto& [sink, counts] : *outputs)
        Contain([&sink = sink] { sink->hand_over(); });
}

// Also when the process ends, perhaps with a lock that is held for good: waits for none without a
// limit.
std::uint32_t SinkSet::Flush(std::uint32_t timeout_ms) {
    std::unique_lock lock(sink_list_mutex_, std::defer_lock);
    if (!LockWithin(lock, kBriefLock)) return ZVEVENT_E_FAILURE;
    const auto retired = retired_;
    const auto outputs = active_;
    lock.unlock();
    bool flushed = FlushRetired(retired, timeout_ms, Busy::kFlush);
    if (!FlushAll(*outputs, timeout_ms)) flushed = false;
    if (!flushed) {
        SetErrorText("zvEvent sink flush failed");
        return ZVEVENT_E_FAILURE;
    }
    ClearErrorText();
    return ZVEVENT_OK;
}

// Flushes the lists that were replaced, and lets go of those that are then done: flushed, and no
// longer in a delivery that may add to them. One that still is can be left to the worker, which
// comes back here before it sleeps: whoever reloads does not wait for a write.
bool SinkSet::FlushRetired(const std::vector<OutputListPtr>& retired, std::uint32_t timeout_ms,
                           Busy busy) {
    bool all_flushed = true;
    for (const OutputListPtr& list : retired) {
        // Here and in retired_, once no delivery has it any more; none can take it up again.
        const bool in_use = list.use_count() > 2;
        if (in_use && busy == Busy::kLeave) continue;
        const bool flushed = FlushAll(*list, timeout_ms);
        all_flushed = all_flushed && flushed;
        if (!flushed || in_use) continue;
        std::unique_lock lock(sink_list_mutex_, std::defer_lock);
        if (LockWithin(lock, kBriefLock)) std::erase(retired_, list);
    }
    return all_flushed;
}

std::vector<OutputStatus> SinkSet::Status() {
    std::vector<OutputStatus> status;
    // Under the lock, so that no list is kept alive for it. Who holds the lock for good is a call
    // that a signal handler has interrupted to end the process.
    std::unique_lock lock(sink_list_mutex_, std::defer_lock);
    if (!LockWithin(lock, kBriefLock)) return status;
    for (const auto& [sink, counts] : *active_)
        status.push_back(counts->Status(*sink));
    return status;
}

std::string SinkSet::ErrorText(std::string_view absent) {
    const std::scoped_lock lock(sink_error_mutex_);
    return error_text_.empty() ? std::string(absent) : error_text_;
}

SinkSet::OutputListPtr SinkSet::ActiveOutputs() {
    const std::scoped_lock lock(sink_list_mutex_);
    return active_;
}

std::vector<SinkSet::OutputListPtr> SinkSet::RetiredOutputs() {
    const std::scoped_lock lock(sink_list_mutex_);
    return retired_;
}

void SinkSet::SetErrorText(std::string_view text) {
    {
        std::unique_lock lock(sink_error_mutex_, std::defer_lock);
        if (LockWithin(lock, kBriefLock)) error_text_ = text;
    }
    if (!text.empty()) SetLastErrorText(text);
}

void SinkSet::ClearErrorText() noexcept {
    std::unique_lock lock(sink_error_mutex_, std::defer_lock);
    if (LockWithin(lock, kBriefLock)) error_text_.clear();
}

}  // namespace zvevent
