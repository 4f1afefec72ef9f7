#include "sinks/native_sink.h"

#include "base/texts.h"
#include "format/native_message.h"

namespace {

using Settings = zvEventSinkConfig::Native;

zvevent::NativeLogSettings SettingsOf(const Settings& native) {
    return {zvevent::OrElse(native.source_name, Settings::kDefaultSourceName),
            zvevent::OrElse(native.facility, Settings::kDefaultFacility),
            zvevent::OrElse(native.subsystem, Settings::kDefaultSubsystem),
            zvevent::OrElse(native.category, Settings::kDefaultCategory)};
}

}  // namespace

zvEventNativeSink::zvEventNativeSink(const zvEventSinkConfig& config, const System& system)
    : zvEventSink(config), system_(system), settings_(SettingsOf(config.native)) {}

std::uint32_t zvEventNativeSink::Open(std::string* error) {
    const std::scoped_lock lock(mutex_);
    return Report(EnsureOpen(), error);
}

std::uint32_t zvEventNativeSink::write(const zvEventNormalizedEvent& event,
                                       std::uint64_t* fallbacks) {
    if (!Admits(event)) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    const std::uint32_t opened = EnsureOpen();
    if (opened != ZVEVENT_OK) return opened;
    if (log_ == nullptr) return Refuse("Invalid zvEvent native log handle");
    if (!Log(event) && fallbacks != nullptr) ++*fallbacks;
    return ZVEVENT_OK;
}

std::uint32_t zvEventNativeSink::EnsureOpen() {
    return log_ != nullptr ? ZVEVENT_OK : OpenLog(&log_);
}

// On failure `log` stays as it is.
std::uint32_t zvEventNativeSink::OpenLog(std::unique_ptr<zvevent::NativeLog>* log) {
    if (log == nullptr) return Refuse("Invalid zvEvent native log handle output");
    auto created = system_.create_log(settings_);
    if (created == nullptr) return Fail("Unable to allocate zvEvent native log handle");
    *log = std::move(created);
    return ZVEVENT_OK;
}

// Returns whether the log took the event; if not, it went the fallback way.
bool zvEventNativeSink::Log(const zvEventNormalizedEvent& event) {
    zvevent::ClearBuffer(message_);
    zvevent::AppendNativeMessage(message_, event, settings_.source_name);
    if (log_->Write(event.severity, message_, reason_)) return true;
    NoteFailure(reason_);
    zvevent::ClearBuffer(fallback_);
    zvevent::AppendNativeFallback(fallback_, reason_, message_);
    system_.fall_back(fallback_);
    return false;
}
