#include "config/outbox_limit.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/ascii.h"

namespace zvevent {

namespace {

constexpr std::uint64_t kDefaultEvents = 100'000;

struct Unit {
    std::string_view name;
    std::uint64_t bytes;
};
constexpr std::array kUnits = {Unit{"kb", std::uint64_t{1} << 10},
                               Unit{"mb", std::uint64_t{1} << 20},
                               Unit{"gb", std::uint64_t{1} << 30}};

}  // namespace

bool ParseOutboxLimit(std::string_view text, OutboxLimit& limit) {
    limit = OutboxLimit();
    if (text.empty()) {
        limit.events = kDefaultEvents;
        return true;
    }
    std::uint64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number == 0) return false;
    const std::string unit = LowerAscii(text.substr(static_cast<std::size_t>(rest - text.data())));
    if (unit.empty()) {
        limit.events = number;
        return true;
    }
    const auto* const known =
        std::find_if(kUnits.begin(), kUnits.end(), [&](const Unit& u) { return u.name == unit; });
    if (known == kUnits.end() || number > UINT64_MAX / known->bytes) return false;
    limit.body_bytes = number * known->bytes;
    return true;
}

}  // namespace zvevent
