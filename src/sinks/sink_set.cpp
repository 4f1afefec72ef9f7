#include "sinks/sink_set.h"

#include <map>
#include <utility>

#include "base/contain.h"
#include "base/last_error.h"
#include "base/lock_within.h"
#include "sinks/sink_factory.h"

namespace zvevent {

namespace {

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
    std::shared_ptr<const OutputList> former =
        std::make_shared<OutputList>(OutputsOf(std::move(built), *ActiveOutputs()));
    {
        const std::scoped_lock lock(sink_list_mutex_);
        active_.swap(former);
        ClearErrorText();
    }
    // `former` goes here, or when the delivery that still uses it ends: outside the lock.
    return ZVEVENT_OK;
}

std::uint32_t SinkSet::ShutDown() noexcept {
    std::shared_ptr<const OutputList> former = no_outputs_;
    const std::scoped_lock lock(sink_list_mutex_);
    active_.swap(former);
    callback_sink_->UnregisterAll();
    ClearErrorText();
    return ZVEVENT_OK;
}

std::uint32_t SinkSet::Dispatch(const zvEventNormalizedEvent& event, std::uint64_t* failures,
                                std::uint64_t* fallbacks) {
    std::uint64_t failed = 0;
    std::uint64_t fallen_back = 0;
    const auto outputs = ActiveOutputs();
    const Clock clock = clock_.load(std::memory_order_relaxed);
    for (const auto& [sink, counts] : *outputs) {
        std::uint32_t result = ZVEVENT_E_FAILURE;
        std::uint64_t fallback = 0;
        Contain([&] { result = sink->write(event, &fallback); });
        fallen_back += fallback;
        if (result != ZVEVENT_OK) {
            ++failed;
            counts->CountFailed();
        } else if (!sink->Admits(event)) {
            counts->CountBelowSeverity();
        } else {
            counts->CountDelivered(fallback, clock != nullptr ? clock() : 0);
        }
    }
    if (failures != nullptr) *failures = failed;
    if (fallbacks != nullptr) *fallbacks = fallen_back;
    return failed == 0 ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

// Also when the process ends, perhaps with a lock that is held for good: waits for none without a
// limit.
std::uint32_t SinkSet::Flush(std::uint32_t timeout_ms) {
    std::uint32_t result = ZVEVENT_OK;
    std::unique_lock lock(sink_list_mutex_, std::defer_lock);
    if (!LockWithin(lock, kBriefLock)) return ZVEVENT_E_FAILURE;
    const auto outputs = active_;
    lock.unlock();
    for (const auto& [sink, counts] : *outputs) {
        std::uint32_t flushed = ZVEVENT_E_FAILURE;
        Contain([&] { flushed = sink->flush(timeout_ms); });
        if (flushed == ZVEVENT_OK) continue;
        result = ZVEVENT_E_FAILURE;
        SetErrorText("zvEvent sink flush failed");
    }
    if (result == ZVEVENT_OK) ClearErrorText();
    return result;
}

std::vector<OutputStatus> SinkSet::Status() {
    std::vector<OutputStatus> status;
    const auto outputs = ActiveOutputs();
    for (const auto& [sink, counts] : *outputs)
        status.push_back(counts->Status(*sink));
    return status;
}

std::string SinkSet::ErrorText(std::string_view absent) {
    const std::scoped_lock lock(sink_error_mutex_);
    return error_text_.empty() ? std::string(absent) : error_text_;
}

std::shared_ptr<const SinkSet::OutputList> SinkSet::ActiveOutputs() {
    const std::scoped_lock lock(sink_list_mutex_);
    return active_;
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
