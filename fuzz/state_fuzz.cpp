// Random operations on the queue, the alert state and its table, each beside a model that says
// literally what docs/architecture.md and docs/alerts.md promise.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <deque>
#include <map>
#include <string>

#include "core/alert_state.h"
#include "core/alert_table.h"
#include "core/event_queue.h"
#include "core/event_view.h"
#include "require.h"

namespace zvevent::fuzz {
namespace {

struct Queued {
    std::uint64_t id;
    std::uint32_t severity;
};

class QueueModel {
public:
    void Limit(std::uint32_t capacity, zvEventDropPolicy policy) {
        capacity_ = capacity;
        policy_ = policy;
        while (queued.size() > capacity && MakeRoom()) {
        }
        while (queued.size() > capacity)
            queued.pop_back();
    }

    bool Push(Queued event) {
        if (queued.size() >= capacity_ && !MakeRoom()) return false;
        queued.push_back(event);
        return true;
    }

    bool DropsTheNewest() const {
        return queued.size() >= capacity_ && policy_ == zvEventDropPolicy::drop_newest;
    }

    std::deque<Queued> queued;

private:
    bool MakeRoom() {
        if (policy_ == zvEventDropPolicy::drop_newest) return false;
        const auto oldest = std::find_if(queued.begin(), queued.end(), [](const Queued& event) {
            return event.severity <= zvEventSeverityInfo;
        });
        if (oldest == queued.end()) return false;
        queued.erase(oldest);
        return true;
    }

    std::uint32_t capacity_ = 1;
    zvEventDropPolicy policy_ = zvEventDropPolicy::drop_newest;
};

void FuzzQueue(FuzzedDataProvider& data) {
    EventQueue queue;
    QueueModel model;
    zvEventNormalizedEvent taken;
    const auto capacity = [&] { return data.ConsumeIntegralInRange(1u, 200u); };
    const auto policy = [&] {
        return data.ConsumeBool() ? zvEventDropPolicy::drop_newest
                                  : zvEventDropPolicy::drop_debug_info_first;
    };
    const std::uint32_t first_capacity = capacity();
    const zvEventDropPolicy first_policy = policy();
    queue.Open(first_capacity, first_policy);
    model.Limit(first_capacity, first_policy);
    std::uint64_t id = 0, received = 0;
    while (data.remaining_bytes() > 0) {
        switch (const int what = data.ConsumeIntegralInRange(0, 15)) {
            case 0: {
                const std::uint32_t new_capacity = capacity();
                const zvEventDropPolicy new_policy = policy();
                queue.Reconfigure(new_capacity, new_policy);
                model.Limit(new_capacity, new_policy);
                break;
            }
            case 1:
            case 2:
            case 3:
                if (model.queued.empty()) break;
                Require(
                    queue.Take(taken, EventQueue::Outcome::kProcessed) == EventQueue::Taken::kEvent,
                    "an event is there");
                Require(taken.event_id == model.queued.front().id &&
                            taken.message == std::to_string(taken.event_id),
                        "it is the oldest, whole");
                Require(taken.details_json.empty() || taken.details_json.size() >= 300, "its text");
                model.queued.pop_front();
                break;
            default: {
                ++received;
                if (queue.DropsForLackOfRoom()) {
                    Require(model.DropsTheNewest(), "dropped at once only when it is full");
                    break;
                }
                EventView event;
                event.event_id = ++id;
                event.severity = data.ConsumeIntegralInRange(0u, 3u);
                const std::string message = std::to_string(id);
                const std::string details(what == 4 ? 300 + id % 40000 : 0, 'd');
                event.message = message;
                event.details_json = details;
                const bool queued = queue.Push(event) == EventQueue::Pushed::kQueued;
                Require(queued == model.Push({id, event.severity}), "queued as the policy says");
            }
        }
        CoreStatistics counts;
        queue.AddTo(counts);
        Require(counts.queued == model.queued.size(), "as many are queued");
        Require(counts.received == received, "each is counted");
    }
}

// Alerts by their key, with what was last delivered of each.
void FuzzAlerts(FuzzedDataProvider& data) {
    struct Delivered {
        std::string message;
        std::string action;
        std::uint64_t utc_ns;
    };
    zvEventConfig config;
    config.default_repeat_interval_sec = data.ConsumeIntegralInRange(0u, 3u);
    config.send_clear = data.ConsumeBool();
    config.route_orphan_clear = data.ConsumeBool();
    config.state_enabled = data.ConsumeIntegralInRange(0, 15) != 0;
    const bool many_sources = data.ConsumeBool();
    AlertState state;
    state.Configure(config);
    std::map<std::string, Delivered> active;
    const std::uint64_t interval_ns = config.default_repeat_interval_sec * 1'000'000'000ull;
    while (data.remaining_bytes() > 0) {
        zvEventNormalizedEvent event;
        event.source_id = std::to_string(data.ConsumeIntegralInRange(0, many_sources ? 500 : 2));
        event.event_type = "t";
        if (data.ConsumeBool()) event.dedupe_key = event.source_id + ":t";  // the same alert
        event.message = data.ConsumeBool() ? "one" : "two";
        event.utc_ns =
            1 + data.ConsumeIntegralInRange(0u, 80u) * 100'000'000ull;  // jumps both ways
        event.action =
            data.PickValueInArray({"raise", "RAISE", "update", "clear", "Repeat", "measure", ""});
        std::string action = event.action;
        std::transform(action.begin(), action.end(), action.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
        const std::string key = event.source_id + ":t";
        const auto alert = active.find(key);
        const std::string content = event.message + event.dedupe_key;
        bool expected = true;
        std::string expected_action = event.action;
        if (!config.state_enabled || action == "measure" || action.empty()) {
        } else if (alert == active.end()) {
            expected = action == "raise" || action == "update" ||
                       (action == "clear" && config.route_orphan_clear);
            if (action == "raise" || action == "update") {
                if (action == "update") expected_action = "raise";
                active[key] = {content, "raise", event.utc_ns};
            }
        } else if (action == "clear") {
            expected = config.send_clear;
            active.erase(alert);
        } else {
            const Delivered& last = alert->second;
            const bool due = interval_ns == 0 || event.utc_ns < last.utc_ns ||
                             event.utc_ns - last.utc_ns >= interval_ns;
            const std::string delivered_as = action == "raise" ? "repeat" : action;
            expected = due || (action == "update" &&
                               (last.message != content || last.action != delivered_as));
            if (expected) {
                if (action == "raise") expected_action = "repeat";
                active[key] = {content, delivered_as, event.utc_ns};
            }
        }
        bool forward = false;
        Require(state.Process(&event, &forward) == ZVEVENT_OK, "an event is judged");
        Require(forward == expected, "delivered or held back");
        Require(!forward || event.action == expected_action, "delivered as");
        Require(state.ActiveCount() == active.size(), "as many alerts are active");
    }
}

// Few digests, which name few slots of one part: all that can happen to neighbours happens soon.
void FuzzAlertTable(FuzzedDataProvider& data) {
    AlertTable table;
    std::map<std::uint8_t, std::uint64_t> model;
    for (std::uint64_t step = 1; data.remaining_bytes() > 0; ++step) {
        const auto number = data.ConsumeIntegral<std::uint8_t>();
        const bool remove = data.ConsumeBool();
        const Digest key = {number & 31u, number + 1u};
        Alert* const alert = table.Find(key);
        const auto expected = model.find(number);
        Require((alert != nullptr) == (expected != model.end()), "an alert is found");
        Require(alert == nullptr || alert->forwarded_ns == expected->second, "it is the one");
        if (!remove) {
            (alert != nullptr ? *alert : table.Add(key)).forwarded_ns = model[number] = step;
        } else if (alert != nullptr) {
            table.Remove(*alert);
            model.erase(expected);
        }
        Require(table.Count() == model.size(), "as many are there");
    }
}

}  // namespace
}  // namespace zvevent::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, std::min<std::size_t>(size, 4096));
    switch (data.ConsumeIntegralInRange(0, 2)) {
        case 0:
            zvevent::fuzz::FuzzAlerts(data);
            break;
        case 1:
            zvevent::fuzz::FuzzQueue(data);
            break;
        default:
            zvevent::fuzz::FuzzAlertTable(data);
    }
    return 0;
}
