// What the live page shows: the newest messages, the alerts that are active, measured values and
// counts. Bounded in every part, whatever the network sends. One thread adds, any number take; all
// texts that leave are JSON in ASCII without "<", so that they may stand in a page.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "json_text.h"

namespace zvevent::tool {

class LiveStore {
public:
    // How far a browser has come. A new one has nothing.
    struct Position {
        bool is_new = true;         // has no message yet
        std::uint64_t message = 0;  // the number of the last message that it has
        std::uint64_t alerts = 0;   // the change of the alerts, and of the values, that it has
        std::uint64_t values = 0;
        std::chrono::steady_clock::time_point values_at{}, health_at{};
    };

    // `message` is what Decode returned.
    void Add(Json message);

    // Messages that came faster than they were taken in, so far.
    void SetLost(std::uint64_t lost);

    // What a status file says, or why it cannot be read: shown as it is.
    void SetStatus(Json status);

    // What a browser that stands at `position` has not got, as members of a JSON object, and moves
    // it on; empty when there is nothing. Who lags far behind is given the newest messages and told
    // how many it missed.
    std::string Take(Position& position);

    // The messages held that are older than number `before`, as a JSON array, oldest first.
    std::string Before(std::uint64_t before);

    // Whether the browser that has come to this number can go on from there.
    bool Knows(std::uint64_t message);

private:
    using Clock = std::chrono::steady_clock;

    struct Held {
        std::uint64_t number;
        std::string line;
    };
    struct Moment {
        std::int64_t ms;  // since 1970, as the event says; else when it came
        std::uint64_t id;
    };
    struct Alert {
        Json shown;  // the members that the page reads
        Moment last;
        std::uint64_t changed;
    };
    struct Point {
        std::int64_t ms;
        double value, threshold;
    };
    struct Span {
        std::string alert;
        std::int64_t from, to;  // to: -1 while it lasts
    };
    struct Series {
        std::string source, type, units;
        std::deque<Point> points;  // by time
        std::deque<Span> spans;
        std::uint64_t changed;
    };
    struct Counts {
        std::uint64_t arrived = 0, malformed = 0;
    };

    void Count(const Json& message);
    void Hold(Json message, std::int64_t ms);
    void FollowAlert(const Json& event, const Moment& moment);
    void RaiseAlert(const std::string& key, const Json& event, const Moment& moment);
    void FollowValue(const Json& event, const Moment& moment);
    Series* FindSeries(const Json& event, bool make);
    double Rate() const;
    std::string Alerts() const;
    std::string Values(std::uint64_t since) const;
    std::string Health() const;

    std::mutex mutex_;
    std::deque<Held> held_;
    std::size_t held_bytes_ = 0;
    std::uint64_t last_number_ = 0;
    std::uint64_t changes_ = 0;
    std::uint64_t alerts_changed_ = 0;
    std::map<std::string, Alert> alerts_;
    std::map<std::string, std::int64_t> cleared_;  // when; late news of the same alert is no raise
    std::map<std::string, Series> series_;
    std::map<std::string, Counts> counts_;      // by protocol
    std::array<std::uint32_t, 8> in_second_{};  // messages in each of the last seconds, a ring
    std::int64_t second_ = 0;
    std::uint64_t lost_ = 0;
    Json status_;
};

}  // namespace zvevent::tool
