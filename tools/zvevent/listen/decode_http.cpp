// Documents over HTTP: the library's own, CloudEvents, Alertmanager's alerts, and any other JSON.
#include "listen/decode.h"

namespace zvevent::tool {

namespace {

bool IsEvent(const Json& document) {
    return document.is_object() && document.contains("event_id") && document.contains("message") &&
           document.contains("severity");
}

// An array of alerts, as they are posted to Alertmanager.
bool AreAlerts(const Json& document) {
    if (!document.is_array() || document.empty()) return false;
    for (const Json& alert : document)
        if (!alert.is_object() || !alert.contains("labels") || !alert["labels"].is_object())
            return false;
    return true;
}

void DecodeCloudEvent(Json& envelope, Json& message) {
    Json data = std::move(envelope["data"]);
    envelope.erase("data");
    message["cloudevent"] = std::move(envelope);
    const char* const name = IsEvent(data) ? "event" : "json";
    message[name] = std::move(data);
}

}  // namespace

std::string DecodeHttp(const Received& received, Json& message) {
    message["path"] = received.path;
    message["headers"] = received.headers;
    if (!received.refused.empty()) return received.refused;
    Json document;
    std::string error = ParseJson(received.bytes, document);
    if (!error.empty()) return error;
    if (document.is_object() && document.contains("specversion"))
        DecodeCloudEvent(document, message);
    else if (IsEvent(document))
        message["event"] = std::move(document);
    else if (AreAlerts(document))
        message["alerts"] = std::move(document);
    else if (document.is_object() && document.contains("alerts") && AreAlerts(document["alerts"]))
        message["alerts"] = std::move(document["alerts"]);
    else
        message["json"] = std::move(document);
    return "";
}

}  // namespace zvevent::tool
