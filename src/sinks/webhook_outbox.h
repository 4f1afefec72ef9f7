// A webhook output's way through an outbox: its settings, and when it uses the outbox. Put and
// Begin belong to one thread at a time, whose owner locks; the rest is any thread's.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "config/config.h"
#include "sinks/outbox.h"
#include "zvutil/zvutil.h"

namespace zvevent {

class WebhookOutbox {
public:
    struct Request {
        std::string url;
        std::uint32_t timeout_ms = 0;
        std::uint32_t backoff_ms = 0;
        decltype(&zvOSHTTPExchange) exchange = nullptr;
    };

    // The outbox of an entry; null when it names none.
    static std::unique_ptr<WebhookOutbox> Of(const zvEventSinkConfig& config,
                                             const std::string& output, Request request);

    ~WebhookOutbox() { End(); }
    WebhookOutbox(const WebhookOutbox&) = delete;
    WebhookOutbox& operator=(const WebhookOutbox&) = delete;

    // What is wrong with the settings; null: nothing.
    const char* Fault() const { return fault_; }

    // Sends from the outbox from now on, with what is left in it from earlier. False, or true and a
    // `trouble`, when it cannot be used so far: Put tries again.
    bool Begin(std::string& trouble);

    // The output is replaced: what it still puts in is its successor's to send. Waits as
    // Outbox::Leave does.
    void End();

    // Whether the outbox has accepted the event. Without a `trouble` that was told of before.
    bool Put(OutboxEvent& event, std::string& trouble);

    // Waits until what was put in has gone out; 0: without a limit. A stop gives it the time that
    // it has left, and is content with what is safe in the file. Returns whether the flush has
    // succeeded.
    bool Flush(std::uint32_t timeout_ms);

    OutboxStatus Status() const { return outbox_->Status(); }
    SinkFailure LastFailure() const { return outbox_->LastFailure(); }

private:
    WebhookOutbox(const zvEventSinkConfig& config, std::string output, Request request);

    const std::string output_;
    const std::shared_ptr<Outbox> outbox_;
    std::shared_ptr<OutboxDelivery> delivery_;
    const char* fault_ = nullptr;
    bool in_use_ = false;
    std::atomic<bool> ended_{false};
};

}  // namespace zvevent
