// What the outbox of the webhook output costs: the worker, which puts events in, and the receiver,
// which gets them out of it rather than directly. The receiver is a thread of this process that
// answers 204 to every request; both ways post the same bodies of about 600 bytes to it over one
// kept connection. Files lie in the folder for temporary files: what its disk is decides.
#include <benchmark/benchmark.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "sample_record.h"
#include "sinks/webhook_http_sink.h"
#include "temporary_path.h"

namespace {

using Clock = std::chrono::steady_clock;

class Receiver {
public:
    Receiver() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(socket_, generic, size) != 0 || listen(socket_, 16) != 0) std::abort();
        getsockname(socket_, generic, &size);
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
        std::thread([this] {
            for (;;) {
                const int connection = accept(socket_, nullptr, nullptr);
                std::thread([connection] { Answer(connection); }).detach();
            }
        }).detach();
    }

    const std::string& url() const { return url_; }

private:
    // A request ends with the "}" of its body, which holds no other at its very end.
    static void Answer(int connection) {
        constexpr std::string_view kAnswer = "HTTP/1.1 204 Good\r\n\r\n";
        char bytes[16384];
        ssize_t got = 0;
        while ((got = recv(connection, bytes, sizeof bytes, 0)) > 0) {
            if (bytes[got - 1] == '}') send(connection, kAnswer.data(), kAnswer.size(), 0);
        }
        close(connection);
    }

    const int socket_;
    std::string url_;
};

const std::string& ReceiverUrl() {
    static auto& receiver = *new Receiver();  // never destroyed: its threads run until the end
    return receiver.url();
}

// An output whose outbox lies in a fresh file, or without one.
class Output {
public:
    Output(const std::string& url, bool with_outbox, const char* sync = "") {
        std::filesystem::remove_all(folder_);
        config_.kind = zvEventSinkKind::webhook_http;
        config_.webhook_http.endpoint_url = url;
        if (with_outbox) config_.webhook_http.outbox = (folder_ / "bench.outbox").string();
        config_.webhook_http.outbox_limit = "10000000";
        config_.webhook_http.outbox_sync = sync;
        sink_ = std::make_unique<zvEventWebhookHttpSink>(config_);
        if (sink_->Validate(nullptr) != ZVEVENT_OK) std::abort();
        sink_->begin();
    }
    ~Output() {
        sink_->end();
        sink_.reset();
        std::filesystem::remove_all(folder_);
    }

    void Write() {
        if (sink_->write(event_, nullptr) != ZVEVENT_OK) std::abort();
    }
    void Flush() {
        if (sink_->flush(0) != ZVEVENT_OK) std::abort();
    }
    std::uintmax_t FileBytes() const {
        return std::filesystem::file_size(config_.webhook_http.outbox);
    }

private:
    const std::filesystem::path folder_ = zvevent::bench::TemporaryPath("outbox");
    const zvEventNormalizedEvent event_ = zvevent::bench::SampleEvent();
    zvEventSinkConfig config_;
    std::unique_ptr<zvEventWebhookHttpSink> sink_;
};

// Into the outbox while nobody takes anything out: the receiver refuses connections.
void BM_IntoOutbox(benchmark::State& state, const char* sync) {
    Output output("http://127.0.0.1:1/", true, sync);
    std::vector<double> times;
    for (auto _ : state) {
        const auto start = Clock::now();
        output.Write();
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    const auto at = [&](double share) {
        return times[static_cast<std::size_t>(share * static_cast<double>(times.size() - 1))];
    };
    state.counters["median_us"] = at(0.5);
    state.counters["p99_us"] = at(0.99);
    state.counters["max_us"] = at(1.0);
    state.counters["file_bytes_per_event"] =
        static_cast<double>(output.FileBytes()) / static_cast<double>(times.size());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(BM_IntoOutbox, normal, "")->Iterations(50'000)->UseRealTime();
BENCHMARK_CAPTURE(BM_IntoOutbox, full, "full")->Iterations(2'000)->UseRealTime();

// Until the receiver has them all.
void BM_ToReceiver(benchmark::State& state, bool with_outbox) {
    Output output(ReceiverUrl(), with_outbox);
    for (auto _ : state) {
        for (int i = 0; i < 1000; ++i)
            output.Write();
        output.Flush();
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK_CAPTURE(BM_ToReceiver, directly, false)->Iterations(10)->UseRealTime();
BENCHMARK_CAPTURE(BM_ToReceiver, through_outbox, true)->Iterations(10)->UseRealTime();

}  // namespace
