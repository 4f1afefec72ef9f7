#include "sinks/callback_sink.h"

#include <algorithm>
#include <utility>

#include "platform/contain.h"

namespace {

// The record form of an event; its texts are the event's own.
zvEventRecord RecordOf(const zvEventNormalizedEvent& event) {
    zvEventRecord record{};
    record.struct_size = sizeof record;
    record.version = ZVEVENT_API_VERSION;
    record.event_id = event.event_id;
    record.event_type = event.event_type.c_str();
    record.source_id = event.source_id.c_str();
    record.source_name = event.source_name.c_str();
    record.message = event.message.c_str();
    record.severity = event.severity;
    record.action = event.action.c_str();
    record.dedupe_key = event.dedupe_key.c_str();
    record.correlation_id = event.correlation_id.c_str();
    record.utc_ns = event.utc_ns;
    record.ptp_ns = event.ptp_ns;
    record.pts = event.pts;
    record.timecode = event.timecode.c_str();
    record.value = event.value;
    record.threshold = event.threshold;
    record.units = event.units.c_str();
    record.duration_ms = event.duration_ms;
    record.details_json = event.details_json.c_str();
    return record;
}

}  // namespace

void zvEventCallbackSink::Register(zvEventCallback callback, void* user_data, std::uint32_t* id) {
    const std::scoped_lock lock(registry_mutex_);
    auto changed = Copy();
    changed->push_back({next_id_, callback, user_data});
    registrations_ = std::move(changed);
    *id = next_id_++;
    if (next_id_ == 0) next_id_ = 1;
}

bool zvEventCallbackSink::Unregister(std::uint32_t id) {
    const std::scoped_lock lock(registry_mutex_);
    auto changed = Copy();
    const auto found = std::find_if(changed->begin(), changed->end(),
                                    [id](const Registration& entry) { return entry.id == id; });
    if (found == changed->end()) return false;
    changed->erase(found);
    registrations_ = std::move(changed);
    return true;
}

void zvEventCallbackSink::UnregisterAll() noexcept {
    std::shared_ptr<const Registrations> former;
    const std::scoped_lock lock(registry_mutex_);
    registrations_.swap(former);
}

std::uint32_t zvEventCallbackSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    std::shared_ptr<const Registrations> registrations;
    {
        const std::scoped_lock lock(registry_mutex_);
        registrations = registrations_;
    }
    if (registrations == nullptr || registrations->empty()) return ZVEVENT_OK;
    const zvEventRecord record = RecordOf(event);
    std::uint32_t result = ZVEVENT_OK;
    for (const Registration& entry : *registrations) {
        if (entry.callback == nullptr ||
            !zvevent::Contain([&] { entry.callback(&record, entry.user_data); })) {
            result = ZVEVENT_E_FAILURE;
        }
    }
    return result;
}

std::shared_ptr<zvEventCallbackSink::Registrations> zvEventCallbackSink::Copy() const {
    return registrations_ != nullptr ? std::make_shared<Registrations>(*registrations_)
                                     : std::make_shared<Registrations>();
}

void zvEventCallbackSink::SetNextId(std::uint32_t id) {
    const std::scoped_lock lock(registry_mutex_);
    next_id_ = id;
}
