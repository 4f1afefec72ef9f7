#include "sinks/sink_set.h"

#include <utility>

#include "base/last_error.h"
#include "platform/contain.h"
#include "sinks/sink_factory.h"

namespace zvevent {

SinkSet::SinkSet() : SinkSet(BuildConfiguredSinks) {}

SinkSet::SinkSet(Factory factory) : factory_(factory) {}

std::uint32_t SinkSet::Initialize(const zvEventConfig& config) {
    return Replace(config, "zvEvent sink initialization failed");
}

std::uint32_t SinkSet::Reload(const zvEventConfig& config) {
    return Replace(config, "zvEvent sink reload failed");
}

std::uint32_t SinkSet::Replace(const zvEventConfig& config, std::string_view default_error) {
    auto built = std::make_shared<SinkList>();
    std::string error;
    const std::uint32_t result = factory_(config, callback_sink_, built.get(), &error);
    if (result != ZVEVENT_OK) {
        SetErrorText(error.empty() ? default_error : error);
        return result;
    }
    std::shared_ptr<const SinkList> former = std::move(built);
    {
        const std::scoped_lock lock(sink_list_mutex_);
        active_.swap(former);
        ClearErrorText();
    }
    // `former` goes here, or when the delivery that still uses it ends: outside the lock.
    return ZVEVENT_OK;
}

std::uint32_t SinkSet::ShutDown() noexcept {
    std::shared_ptr<const SinkList> former = no_sinks_;
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
    const auto sinks = ActiveSinks();
    for (const zvEventSinkPtr& sink : *sinks) {
        std::uint32_t result = ZVEVENT_E_FAILURE;
        std::uint64_t fallback = 0;
        Contain([&] { result = sink->write(event, &fallback); });
        fallen_back += fallback;
        if (result != ZVEVENT_OK) ++failed;
    }
    if (failures != nullptr) *failures = failed;
    if (fallbacks != nullptr) *fallbacks = fallen_back;
    return failed == 0 ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

std::uint32_t SinkSet::Flush(std::uint32_t timeout_ms) {
    std::uint32_t result = ZVEVENT_OK;
    const auto sinks = ActiveSinks();
    for (const zvEventSinkPtr& sink : *sinks) {
        std::uint32_t flushed = ZVEVENT_E_FAILURE;
        Contain([&] { flushed = sink->flush(timeout_ms); });
        if (flushed == ZVEVENT_OK) continue;
        result = ZVEVENT_E_FAILURE;
        SetErrorText("zvEvent sink flush failed");
    }
    if (result == ZVEVENT_OK) ClearErrorText();
    return result;
}

std::string SinkSet::ErrorText(std::string_view absent) {
    const std::scoped_lock lock(sink_error_mutex_);
    return error_text_.empty() ? std::string(absent) : error_text_;
}

std::shared_ptr<const SinkSet::SinkList> SinkSet::ActiveSinks() {
    const std::scoped_lock lock(sink_list_mutex_);
    return active_;
}

void SinkSet::SetErrorText(std::string_view text) {
    {
        const std::scoped_lock lock(sink_error_mutex_);
        error_text_ = text;
    }
    if (!text.empty()) SetLastErrorText(text);
}

void SinkSet::ClearErrorText() noexcept {
    const std::scoped_lock lock(sink_error_mutex_);
    error_text_.clear();
}

}  // namespace zvevent
