#include "format/native_message.h"

#include "base/number_text.h"
#include "base/severity.h"

namespace zvevent {

namespace {

void AppendField(std::string& out, std::string_view key, std::string_view text) {
    out.append(key).append(text.empty() ? std::string_view("-") : text);
}

}  // namespace

void AppendNativeMessage(std::string& out, const zvEventNormalizedEvent& event,
                         std::string_view native_source) {
    out += "zvEvent event_id=";
    AppendDecimal(out, event.event_id);
    AppendField(out, " severity=", SeverityName(event.severity, "info"));
    AppendField(out, " action=", event.action);
    AppendField(out, " event_type=", event.event_type);
    AppendField(out, " source_id=", event.source_id);
    AppendField(out, " source_name=", event.source_name);
    AppendField(out, " native_source=", native_source.empty() ? "zvEvent" : native_source);
    out.append(" message=\"").append(event.message) += '"';
}

void AppendNativeFallback(std::string& out, std::string_view reason, std::string_view message) {
    out.append("zvEvent native Windows Event Log fallback: ").append(reason).append(" | ");
    out.append(message) += '\n';
}

}  // namespace zvevent
