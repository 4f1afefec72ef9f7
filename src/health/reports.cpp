#include "health/reports.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/number_text.h"
#include "sinks/sink_set.h"

namespace zvevent {

namespace {

constexpr std::uint64_t kQuietMs = 60'000;

// An event that has waited longer in an outbox is told of.
constexpr std::uint64_t kLateNs = 60'000'000'000;

constexpr std::string_view kQueueReport = "zvevent.queue";
constexpr std::string_view kConfigReport = "zvevent.config";

void AppendNumber(std::string& text, std::string_view before, std::uint64_t number) {
    text += before;
    AppendDecimal(text, number);
}

}  // namespace

void Reports::LookAt(const LibraryStatus& status, std::uint64_t now_ms, const Submit& submit) {
    now_ms_ = std::max<std::uint64_t>(now_ms, 1);
    submit_ = &submit;
    for (auto& [name, subject] : subjects_)
        subject.looked_at = false;
    LookAtQueue(status.core);  // before what is offered now could be lost as well
    for (const OutputStatus& output : status.outputs)
        LookAtOutput(output, status.written_ns);
    LookAtConfig(status.config);
    ClearOutputsThatAreGone();
}

void Reports::WatchedReload(std::string_view error) {
    reload_failed_ = !error.empty();
    if (!reload_failed_) return;
    reload_error_ = error;
    ++failed_reloads_;
}

// An outbox keeps events, so one whose receiver is away loses nothing; but it is told of when they
// wait long, and of those that were refused or discarded.
void Reports::LookAtOutput(const OutputStatus& output, std::uint64_t now_ns) {
    std::string counts;
    AppendNumber(counts, R"("delivered":)", output.delivered);
    AppendNumber(counts, R"(,"below_severity":)", output.below_severity);
    AppendNumber(counts, R"(,"failed":)", output.failed);
    AppendNumber(counts, R"(,"fallback":)", output.fallback);
    const std::string name = std::string(kOutputReport) + ':' + output.output;
    const auto [place, added] = subjects_.try_emplace(name);
    Subject& subject = place->second;
    std::uint64_t lost = output.failed;
    if (output.outbox) {
        const OutboxStatus& outbox = *output.outbox;
        AppendNumber(counts, R"(,"pending":)", outbox.pending);
        AppendNumber(counts, R"(,"refused":)", outbox.refused);
        AppendNumber(counts, R"(,"discarded":)", outbox.discarded);
        lost += outbox.refused + outbox.discarded;  // what one loses the other gains
        if (added) subject.told = subject.told_lost = outbox.refused;  // by an earlier run
        const bool late = outbox.oldest_ns != 0 && now_ns > outbox.oldest_ns + kLateNs;
        if (late && !std::exchange(subject.late, late)) ++subject.delays;
        subject.late = late;
    }
    Judge({.event_type = kOutputReport,
           .subject = name,
           .source_id = output.output,
           .lost = lost,
           .delays = subject.delays,
           .troubled = output.failing || subject.late,
           .trouble = "Output " + output.output + " fails: " + output.last_error,
           .recovered = "Output " + output.output + " delivers again",
           .counts = std::move(counts)});
}

// The loss is over once a look found no more of it and the queue empty.
void Reports::LookAtQueue(const CoreStatistics& core) {
    const std::uint64_t lost = core.dropped.full + core.dropped.evicted - own_lost_;
    const bool losing = std::exchange(subjects_[std::string(kQueueReport)].last_lost, lost) != lost;
    std::string trouble;
    AppendNumber(trouble, "The queue is full: events are lost beyond ", core.queue_capacity);
    std::string counts;
    AppendNumber(counts, R"("full":)", core.dropped.full);
    AppendNumber(counts, R"(,"evicted":)", core.dropped.evicted);
    Judge({.event_type = kQueueReport,
           .subject = kQueueReport,
           .source_id = "queue",
           .lost = lost,
           .delays = 0,
           .troubled = losing || core.queued != 0,
           .trouble = std::move(trouble),
           .recovered = "The queue has drained",
           .counts = std::move(counts)});
}

void Reports::LookAtConfig(const ConfigStatus& config) {
    std::string counts;
    AppendNumber(counts, R"("failed_reloads":)", failed_reloads_);
    Judge({.event_type = kConfigReport,
           .subject = "zvevent.config:reload",
           .source_id = config.path,
           .lost = failed_reloads_,
           .delays = 0,
           .troubled = reload_failed_,
           .trouble = "The changed configuration is not in force: " + reload_error_,
           .recovered = "The changed configuration is in force",
           .counts = std::move(counts)});

    if (config.unknown_keys != unknown_keys_) {
        unknown_keys_ = config.unknown_keys;
        if (!unknown_keys_.empty()) ++unknown_changes_;
    }
    std::string trouble = "The configuration has keys that mean nothing:";
    for (const std::string& key : unknown_keys_)
        trouble.append(1, ' ').append(key);
    counts.clear();
    AppendNumber(counts, R"("unknown_keys":)", unknown_keys_.size());
    Judge({.event_type = kConfigReport,
           .subject = "zvevent.config:unknown_keys",
           .source_id = config.path,
           .lost = unknown_changes_,
           .delays = 0,
           .troubled = !unknown_keys_.empty(),
           .trouble = std::move(trouble),
           .recovered = "Every key of the configuration has a meaning",
           .counts = std::move(counts)});
}

void Reports::Judge(Finding finding) {
    const auto [place, added] = subjects_.try_emplace(std::string(finding.subject));
    Subject& subject = place->second;
    subject.looked_at = true;
    const std::uint64_t occasions = finding.lost + finding.delays;
    // An output that begins to count anew.
    if (occasions < subject.told) subject.told = subject.told_lost = 0;
    const auto may_tell = [this](std::uint64_t last_ms) {
        return last_ms == 0 || now_ms_ - last_ms >= kQuietMs;
    };
    const std::uint64_t lost = finding.lost - std::min(finding.lost, subject.told_lost);
    if (!subject.raised && occasions != subject.told && may_tell(subject.raised_ms)) {
        subject.raised = Offer("raise", finding, lost, std::move(finding.trouble));
        if (subject.raised) subject.raised_ms = now_ms_;
    }
    if (!subject.raised || finding.troubled || !may_tell(subject.cleared_ms)) return;
    std::string message = std::move(finding.recovered);
    AppendNumber(message, " after ", (now_ms_ - subject.raised_ms) / 1000);
    AppendNumber(message, " s; lost: ", lost);
    if (!Offer("clear", finding, lost, std::move(message))) return;
    subject.raised = false;
    subject.told = occasions;
    subject.told_lost = finding.lost;
    subject.cleared_ms = now_ms_;
}

// A reload took them away.
void Reports::ClearOutputsThatAreGone() {
    for (auto place = subjects_.begin(); place != subjects_.end();) {
        const auto& [name, subject] = *place;
        const std::string_view output =
            std::string_view(name).substr(std::min(name.size(), kOutputReport.size() + 1));
        const bool gone = name.starts_with(kOutputReport) && !subject.looked_at;
        const bool settled =
            gone && (!subject.raised ||
                     Offer("clear",
                           {.event_type = kOutputReport,
                            .subject = name,
                            .source_id = output,
                            .lost = 0,
                            .delays = 0,
                            .troubled = false,
                            .trouble = {},
                            .recovered = {},
                            .counts = {}},
                           0, "Output " + std::string(output) + " is no longer configured"));
        place = settled ? subjects_.erase(place) : std::next(place);
    }
}

bool Reports::Offer(std::string_view action, const Finding& finding, std::uint64_t lost,
                    std::string message) {
    const bool taken = (*submit_)({.action = action,
                                   .event_type = finding.event_type,
                                   .subject = finding.subject,
                                   .source_id = finding.source_id,
                                   .message = std::move(message),
                                   .details_json = '{' + finding.counts + '}',
                                   .lost = lost});
    if (!taken) ++own_lost_;
    return taken;
}

}  // namespace zvevent
