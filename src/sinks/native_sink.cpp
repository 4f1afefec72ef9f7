#include "sinks/native_sink.h"

#include "format/native_message.h"
#include "platform/debug_output.h"

namespace zvevent {

std::uint32_t OpenNativeLog(const NativeLogSettings& settings, std::unique_ptr<NativeLog>* log,
                            std::string& error) {
    if (log == nullptr) {
        error = "Invalid zvEvent native log handle output";
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    auto created = NativeLog::Create(settings);
    if (created == nullptr) {
        error = "Unable to allocate zvEvent native log handle";
        return ZVEVENT_E_FAILURE;
    }
    *log = std::move(created);
    return ZVEVENT_OK;
}

}  // namespace zvevent

namespace {

// What one unusually large event leaves reserved, at most.
constexpr std::size_t kKeptBytes = 64 * 1024;

std::string TextOr(const std::string& text, const char* absent) {
    return text.empty() ? std::string(absent) : text;
}

zvevent::NativeLogSettings SettingsOf(const zvEventSinkConfig::Native& native) {
    return {TextOr(native.source_name, "zvEvent"), TextOr(native.facility, "local4"),
            TextOr(native.subsystem, "com.zavorin.zvEvent"), TextOr(native.category, "events")};
}

void Clear(std::string& text) {
    if (text.capacity() > kKeptBytes) {
        text = std::string();
    } else {
        text.clear();
    }
}

}  // namespace

zvEventNativeSink::zvEventNativeSink(const zvEventSinkConfig& config)
    : settings_(SettingsOf(config.native)), minimum_severity_(config.minimum_severity) {}

std::uint32_t zvEventNativeSink::Open(std::string* error) {
    const std::scoped_lock lock(mutex_);
    const std::uint32_t result = EnsureOpen();
    if (result != ZVEVENT_OK && error != nullptr) *error = last_error_;
    return result;
}

std::uint32_t zvEventNativeSink::write(const zvEventNormalizedEvent& event,
                                       std::uint64_t* fallbacks) {
    if (event.severity < minimum_severity_) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    const std::uint32_t opened = EnsureOpen();
    if (opened != ZVEVENT_OK) return opened;
    if (log_ == nullptr) {
        last_error_ = "Invalid zvEvent native log handle";
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    if (!Log(event) && fallbacks != nullptr) ++*fallbacks;
    return ZVEVENT_OK;
}

std::string zvEventNativeSink::LastError() {
    const std::scoped_lock lock(mutex_);
    return last_error_;
}

std::uint32_t zvEventNativeSink::EnsureOpen() {
    if (log_ != nullptr) return ZVEVENT_OK;
    return zvevent::OpenNativeLog(settings_, &log_, last_error_);
}

// Returns whether the log took the event; if not, it went the fallback way.
bool zvEventNativeSink::Log(const zvEventNormalizedEvent& event) {
    Clear(message_);
    zvevent::AppendNativeMessage(message_, event, settings_.source_name);
    if (log_->Write(event.severity, message_, last_error_)) return true;
    Clear(fallback_);
    zvevent::AppendNativeFallback(fallback_, last_error_, message_);
    zvevent::WriteDebugOutput(fallback_);
    return false;
}
