// The webhook output: one HTTP POST an event, of the library's own JSON document or of a
// CloudEvents envelope. Serves entries of both kinds, webhook_http and cloudevents_http.
//
// write runs on the worker and lasts as long as the request, its retries and the pauses between
// them. The sink's mutex is held all that time. With an outbox write only puts the event into it,
// and an event that it does not take goes out directly.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/stop_signal.h"
#include "config/config.h"
#include "sinks/sink.h"
#include "sinks/webhook_outbox.h"
#include "zvutil/zvutil.h"

class zvEventWebhookHttpSink final : public zvEventSink {
public:
    // What the sink sends and waits by.
    struct Transport {
        decltype(&zvOSHTTPStart) start = &zvOSHTTPStart;
        decltype(&zvOSHTTPCommand) command = &zvOSHTTPCommand;
        decltype(&ZVFree) release = &ZVFree;
        // Returns false when no further try may follow.
        bool (*pause)(std::chrono::milliseconds) = [](std::chrono::milliseconds time) {
            return zvevent::StopSignal::Instance().Pause(time);
        };
        decltype(&zvOSHTTPExchange) exchange = &zvOSHTTPExchange;  // from the outbox
    };

    explicit zvEventWebhookHttpSink(const zvEventSinkConfig& config)
        : zvEventWebhookHttpSink(config, Transport()) {}
    zvEventWebhookHttpSink(const zvEventSinkConfig& config, const Transport& transport);

    // Whether the entry's settings can work: ZVEVENT_OK, or ZVEVENT_E_INVALID_ARGUMENT with a text
    // in *error, which may be null. A sink that fails it must not be used; for others the HTTP
    // client is started.
    std::uint32_t Validate(std::string* error) const;

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;
    std::uint32_t flush(std::uint32_t timeout_ms) override;
    void begin() override;
    void end() override;
    std::optional<zvevent::OutboxStatus> Outbox() const override;
    zvevent::SinkFailure LastFailure() const override;

private:
    // All under mutex_.
    bool PutIntoOutbox(const zvEventNormalizedEvent& event);
    void BuildBody(const zvEventNormalizedEvent& event);
    bool Deliver();
    bool Post();

    const Transport transport_;
    const std::string endpoint_url_;
    const std::string payload_mode_;
    const bool sends_cloud_events_;
    const std::uint32_t request_timeout_ms_;
    const std::uint32_t retry_count_;
    const std::uint32_t backoff_ms_;
    const std::string cloudevents_source_;
    const std::string subject_prefix_;
    const std::string headers_;  // of every request, as the HTTP function takes them
    const std::unique_ptr<zvevent::WebhookOutbox> outbox_;  // null: none is configured

    std::mutex mutex_;
    // Guarded by mutex_:
    std::string body_;  // keeps its memory for the next event
    zvevent::OutboxEvent outbox_event_;
};
