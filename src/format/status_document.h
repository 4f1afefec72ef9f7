// What the library knows about itself, as a document for operators: JSON, or the Prometheus text
// format for a collector that reads files. Everything is appended to the caller's text. Pure
// functions, any thread; they fail only when there is no memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/core_statistics.h"

namespace zvevent {

// What an output keeps on disk until its receiver has it.
struct OutboxStatus {
    std::uint64_t pending = 0;
    std::uint64_t oldest_ns = 0;  // when the first of them was put in; 0: there is none
    std::uint64_t refused = 0;    // kept aside: the receiver will never take them
    std::uint64_t discarded = 0;  // since the start, to make room

    bool operator==(const OutboxStatus&) const = default;
};

// One output since it was first opened; a reload that keeps it keeps the counts.
struct OutputStatus {
    std::string output;           // kind and instance, such as "webhook/http/default"; "callbacks"
    std::uint64_t delivered = 0;  // every event given to it is one of these three
    std::uint64_t below_severity = 0;  // less severe than the output's own minimum
    std::uint64_t failed = 0;
    std::uint64_t fallback = 0;  // of those delivered: by a way around only
    bool failing = false;        // the last event was lost
    std::string last_error;
    std::uint64_t last_error_ns = 0;      // nanoseconds since 1970-01-01 UTC; 0: never
    std::uint64_t last_delivered_ns = 0;  // likewise
    std::optional<OutboxStatus> outbox;   // of an output that has one

    bool operator==(const OutputStatus&) const = default;
};

struct ConfigStatus {
    std::string path;                  // of the configuration in force
    std::uint64_t reloads = 0;         // that succeeded
    std::uint64_t last_reload_ns = 0;  // 0: none yet
    std::string last_error;            // of the last reload, empty when it succeeded
    std::vector<std::string> unknown_keys;

    bool operator==(const ConfigStatus&) const = default;
};

struct LibraryStatus {
    std::uint32_t pid = 0;
    std::string host;
    std::uint64_t started_ns = 0;
    std::uint64_t written_ns = 0;
    bool initialized = false;
    bool enabled = true;  // the master switch of the core
    ConfigStatus config;
    CoreStatistics core;
    std::vector<OutputStatus> outputs;  // in order of delivery

    bool operator==(const LibraryStatus&) const = default;
};

// One JSON object in one line, with a line feed. docs/schema/zvevent-status.schema.json describes
// it.
void AppendStatusJson(std::string& out, const LibraryStatus& status);

// The same figures as metrics whose names begin with "zvevent_".
void AppendStatusMetrics(std::string& out, const LibraryStatus& status);

}  // namespace zvevent
