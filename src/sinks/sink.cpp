#include "sinks/sink.h"

#include <utility>

#include "config/config_keys.h"
#include "zvutil/zvutil.h"

zvEventSink::zvEventSink(const zvEventSinkConfig& entry)
    : output_name_(zvevent::OutputName(entry)), minimum_severity_(entry.minimum_severity) {}

std::uint32_t zvEventSink::flush(std::uint32_t) {
    return ZVEVENT_OK;
}

void zvEventSink::hand_over() {}

zvevent::SinkFailure zvEventSink::LastFailure() const {
    const std::scoped_lock lock(failure_mutex_);
    return failure_;
}

void zvEventSink::InheritFailure(const zvEventSink& former) {
    zvevent::SinkFailure failure = former.LastFailure();
    const std::scoped_lock lock(failure_mutex_);
    failure_ = std::move(failure);
}

void zvEventSink::NoteFailure(std::string_view what, std::string_view subject) {
    const std::uint64_t now = zvOSGetTimePTPNano();
    const std::scoped_lock lock(failure_mutex_);
    failure_.text.assign(what).append(subject);
    failure_.utc_ns = now;
}

std::uint32_t zvEventSink::Fail(std::string_view what, std::string_view subject) {
    NoteFailure(what, subject);
    return ZVEVENT_E_FAILURE;
}

std::uint32_t zvEventSink::Refuse(std::string_view what) {
    NoteFailure(what);
    return ZVEVENT_E_INVALID_ARGUMENT;
}

std::uint32_t zvEventSink::Report(std::uint32_t result, std::string* error) const {
    if (result != ZVEVENT_OK && error != nullptr) *error = LastError();
    return result;
}
