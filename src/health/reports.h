// What the library reports about itself, as alerts: an output that fails, a queue that loses
// events, a configuration that could not be reloaded or that it does not understand. Compares one
// status with the ones before and says what is to be raised or cleared, at most one raise and one
// clear of each subject a minute. One thread at a time: the owner locks.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "format/status_document.h"

namespace zvevent {

struct Report {
    std::string_view action;  // "raise" or "clear"
    std::string_view event_type;
    std::string_view subject;    // ties raise and clear together
    std::string_view source_id;  // the output, "queue", or the configuration's path
    std::string message;
    std::string details_json;
    std::uint64_t lost = 0;  // events, or attempts
};

class Reports {
public:
    // Passes a report on. False when it was lost to the full queue: it is offered again at the next
    // look.
    using Submit = std::function<bool(const Report&)>;

    // `now_ms` is monotonic.
    void LookAt(const LibraryStatus& status, std::uint64_t now_ms, const Submit& submit);

    // A reload by watching failed, for the reason given, or succeeded, with an empty one.
    void WatchedReload(std::string_view error);

    // Forgets everything: the library stops.
    void Clear() { *this = Reports(); }

private:
    struct Subject {
        bool raised = false;
        bool looked_at = false;        // by the look under way
        std::uint64_t told = 0;        // occasions that are over and were told of
        std::uint64_t told_lost = 0;   // losses among them
        bool late = false;             // an outbox: its oldest event waits too long
        std::uint64_t delays = 0;      // how often that began
        std::uint64_t last_lost = 0;   // losses at the last look
        std::uint64_t raised_ms = 0;   // last; 0: never
        std::uint64_t cleared_ms = 0;  // likewise
    };
    // What a look finds of a subject.
    struct Finding {
        std::string_view event_type;
        std::string_view subject;
        std::string_view source_id;
        std::uint64_t lost;     // since the start; the first one more raises
        std::uint64_t delays;   // likewise, without a loss
        bool troubled;          // it goes on: there is nothing to clear yet
        std::string trouble;    // the message of a raise
        std::string recovered;  // how the message of a clear begins
        std::string counts;     // members of a JSON object
    };

    void LookAtOutput(const OutputStatus& output, std::uint64_t now_ns);
    void LookAtQueue(const CoreStatistics& core);
    void LookAtConfig(const ConfigStatus& config);
    void Judge(Finding finding);
    void ClearOutputsThatAreGone();
    bool Offer(std::string_view action, const Finding& finding, std::uint64_t lost,
               std::string message);

    std::uint64_t now_ms_ = 0;  // these two are those of the look
    const Submit* submit_ = nullptr;
    std::map<std::string, Subject, std::less<>> subjects_;
    std::uint64_t own_lost_ = 0;  // reports that the full queue dropped
    std::string reload_error_;    // of the last one that failed
    bool reload_failed_ = false;
    std::uint64_t failed_reloads_ = 0;
    std::vector<std::string> unknown_keys_;  // at the last look
    std::uint64_t unknown_changes_ = 0;
};

}  // namespace zvevent
