#include "sinks/webhook_http_sink.h"

#include <limits>
#include <string_view>

#include "base/ascii.h"
#include "base/number_text.h"
#include "base/texts.h"
#include "config/sink_faults.h"
#include "format/cloud_event.h"
#include "format/json_event.h"
#include "format/text.h"

namespace {

using Settings = zvEventSinkConfig::WebhookHttp;

// Between two header lines.
constexpr char kLineEnd = '\xA7';

std::uint32_t FirstNonZero(std::uint32_t first, std::uint32_t second) {
    return first != 0 ? first : second;
}

std::string PayloadMode(const zvEventSinkConfig& config) {
    if (config.kind == zvEventSinkKind::cloudevents_http) return "cloudevents";
    return zvevent::OrElse(config.webhook_http.payload_mode, Settings::kDefaultPayloadMode);
}

// A user name and password in a URL are refused by the HTTP layer, and must not come out in a text.
// What looks like a port and is no number may be the start of a password with a "/" in it.
std::string WithoutCredentials(const std::string& url) {
    const std::size_t host = url.find("//") + 2;
    const std::string_view authority =
        std::string_view(url).substr(host, url.find_first_of("/?#", host) - host);
    const std::string_view port =
        authority.substr(std::min(authority.rfind(':'), authority.size()));
    const bool is_plain =
        authority.starts_with('[') || port.find_first_not_of(":0123456789") == port.npos;
    if (is_plain && authority.find('@') == authority.npos) return url;
    const std::size_t at = url.rfind('@');
    if (at == std::string::npos) return url;
    return url.substr(0, host) + url.substr(at + 1);
}

void AppendLine(std::string& lines, std::string_view name, std::string_view value) {
    if (!lines.empty()) lines += kLineEnd;
    lines.append(name).append(value);
}

// The configured lines: `text` holds several, separated by "|" or line ends.
void AppendConfiguredLines(std::string& lines, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("|\r\n");
        const std::string_view line = zvevent::Trimmed(text.substr(0, end));
        if (!line.empty()) AppendLine(lines, line, {});
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

// Settings of the request travel as header lines too.
std::string HeaderLines(const zvEventSinkConfig& config, bool cloud_events) {
    const Settings& webhook = config.webhook_http;
    std::string lines;
    AppendLine(lines, "Content-Type: ",
               cloud_events ? "application/cloudevents+json; charset=utf-8"
                            : "application/json; charset=utf-8");
    AppendLine(lines, "Accept: ", "application/json");
    AppendLine(lines, "User-Agent: ", "zvEvent/1.0");
    AppendLine(lines, "X-zvEvent-TLS-Verify: ", webhook.tls_verify ? "1" : "0");
    if (webhook.connect_timeout_ms != 0) {
        AppendLine(lines, "X-zvEvent-Connect-Timeout-Ms: ", {});
        zvevent::AppendDecimal(lines, webhook.connect_timeout_ms);
    }
    if (!webhook.ca_file.empty()) AppendLine(lines, "X-zvEvent-CA-File: ", webhook.ca_file);
    AppendConfiguredLines(lines,
                          zvevent::OrElse(webhook.headers, config.cloudevents_http.auth_header));
    if (!webhook.bearer_token.empty()) {
        AppendLine(lines, "Authorization: Bearer ", webhook.bearer_token);
    }
    if (!webhook.basic_username.empty() || !webhook.basic_password.empty()) {
        AppendLine(lines, "Authorization: Basic ",
                   zvevent::Base64Encode(webhook.basic_username + ':' + webhook.basic_password));
    }
    return lines;
}

}  // namespace

zvEventWebhookHttpSink::zvEventWebhookHttpSink(const zvEventSinkConfig& config,
                                               const Transport& transport)
    : zvEventSink(config),
      transport_(transport),
      endpoint_url_(
          zvevent::OrElse(config.webhook_http.endpoint_url, config.cloudevents_http.endpoint_url)),
      payload_mode_(PayloadMode(config)),
      sends_cloud_events_(zvevent::IsCloudEventsMode(payload_mode_)),
      request_timeout_ms_(FirstNonZero(
          FirstNonZero(config.webhook_http.request_timeout_ms, config.cloudevents_http.timeout_ms),
          Settings::kDefaultRequestTimeoutMs)),
      retry_count_(config.webhook_http.retry_count),
      backoff_ms_(retry_count_ != 0
                      ? FirstNonZero(config.webhook_http.backoff_ms, Settings::kDefaultBackoffMs)
                      : config.webhook_http.backoff_ms),
      cloudevents_source_(
          zvevent::OrElse(config.webhook_http.cloudevents_source, config.cloudevents_http.source)),
      subject_prefix_(zvevent::OrElse(config.webhook_http.cloudevents_subject_prefix,
                                      config.cloudevents_http.subject_prefix)),
      headers_(HeaderLines(config, sends_cloud_events_)) {}

std::uint32_t zvEventWebhookHttpSink::Validate(std::string* error) const {
    if (const char* const fault = zvevent::WebhookFault(endpoint_url_, payload_mode_)) {
        if (error != nullptr) *error = fault;
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    transport_.start();
    return ZVEVENT_OK;
}

std::uint32_t zvEventWebhookHttpSink::write(const zvEventNormalizedEvent& event, std::uint64_t*) {
    if (!Admits(event)) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    BuildBody(event);
    const bool delivered = Deliver();
    zvevent::ClearBuffer(body_);
    return delivered ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

void zvEventWebhookHttpSink::BuildBody(const zvEventNormalizedEvent& event) {
    body_.clear();
    if (sends_cloud_events_) {
        zvevent::AppendCloudEventJson(body_, event, cloudevents_source_, subject_prefix_);
    } else {
        zvevent::AppendNativeEventJson(body_, event);
    }
}

bool zvEventWebhookHttpSink::Deliver() {
    // One try more than retries, in the same 32 bits: the largest retry_count asks for none.
    const std::uint32_t tries = retry_count_ + 1;
    for (std::uint32_t tried = 0; tried < tries; ++tried) {
        if (tried != 0 && !transport_.pause(std::chrono::milliseconds(backoff_ms_))) return false;
        if (Post()) return true;
    }
    return false;
}

bool zvEventWebhookHttpSink::Post() {
    if (body_.size() <= std::numeric_limits<std::uint32_t>::max()) {
        void* response = nullptr;
        std::uint32_t response_length = 0;
        const std::uint32_t sent =
            transport_.command(endpoint_url_.c_str(), "POST", headers_.c_str(), body_.c_str(),
                               static_cast<std::uint32_t>(body_.size()), &response,
                               &response_length, request_timeout_ms_);
        if (response != nullptr) transport_.release(response);
        if (sent != 0) return true;
    }
    NoteFailure("zvEvent webhook POST failed: ", WithoutCredentials(endpoint_url_));
    return false;
}
