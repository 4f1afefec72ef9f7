#include "sinks/csv_sink.h"

std::uint32_t zvEventCsvSink::Create(const zvEventSinkConfig& config,
                                     std::shared_ptr<zvEventCsvSink>* sink, std::string* error) {
    if (sink == nullptr) {
        if (error != nullptr) *error = "Invalid zvEvent CSV sink output";
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    auto created = std::make_shared<zvEventCsvSink>(config);
    std::string reason;
    const bool opened = created->file_->Open(reason);
    if (opened) *sink = created;
    return created->Report(created->Settle(opened, reason), error);
}

zvEventCsvSink::zvEventCsvSink(const zvEventSinkConfig& config)
    : zvEventSink(config),
      file_(zvevent::CsvFile::Of(config.csv.path)),
      flush_each_event_(config.csv.flush_each_event) {}

std::uint32_t zvEventCsvSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (!Admits(event)) return ZVEVENT_OK;
    std::string error;
    return Settle(file_->Write(event, flush_each_event_, error), error);
}

std::uint32_t zvEventCsvSink::flush(std::uint32_t timeout_ms) {
    std::string error;
    return Settle(file_->Flush(timeout_ms, error), error);
}

void zvEventCsvSink::hand_over() {
    flush(0);
}

// A failure without a text has been told before.
std::uint32_t zvEventCsvSink::Settle(bool succeeded, const std::string& error) {
    if (succeeded) return ZVEVENT_OK;
    return error.empty() ? ZVEVENT_E_FAILURE : Fail(error);
}
