// From an application's record to an event: checks, defaults, time stamps and the event number.
// Any thread, no lock; the event counter is the only shared state.
#pragma once

#include <cstdint>

#include "core/event_view.h"
#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// The next number of the process-wide counter: 1, 2, 3, ..., never 0.
std::uint64_t NextEventId() noexcept;

// Whether `record`, which may be null, can become an event.
bool IsAcceptable(const zvEventRecord* record) noexcept;

// The severity of an acceptable record: what decides whether the rest of it is needed at all.
std::uint32_t SeverityOf(const zvEventRecord& record) noexcept;

// An acceptable record with every absent field replaced by its default; the view's texts are the
// record's own. `generated_id` numbers an event that brings no number. Both absent times become one
// reading of the clock.
EventView ResolveRecord(const zvEventRecord& record, std::uint64_t generated_id) noexcept;

// The same as an event that owns its texts, for a record that need not be acceptable. Returns
// ZVEVENT_OK or ZVEVENT_E_INVALID_ARGUMENT, and then leaves `event` alone.
std::uint32_t NormalizeRecord(const zvEventRecord* record, std::uint64_t generated_id,
                              zvEventNormalizedEvent* event);

}  // namespace zvevent
