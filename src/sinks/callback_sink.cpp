#include "sinks/callback_sink.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "base/contain.h"
#include "core/event_fields.h"
#include "platform/application_call.h"

namespace {

// The record form of an event; its texts are the event's own.
zvEventRecord RecordOf(const zvEventNormalizedEvent& event) {
    zvEventRecord record = zvEventRecordInit();
    zvevent::ForEachEventField([&]<typename Field>(const Field& field) {
        if constexpr (std::is_same_v<Field, zvevent::TextField>) {
            record.*field.record = (event.*field.event).c_str();
        } else {
            record.*field.record = event.*field.event;
        }
    });
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
        bool returned = false;
        zvevent::Contain([&] {
            returned = entry.callback != nullptr &&
                       zvevent::CallApplication(entry.callback, &record, entry.user_data);
        });
        if (!returned) result = ZVEVENT_E_FAILURE;
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
