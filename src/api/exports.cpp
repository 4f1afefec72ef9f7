// The exported functions: each calls one body inside the exception guard.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "api/event_source_registration.h"
#include "api/exception_guard.h"
#include "api/lifecycle.h"
#include "base/last_error.h"
#include "platform/cancellation_shield.h"
#include "platform/process.h"
#include "zvEvent/zvEvent.h"

namespace {

using zvevent::CancellationShield;
using zvevent::Guarded;
using zvevent::Lifecycle;

std::uint32_t Finish(std::uint32_t result, std::string_view error) {
    zvevent::SetLastErrorText(error);
    return result;
}

// The guard of every export that takes a lock. At the end of the process on Windows a thread that
// is gone may have held it.
template <typename Body>
std::uint32_t GuardedWithLocks(const char* name, Body&& body) {
    return Guarded(name, [&] {
        if (zvevent::ProcessEnds()) return Finish(ZVEVENT_E_FAILURE, zvevent::kProcessEnds);
        return body();
    });
}

std::uint32_t CopyLastError(char* buffer, std::uint32_t buffer_size) {
    if (buffer == nullptr || buffer_size == 0) {
        return Finish(ZVEVENT_E_INVALID_ARGUMENT, "Invalid last-error buffer");
    }
    const std::string_view text = zvevent::LastErrorText();
    const std::size_t length = std::min<std::size_t>(text.size(), buffer_size - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return ZVEVENT_OK;
}

}  // namespace

std::uint32_t zvEventInitialize(const char* config_path) {
    const CancellationShield shield;
    return GuardedWithLocks("zvEventInitialize",
                            [&] { return Lifecycle::Instance().Initialize(config_path); });
}

std::uint32_t zvEventShutdown() {
    const CancellationShield shield;
    return GuardedWithLocks("zvEventShutdown", [] { return Lifecycle::Instance().Shutdown(); });
}

std::uint32_t zvEventReloadConfig(const char* config_path) {
    const CancellationShield shield;
    return GuardedWithLocks("zvEventReloadConfig",
                            [&] { return Lifecycle::Instance().Reload(config_path); });
}

std::uint32_t zvEventFlush(std::uint32_t timeout_ms) {
    const CancellationShield shield;
    return GuardedWithLocks("zvEventFlush",
                            [&] { return Lifecycle::Instance().Flush(timeout_ms); });
}

std::uint32_t zvEventSubmit(const zvEventRecord* record) {
    return GuardedWithLocks("zvEventSubmit", [&] { return Lifecycle::Instance().Submit(record); });
}

std::uint32_t zvEventSubmitSimple(std::uint32_t event_id, std::uint32_t severity,
                                  const char* source_name, const char* message) {
    zvEventRecord record = zvEventRecordInit();
    record.event_id = event_id;
    record.event_type = "simple";
    record.source_name = source_name;  // NULL takes the default
    record.message = message;
    record.severity = severity;
    return zvEventSubmit(&record);
}

std::uint32_t zvEventRegisterCallback(zvEventCallback callback, void* user_data,
                                      std::uint32_t* out_id) {
    return GuardedWithLocks("zvEventRegisterCallback", [&] {
        if (callback == nullptr || out_id == nullptr) {
            return Finish(ZVEVENT_E_INVALID_ARGUMENT, "Invalid callback registration arguments");
        }
        Lifecycle::Instance().callbacks().Register(callback, user_data, out_id);
        return Finish(ZVEVENT_OK, {});
    });
}

std::uint32_t zvEventUnregisterCallback(std::uint32_t callback_id) {
    return GuardedWithLocks("zvEventUnregisterCallback", [&] {
        if (!Lifecycle::Instance().callbacks().Unregister(callback_id)) {
            return Finish(ZVEVENT_E_NOT_FOUND, "Callback id was not found");
        }
        return Finish(ZVEVENT_OK, {});
    });
}

std::uint32_t zvEventGetLastError(char* buffer, std::uint32_t buffer_size) {
    return Guarded("zvEventGetLastError", [&] { return CopyLastError(buffer, buffer_size); });
}

std::uint32_t zvEventGetApiVersion() {
    return ZVEVENT_API_VERSION;
}

std::uint32_t zvEventInstallWindowsEventSource(const char* source_name,
                                               const char* message_file_path) {
    return Guarded("zvEventInstallWindowsEventSource", [&] {
        std::string error = "Windows Event Log source installation failed";
        const std::uint32_t result =
            zvevent::InstallEventSource(source_name, message_file_path, error);
        return Finish(result, result == ZVEVENT_OK ? std::string_view() : error);
    });
}

std::uint32_t zvEventRemoveWindowsEventSource(const char* source_name) {
    return Guarded("zvEventRemoveWindowsEventSource", [&] {
        std::string error = "Windows Event Log source removal failed";
        const std::uint32_t result = zvevent::RemoveEventSource(source_name, error);
        return Finish(result, result == ZVEVENT_OK ? std::string_view() : error);
    });
}
