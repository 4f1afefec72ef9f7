// The CSV output: one row an event, appended to a file that starts with a header line.
//
// write and hand_over run on the worker, flush on any thread; the file has the lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "config/config.h"
#include "sinks/csv_file.h"
#include "sinks/sink.h"

class zvEventCsvSink final : public zvEventSink {
public:
    // Builds the sink and opens its file; `sink` is set only on success. `error` may be null.
    static std::uint32_t Create(const zvEventSinkConfig& config,
                                std::shared_ptr<zvEventCsvSink>* sink, std::string* error);

    explicit zvEventCsvSink(const zvEventSinkConfig& config);

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;
    std::uint32_t flush(std::uint32_t timeout_ms) override;
    void hand_over() override;

private:
    std::uint32_t Settle(bool succeeded, const std::string& error);

    const std::shared_ptr<zvevent::CsvFile> file_;
    const bool flush_each_event_;
};
