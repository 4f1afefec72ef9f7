#include "core/alert_table.h"

#include <algorithm>

#include "base/contain.h"

namespace zvevent {

namespace {

// A part keeps this many once it had an alert: 40 KB for all parts together.
constexpr std::size_t kFewestSlots = 4;

// At most three quarters are used, where a search looks at 2.5 slots that follow each other, at 8.5
// when it finds nothing.
bool IsCrowded(std::size_t used, std::size_t slots) {
    return used > slots / 4 * 3;
}

// Halved, it is a quarter full: far from growing and from shrinking again.
bool IsDeserted(std::size_t used, std::size_t slots) {
    return slots > kFewestSlots && used < slots / 8;
}

}  // namespace

std::size_t AlertTable::Count() const noexcept {
    std::size_t count = 0;
    for (const Part& part : parts_)
        count += part.used;
    return count;
}

Alert* AlertTable::Find(const Digest& key) noexcept {
    Part& part = PartOf(key);
    if (part.used == 0) return nullptr;
    Alert& slot = part.SlotOf(key);
    return slot.key == key ? &slot : nullptr;
}

Alert& AlertTable::Add(const Digest& key) {
    Part& part = PartOf(key);
    if (IsCrowded(part.used + 1, part.slots.size())) {
        part.Resize(std::max(kFewestSlots, part.slots.size() * 2));
    }
    Alert& slot = part.SlotOf(key);
    slot.key = key;
    ++part.used;
    return slot;
}

void AlertTable::Remove(const Alert& alert) noexcept {
    Part& part = PartOf(alert.key);
    part.Vacate(static_cast<std::size_t>(&alert - part.slots.data()));
    --part.used;
    // Without memory for the smaller array the larger one serves.
    if (IsDeserted(part.used, part.slots.size())) {
        Contain([&] { part.Resize(part.slots.size() / 2); });
    }
}

void AlertTable::Clear() noexcept {
    for (Part& part : parts_)
        part = {};
}

// The alert's, or the free one that it would take.
Alert& AlertTable::Part::SlotOf(const Digest& key) {
    std::size_t slot = Named(key);
    while (slots[slot].key != key && slots[slot].key != Digest{})
        slot = After(slot);
    return slots[slot];
}

void AlertTable::Part::Resize(std::size_t slot_count) {
    std::vector<Alert> former(slot_count);
    former.swap(slots);
    for (const Alert& alert : former) {
        if (alert.key != Digest{}) SlotOf(alert.key) = alert;
    }
}

// Alerts that stood behind the slot's, and could not stand there or before, move up.
void AlertTable::Part::Vacate(std::size_t slot) {
    for (std::size_t next = After(slot); slots[next].key != Digest{}; next = After(next)) {
        if (Distance(Named(slots[next].key), next) < Distance(slot, next)) continue;
        slots[slot] = slots[next];
        slot = next;
    }
    slots[slot] = {};
}

}  // namespace zvevent
