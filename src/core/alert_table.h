// The active alerts, found by the digest of their key. Not locked: AlertState does that.
//
// A digest stands in for the key itself, which is nowhere kept (base/keyed_digest.h says what that
// is worth). So an alert has 40 bytes however long its key and its content are, and needs no
// allocation of its own; and since digests are spread evenly whatever keys an application or an
// intruder chooses, no choice of keys makes the table slow.
//
// The table has 256 parts, each an array that doubles and halves by itself. So no event waits for
// more than the move of one part, a thousandth of what all take: 0.1 ms with 1,000,000 alerts.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/keyed_digest.h"

namespace zvevent {

struct Alert {
    Digest key;      // none: the slot is free
    Digest content;  // of the event that was forwarded last
    std::uint64_t forwarded_ns = 0;
};

class AlertTable {
public:
    std::size_t Count() const noexcept;

    // Null when there is none. Valid until the next Add, Remove or Clear.
    Alert* Find(const Digest& key) noexcept;

    // Of one that is not there yet. When there is no memory (std::bad_alloc), nothing has changed.
    Alert& Add(const Digest& key);

    void Remove(const Alert& alert) noexcept;

    void Clear() noexcept;

private:
    // Open addressing: an alert stands in the slot that its digest names, or in the first free one
    // after it, round the end. No free slot ever lies between the two.
    struct Part {
        std::vector<Alert> slots;  // as many as a power of two, or none
        std::size_t used = 0;

        std::size_t After(std::size_t slot) const { return (slot + 1) & (slots.size() - 1); }
        std::size_t Named(const Digest& key) const { return key.first & (slots.size() - 1); }
        std::size_t Distance(std::size_t from, std::size_t to) const {
            return (to - from) & (slots.size() - 1);
        }

        Alert& SlotOf(const Digest& key);
        void Resize(std::size_t slot_count);
        void Vacate(std::size_t slot);
    };

    // By other bits than the slot.
    Part& PartOf(const Digest& key) { return parts_[key.second >> 56]; }

    std::array<Part, 256> parts_;
};

}  // namespace zvevent
