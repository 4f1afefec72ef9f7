#include "sinks/webhook_outbox.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/ascii.h"
#include "base/contain.h"
#include "base/stop_signal.h"
#include "base/texts.h"
#include "config/sink_faults.h"
#include "sinks/webhook_request.h"

namespace zvevent {

namespace {

using Settings = zvEventSinkConfig::WebhookHttp;

std::string PathOf(const zvEventSinkConfig& config) {
    return OrElse(config.webhook_http.outbox, config.cloudevents_http.outbox);
}

}  // namespace

std::unique_ptr<WebhookOutbox> WebhookOutbox::Of(const zvEventSinkConfig& config,
                                                 const std::string& output, Request request) {
    if (PathOf(config).empty()) return nullptr;
    return std::unique_ptr<WebhookOutbox>(new WebhookOutbox(config, output, std::move(request)));
}

WebhookOutbox::WebhookOutbox(const zvEventSinkConfig& config, std::string output, Request request)
    : output_(std::move(output)),
      outbox_(Outbox::Of(PathOf(config))),
      delivery_(std::make_shared<OutboxDelivery>()) {
    const std::string limit =
        OrElse(config.webhook_http.outbox_limit, config.cloudevents_http.outbox_limit);
    const std::string sync =
        OrElse(config.webhook_http.outbox_sync, config.cloudevents_http.outbox_sync);
    fault_ = OutboxStore::IsBuiltIn() ? OutboxFault(limit, sync)
                                      : "zvEvent webhook outbox is not part of this build";
    ParseOutboxLimit(limit, delivery_->limit);
    delivery_->sync_each = EqualsLowerAscii(sync, "full");
    delivery_->backoff_ms =
        request.backoff_ms != 0 ? request.backoff_ms : Settings::kDefaultBackoffMs;
    delivery_->failure_text = "zvEvent webhook POST failed: " + UrlWithoutCredentials(request.url);
    // By the body's format, which a reload may have changed since it was put in.
    std::array<std::string, 2> headers = {WebhookHeaderLines(config, false),
                                          WebhookHeaderLines(config, true)};
    delivery_->send = [headers = std::move(headers), request = std::move(request)](
                          const OutboxEvent& event, OutboxDelivery::Proceed proceed,
                          void* context) {
        zvOSHTTPAnswer answer{};
        request.exchange(request.url.c_str(), "POST", headers[event.format != 0 ? 1 : 0].c_str(),
                         event.body.data(), static_cast<std::uint32_t>(event.body.size()),
                         request.timeout_ms, &answer, proceed, context);
        return answer;
    };
}

bool WebhookOutbox::Begin(std::string& trouble) {
    trouble = "The outbox has no thread";
    Contain([&] { in_use_ = outbox_->Use(this, output_, delivery_, trouble); });
    return in_use_;
}

void WebhookOutbox::End() {
    if (!ended_.exchange(true)) outbox_->Leave(this);
}

bool WebhookOutbox::Put(OutboxEvent& event, std::string& trouble) {
    trouble.clear();
    if (!in_use_ && (ended_ || !Begin(trouble))) return false;
    event.put_ns = zvOSGetTimePTPNano();
    return outbox_->Put(event, trouble);
}

bool WebhookOutbox::Flush(std::uint32_t timeout_ms) {
    if (ended_) return true;
    auto end = StopSignal::Instance().End();
    const bool stopping = end.has_value();
    if (timeout_ms != 0) {
        const auto own = Outbox::Clock::now() + std::chrono::milliseconds(timeout_ms);
        end = end ? std::min(*end, own) : own;
    }
    return outbox_->Flush(end) || stopping || ended_;
}

}  // namespace zvevent
