#include "sinks/webhook_http_sink.h"

#include <limits>
#include <string_view>

#include "base/ascii.h"
#include "base/texts.h"
#include "config/sink_faults.h"
#include "format/cloud_event.h"
#include "format/json_event.h"
#include "sinks/webhook_request.h"

namespace {

using Settings = zvEventSinkConfig::WebhookHttp;

std::uint32_t FirstNonZero(std::uint32_t first, std::uint32_t second) {
    return first != 0 ? first : second;
}

std::string PayloadMode(const zvEventSinkConfig& config) {
    if (config.kind == zvEventSinkKind::cloudevents_http) return "cloudevents";
    return zvevent::OrElse(config.webhook_http.payload_mode, Settings::kDefaultPayloadMode);
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
      headers_(zvevent::WebhookHeaderLines(config, sends_cloud_events_)),
      outbox_(zvevent::WebhookOutbox::Of(
          config, OutputName(),
          {endpoint_url_, request_timeout_ms_, backoff_ms_, transport.exchange})) {}

std::uint32_t zvEventWebhookHttpSink::Validate(std::string* error) const {
    const char* fault = zvevent::WebhookFault(endpoint_url_, payload_mode_);
    if (fault == nullptr && outbox_ != nullptr) fault = outbox_->Fault();
    if (fault != nullptr) {
        if (error != nullptr) *error = fault;
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    transport_.start();
    return ZVEVENT_OK;
}

std::uint32_t zvEventWebhookHttpSink::write(const zvEventNormalizedEvent& event,
                                            std::uint64_t* fallbacks) {
    if (!Admits(event)) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    BuildBody(event);
    bool delivered = outbox_ != nullptr && PutIntoOutbox(event);
    if (!delivered) {
        delivered = Deliver();
        if (outbox_ != nullptr && fallbacks != nullptr) ++*fallbacks;
    }
    zvevent::ClearBuffer(body_);
    return delivered ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

std::uint32_t zvEventWebhookHttpSink::flush(std::uint32_t timeout_ms) {
    return outbox_ == nullptr || outbox_->Flush(timeout_ms) ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
}

void zvEventWebhookHttpSink::begin() {
    if (outbox_ == nullptr) return;
    const std::scoped_lock lock(mutex_);
    std::string trouble;
    outbox_->Begin(trouble);
    if (!trouble.empty()) NoteFailure(trouble);
}

void zvEventWebhookHttpSink::end() {
    if (outbox_ != nullptr) outbox_->End();
}

std::optional<zvevent::OutboxStatus> zvEventWebhookHttpSink::Outbox() const {
    if (outbox_ == nullptr) return std::nullopt;
    return outbox_->Status();
}

zvevent::SinkFailure zvEventWebhookHttpSink::LastFailure() const {
    zvevent::SinkFailure own = zvEventSink::LastFailure();
    if (outbox_ == nullptr) return own;
    zvevent::SinkFailure sender = outbox_->LastFailure();
    return sender.utc_ns > own.utc_ns ? sender : own;
}

bool zvEventWebhookHttpSink::PutIntoOutbox(const zvEventNormalizedEvent& event) {
    zvevent::OutboxEvent& put = outbox_event_;
    put.severity = event.severity;
    put.format = sends_cloud_events_ ? 1 : 0;
    put.body.swap(body_);
    std::string trouble;
    const bool accepted = outbox_->Put(put, trouble);
    put.body.swap(body_);
    if (!trouble.empty()) NoteFailure(trouble);
    return accepted;
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
    NoteFailure("zvEvent webhook POST failed: ", zvevent::UrlWithoutCredentials(endpoint_url_));
    return false;
}
