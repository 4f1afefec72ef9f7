#include "platform/native_log.h"

#include <windows.h>

#include <new>
#include <string_view>

#include "base/number_text.h"
#include "platform/windows/event_source_key.h"
#include "zvEvent/zvEvent.h"

namespace zvevent {

namespace {

// The entry of the library's message table: the text as it is.
constexpr DWORD kEventId = 0x1000;

constexpr WORD EventType(std::uint32_t severity) {
    switch (severity) {
        case zvEventSeverityError:
            return EVENTLOG_ERROR_TYPE;
        case zvEventSeverityWarning:
            return EVENTLOG_WARNING_TYPE;
        default:
            return EVENTLOG_INFORMATION_TYPE;
    }
}

bool Refused(std::string_view what, std::string& reason) {
    const DWORD code = GetLastError();
    reason.assign(what).append(" error=");
    AppendDecimal(reason, code);
    return false;
}

class EventLog final : public NativeLog {
public:
    explicit EventLog(const NativeLogSettings& settings)
        : source_name_(settings.source_name), source_key_(EventSourceKey(settings.source_name)) {}

    ~EventLog() override {
        if (source_ != nullptr) DeregisterEventSource(source_);
    }

    bool Write(std::uint32_t severity, const std::string& text, std::string& reason) override {
        // Windows would take entries of an unknown source too, but show them as without a
        // description; whether ours is known can change at any time.
        if (!IsRegistered()) {
            reason.assign("source '").append(source_name_).append("' is not registered");
            return false;
        }
        if (source_ == nullptr) source_ = RegisterEventSourceA(nullptr, source_name_.c_str());
        if (source_ == nullptr) return Refused("RegisterEventSourceA failed", reason);
        LPCSTR strings[] = {text.c_str()};
        if (ReportEventA(source_, EventType(severity), 0, kEventId, nullptr, 1, 0, strings,
                         nullptr) == 0) {
            return Refused("ReportEventA failed", reason);
        }
        return true;
    }

private:
    bool IsRegistered() const {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, source_key_.c_str(), 0, KEY_READ, &key) !=
            ERROR_SUCCESS) {
            return false;
        }
        RegCloseKey(key);
        return true;
    }

    const std::string source_name_;
    const std::string source_key_;
    HANDLE source_ = nullptr;
};

}  // namespace

std::unique_ptr<NativeLog> NativeLog::Create(const NativeLogSettings& settings) noexcept {
    try {
        return std::make_unique<EventLog>(settings);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace zvevent
