#include "api/event_source_registration.h"

#include <string_view>

#include "base/number_text.h"
#include "platform/event_source.h"
#include "zvEvent/zvEvent.h"

namespace zvevent {

namespace {

bool IsValidName(const char* name) {
    return name != nullptr && *name != '\0' &&
           std::string_view(name).find('\\') == std::string_view::npos;
}

std::uint32_t RefuseName(std::string& error) {
    error = "Invalid Windows Event Log source name";
    return ZVEVENT_E_INVALID_ARGUMENT;
}

std::string_view TextOf(EventSourceStep step) {
    switch (step) {
        case EventSourceStep::kCreateKey:
            return "Unable to create Windows Event Log source registry key";
        case EventSourceStep::kSetValue:
            return "Unable to set Windows Event Log source registry value";
        case EventSourceStep::kDeleteKey:
            return "Unable to remove Windows Event Log source registry key";
        case EventSourceStep::kNone:
            break;
    }
    return {};
}

std::uint32_t Report(const EventSourceResult& result, std::string& error) {
    if (result.refused == EventSourceStep::kNone) return ZVEVENT_OK;
    error.assign(TextOf(result.refused)).append(" error=");
    AppendDecimal(error, result.code);
    return ZVEVENT_E_FAILURE;
}

}  // namespace

std::uint32_t InstallEventSource(const char* name, const char* message_file, std::string& error) {
    if (!IsValidName(name)) return RefuseName(error);
    return Report(CreateEventSource(name, message_file != nullptr ? message_file : ""), error);
}

std::uint32_t RemoveEventSource(const char* name, std::string& error) {
    if (!IsValidName(name)) return RefuseName(error);
    return Report(DeleteEventSource(name), error);
}

}  // namespace zvevent
