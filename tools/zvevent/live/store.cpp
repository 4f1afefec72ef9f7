#include "live/store.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace zvevent::tool {

namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

constexpr std::size_t kMaxHeld = 10'000;
constexpr std::size_t kMaxHeldBytes = std::size_t{64} << 20;
constexpr std::size_t kMaxLine = std::size_t{64} << 10;  // of one message
constexpr std::size_t kMaxText = 2'000;                  // of one text in a longer message
constexpr std::size_t kMaxAlerts = 500;
constexpr std::size_t kMaxCleared = 1'000;
constexpr std::size_t kMaxSeries = 100;
constexpr std::size_t kMaxPoints = 300;
constexpr std::size_t kMaxSpans = 50;
constexpr std::size_t kMaxBatchBytes = std::size_t{8} << 20;
constexpr std::size_t kFirstMessages = 300;  // a browser's first; it fetches the others by itself
constexpr auto kSlowPeriod = std::chrono::seconds(1);  // of values and counts
constexpr std::int64_t kDayMs = 86'400'000;
constexpr std::int64_t kLatestMs = 600'000;

std::int64_t NowMs() {
    return std::chrono::duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

// Whether one event's time says that it was under way for long, and another's overtook it. What is
// older than ways are long comes from a clock that was set back.
bool IsLate(std::int64_t ms, std::int64_t than_ms) {
    return ms < than_ms && than_ms - ms <= kLatestMs;
}

// JSON that may stand in a page: "<" can only be in a text there.
std::string PageLine(const Json& document) {
    std::string line = JsonLine(document);
    for (std::size_t at = line.find('<'); at != std::string::npos; at = line.find('<', at))
        line.replace(at, 1, "\\u003c");
    return line;
}

std::string Text(const Json& object, const char* name) {
    const auto member = object.find(name);
    if (member == object.end() || !member->is_string()) return "";
    return member->get_ref<const std::string&>().substr(0, kMaxText);
}

double Number(const Json& object, const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_number() ? member->get<double>() : 0;
}

std::uint64_t Whole(const Json& object, const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_number_unsigned() ? member->get<std::uint64_t>()
                                                                  : 0;
}

std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

// As the library ties events together.
std::string AlertKey(const Json& event) {
    std::string key = Text(event, "dedupe_key");
    return key.empty() ? Text(event, "source_id") + ":" + Text(event, "event_type") : key;
}

std::string SeriesKey(const Json& event) {
    return JsonLine({Text(event, "source_id"), Text(event, "event_type")});
}

bool CarriesValue(const Json& event) {
    return Number(event, "value") != 0 || Number(event, "threshold") != 0 ||
           !Text(event, "units").empty();
}

// A message that is too long to be held whole: its texts are cut, and what is nested is left out.
Json Shortened(const Json& message) {
    Json shorter = {{"shortened", true}};
    for (const auto& [name, value] : message.items()) {
        if (value.is_string())
            shorter[name] = Text(message, name.c_str());
        else if (value.is_number())
            shorter[name] = value;
    }
    if (!message.contains("event")) return shorter;
    for (const auto& [name, value] : message["event"].items()) {
        if (value.is_string())
            shorter["event"][name] = Text(message["event"], name.c_str());
        else if (value.is_number())
            shorter["event"][name] = value;
    }
    return shorter;
}

void AppendMember(std::string& members, std::string_view name, const std::string& value) {
    if (!members.empty()) members += ',';
    members.append("\"").append(name).append("\":").append(value);
}

template <typename Lines>
std::string Array(const Lines& lines) {
    std::string text = "[";
    for (const auto& line : lines) {
        if (text.size() > 1) text += ',';
        text += line;
    }
    return text += ']';
}

}  // namespace

void LiveStore::Add(Json message) {
    const std::scoped_lock lock(mutex_);
    Count(message);
    Moment moment{NowMs(), 0};
    if (message.contains("event") && message["event"].is_object()) {
        const Json& event = message["event"];
        // A clock that is far off would draw every chart out of shape.
        const auto said = static_cast<std::int64_t>(Whole(event, "utc_ns") / 1'000'000);
        if (said > moment.ms - kDayMs && said < moment.ms + kDayMs) moment.ms = said;
        moment.id = Whole(event, "event_id");
        FollowAlert(event, moment);
        FollowValue(event, moment);
    }
    Hold(std::move(message), moment.ms);
}

void LiveStore::Count(const Json& message) {
    Counts& counts = counts_[message.at("protocol").get<std::string>()];
    ++counts.arrived;
    if (message.contains("malformed")) ++counts.malformed;
    const std::int64_t second = NowMs() / 1000;
    const auto size = static_cast<std::int64_t>(in_second_.size());
    for (second_ = std::max(second_, second - size); second_ < second;)
        in_second_[static_cast<std::size_t>(++second_ % size)] = 0;
    ++in_second_[static_cast<std::size_t>(second_ % size)];
}

void LiveStore::Hold(Json message, std::int64_t ms) {
    message["number"] = ++last_number_;
    message["ms"] = ms;
    std::string line = PageLine(message);
    if (line.size() > kMaxLine) line = PageLine(Shortened(message));
    held_bytes_ += line.size();
    held_.push_back({last_number_, std::move(line)});
    while (held_.size() > kMaxHeld || held_bytes_ > kMaxHeldBytes) {
        held_bytes_ -= held_.front().line.size();
        held_.pop_front();
    }
}

// The same event may come over several protocols and overtake itself, so older news of an alert are
// no news.
void LiveStore::FollowAlert(const Json& event, const Moment& moment) {
    const std::string action = Lower(Text(event, "action"));
    const bool clears = action == "clear";
    if (!clears && action != "raise" && action != "update" && action != "repeat") return;
    const std::string key = AlertKey(event);
    const auto found = alerts_.find(key);
    if (!clears) {
        const auto cleared = cleared_.find(key);
        if (cleared != cleared_.end() && IsLate(moment.ms, cleared->second)) return;
        RaiseAlert(key, event, moment);
        return;
    }
    if (cleared_.size() >= kMaxCleared) cleared_.clear();
    std::int64_t& cleared_ms = cleared_.try_emplace(key, moment.ms).first->second;
    if (!IsLate(moment.ms, cleared_ms)) cleared_ms = moment.ms;
    if (found == alerts_.end() || IsLate(moment.ms, found->second.last.ms)) return;
    if (Series* const series = FindSeries(event, false)) {
        for (Span& span : series->spans)
            if (span.alert == key && span.to < 0) span.to = moment.ms;
        series->changed = ++changes_;
    }
    alerts_.erase(found);
    alerts_changed_ = ++changes_;
}

void LiveStore::RaiseAlert(const std::string& key, const Json& event, const Moment& moment) {
    const auto [place, is_new] = alerts_.try_emplace(key);
    Alert& alert = place->second;
    Json& shown = alert.shown;
    const bool again = !is_new && moment.ms == alert.last.ms && moment.id == alert.last.id;
    if (!is_new && IsLate(moment.ms, alert.last.ms)) return;
    if (is_new) {
        shown = {{"key", key}, {"since", moment.ms}, {"repeats", 0}};
        if (Series* const series = FindSeries(event, CarriesValue(event))) {
            series->spans.push_back({key, moment.ms, -1});
            if (series->spans.size() > kMaxSpans) series->spans.pop_front();
            series->changed = ++changes_;
        }
    } else if (!again) {
        shown["repeats"] = shown["repeats"].get<std::uint64_t>() + 1;
    }
    for (const char* const name :
         {"severity", "event_type", "source_id", "source_name", "message", "units"})
        if (std::string text = Text(event, name); !text.empty() || !again)
            shown[name] = std::move(text);
    if (CarriesValue(event) || !again) {  // a trap carries none
        shown["value"] = Number(event, "value");
        shown["threshold"] = Number(event, "threshold");
    }
    shown["last"] = moment.ms;
    alert.last = moment;
    alert.changed = alerts_changed_ = ++changes_;
    if (alerts_.size() <= kMaxAlerts) return;
    alerts_.erase(std::min_element(
        alerts_.begin(), alerts_.end(),
        [](const auto& a, const auto& b) { return a.second.changed < b.second.changed; }));
}

LiveStore::Series* LiveStore::FindSeries(const Json& event, bool make) {
    const std::string key = SeriesKey(event);
    const auto found = series_.find(key);
    if (found != series_.end()) return &found->second;
    if (!make) return nullptr;
    if (series_.size() >= kMaxSeries)
        series_.erase(std::min_element(
            series_.begin(), series_.end(),
            [](const auto& a, const auto& b) { return a.second.changed < b.second.changed; }));
    return &series_[key];
}

void LiveStore::FollowValue(const Json& event, const Moment& moment) {
    Series* const series = FindSeries(event, CarriesValue(event));
    if (series == nullptr || !event.contains("value")) return;
    const Point point{moment.ms, Number(event, "value"), Number(event, "threshold")};
    auto place = series->points.end();
    while (place != series->points.begin() && std::prev(place)->ms > point.ms)
        --place;
    if (place != series->points.begin() && std::prev(place)->ms == point.ms) return;
    series->points.insert(place, point);
    if (series->points.size() > kMaxPoints) series->points.pop_front();
    series->source = Text(event, "source_id");
    series->type = Text(event, "event_type");
    if (std::string units = Text(event, "units"); !units.empty()) series->units = std::move(units);
    series->changed = ++changes_;
}

void LiveStore::SetLost(std::uint64_t lost) {
    const std::scoped_lock lock(mutex_);
    lost_ = lost;
}

void LiveStore::SetStatus(Json status) {
    const std::scoped_lock lock(mutex_);
    status_ = std::move(status);
}

std::string LiveStore::Take(Position& position) {
    const std::scoped_lock lock(mutex_);
    std::string members;
    if (position.message < last_number_) {
        const std::uint64_t behind = last_number_ - position.message;
        const std::size_t most = position.is_new ? kFirstMessages : kMaxHeld;
        const auto wanted = std::min({static_cast<std::size_t>(behind), most, held_.size()});
        std::size_t count = 0;
        for (std::size_t bytes = 0; count < wanted && bytes < kMaxBatchBytes; ++count)
            bytes += held_[held_.size() - 1 - count].line.size();
        std::string lines;
        for (auto held = held_.end() - static_cast<std::ptrdiff_t>(count); held != held_.end();
             ++held)
            lines.append(lines.empty() ? "" : ",").append(held->line);
        if (!position.is_new && behind > count)
            AppendMember(members, "missed", std::to_string(behind - count));
        AppendMember(members, "messages", "[" + lines + "]");
        position.message = last_number_;
    }
    position.is_new = false;
    if (position.alerts != alerts_changed_) {
        AppendMember(members, "alerts", Alerts());
        position.alerts = alerts_changed_;
    }
    const Clock::time_point now = Clock::now();
    if (position.values != changes_ && now - position.values_at >= kSlowPeriod) {
        AppendMember(members, "values", Values(position.values));
        position.values = changes_;
        position.values_at = now;
    }
    if (now - position.health_at >= kSlowPeriod) {
        AppendMember(members, "health", Health());
        position.health_at = now;
    }
    return members.empty() ? members : "{" + members + "}";
}

std::string LiveStore::Before(std::uint64_t before) {
    const std::scoped_lock lock(mutex_);
    std::string lines;
    for (const Held& held : held_)
        if (held.number < before) lines.append(lines.empty() ? "" : ",").append(held.line);
    return "[" + lines + "]";
}

bool LiveStore::Knows(std::uint64_t message) {
    const std::scoped_lock lock(mutex_);
    return message <= last_number_ && last_number_ - message <= held_.size();
}

std::string LiveStore::Alerts() const {
    std::vector<std::string> lines;
    for (const auto& [key, alert] : alerts_)
        lines.push_back(PageLine(alert.shown));
    return Array(lines);
}

std::string LiveStore::Values(std::uint64_t since) const {
    std::vector<std::string> lines;
    for (const auto& [key, series] : series_) {
        if (series.changed <= since) continue;
        Json points = Json::array();
        for (const Point& point : series.points)
            points.push_back({point.ms, point.value, point.threshold});
        Json spans = Json::array();
        for (const Span& span : series.spans)
            spans.push_back({span.from, span.to});
        lines.push_back(PageLine({{"key", key},
                                  {"source", series.source},
                                  {"type", series.type},
                                  {"units", series.units},
                                  {"points", std::move(points)},
                                  {"spans", std::move(spans)}}));
    }
    return Array(lines);
}

// A second, of those that are over.
double LiveStore::Rate() const {
    const std::int64_t now = NowMs() / 1000;
    const auto size = static_cast<std::int64_t>(in_second_.size());
    constexpr std::int64_t kSeconds = 5;
    double sum = 0;
    for (std::int64_t second = now - kSeconds; second < now; ++second)
        if (second <= second_ && second > second_ - size)
            sum += in_second_[static_cast<std::size_t>(second % size)];
    return sum / static_cast<double>(kSeconds);
}

std::string LiveStore::Health() const {
    Json protocols = Json::object();
    for (const auto& [name, counts] : counts_)
        protocols[name] = {{"arrived", counts.arrived}, {"malformed", counts.malformed}};
    return PageLine({{"protocols", std::move(protocols)},
                     {"rate", Rate()},
                     {"lost", lost_},
                     {"held", held_.size()},
                     {"status", status_}});
}

}  // namespace zvevent::tool
