// The CSV output: one row an event, appended to a file that starts with a header line.
//
// Rows are collected and handed to the file at row ends only, each time by one append, so that
// several writers of one file never tear each other's rows. write runs on the worker, flush on any
// thread; the sink's mutex guards both.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "config/config.h"
#include "platform/append_file.h"
#include "sinks/sink.h"

class zvEventCsvSink final : public zvEventSink {
public:
    // Builds the sink and opens its file; `sink` is set only on success. `error` may be null.
    static std::uint32_t Create(const zvEventSinkConfig& config,
                                std::shared_ptr<zvEventCsvSink>* sink, std::string* error);

    explicit zvEventCsvSink(const zvEventSinkConfig& config);
    ~zvEventCsvSink() override;  // hands over what is collected

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;
    std::uint32_t flush(std::uint32_t timeout_ms) override;

private:
    // All under mutex_.
    std::uint32_t EnsureOpen();
    bool WriteHeader();
    bool HandOver();

    const std::string path_;
    const bool flush_each_event_;

    std::mutex mutex_;
    // Guarded by mutex_:
    zvevent::AppendFile file_;
    std::string pending_;  // whole rows that are not in the file yet
    std::string row_end_;  // what ends the row that the file was full in the middle of
};
