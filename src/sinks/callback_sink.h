// The sink that calls the application's functions, and the registry of these functions. There is
// one; it outlives every configuration.
//
// write runs on the worker, the registry's functions on any thread, from inside a callback too:
// the registry's lock is not held while a callback runs.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "sinks/sink.h"

class zvEventCallbackSink final : public zvEventSink {
public:
    zvEventCallbackSink() : zvEventSink("callbacks") {}

    // Adds a function; it first receives the event after the one in delivery. Sets *id, before the
    // function can be called, to its id, never 0: 1, 2, ..., and 1 again after 0xFFFFFFFF.
    void Register(zvEventCallback callback, void* user_data, std::uint32_t* id);

    // Removes the first registration with that id. False when there is none.
    bool Unregister(std::uint32_t id);

    // Removes every registration; ids go on counting.
    void UnregisterAll() noexcept;

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;

    // The id that the next registration gets; for tests of the wrap-around.
    void SetNextId(std::uint32_t id);

private:
    struct Registration {
        std::uint32_t id;
        zvEventCallback callback;
        void* user_data;
    };
    using Registrations = std::vector<Registration>;

    std::mutex registry_mutex_;
    // Guarded by registry_mutex_. A list is never changed, only replaced, so that delivery takes a
    // reference instead of a copy. Null stands for an empty one.
    std::uint32_t next_id_ = 1;
    std::shared_ptr<const Registrations> registrations_;

    std::shared_ptr<Registrations> Copy() const;
};
