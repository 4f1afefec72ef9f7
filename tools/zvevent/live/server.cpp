#include "live/server.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "listen/http_service.h"
#include "live/web_files.h"

namespace zvevent::tool {

namespace {

constexpr auto kBatchPeriod = std::chrono::milliseconds(150);
constexpr auto kStatusPeriod = std::chrono::seconds(1);
constexpr int kMaxStreams = 16;  // each keeps a thread
constexpr std::size_t kThreads = 32;
constexpr int kWriteSeconds = 20;  // a browser that takes nothing for so long is given up
constexpr std::size_t kMaxStatusBytes = std::size_t{1} << 20;
constexpr std::string_view kHeldMark = "@HELD@";  // in the page; what is held goes there
constexpr int kMisdirected = 421;
constexpr int kUnavailable = 503;

const httplib::Headers kHeaders = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' "
     "data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"}};

bool IsLoopback(std::string_view host) {
    // Numbers throughout: 127.0.0.1.example is a name of anybody's.
    const bool is_numeric = host.find_first_not_of("0123456789.") == std::string_view::npos;
    return host == "localhost" || host == "::1" || host == "[::1]" ||
           (is_numeric && host.starts_with("127."));
}

std::string_view WithoutPort(std::string_view host) {
    const std::size_t colon = host.rfind(':');
    const std::size_t bracket = host.rfind(']');
    const bool has_port =
        colon != std::string_view::npos && (bracket == std::string_view::npos || colon > bracket);
    return has_port ? host.substr(0, colon) : host;
}

std::string_view TypeOf(std::string_view name) {
    if (name.ends_with(".js")) return "text/javascript; charset=utf-8";
    return name.ends_with(".css") ? "text/css; charset=utf-8" : "text/html; charset=utf-8";
}

// Given piece by piece, since the server would spend long compressing what it is given whole.
void Answer(httplib::Response& response, std::string body, std::string_view type) {
    const std::size_t size = body.size();
    response.set_content_provider(
        size, std::string(type),
        [body = std::move(body)](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            return sink.write(body.data() + offset, length);
        });
}

std::uint64_t Number(std::string_view text) {
    std::uint64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

Json ReadStatus(const std::string& path) {
    std::ifstream file(std::filesystem::path(std::u8string(path.begin(), path.end())),
                       std::ios::binary);
    if (!file) return {{"path", path}, {"error", "cannot be read"}};
    std::string text(kMaxStatusBytes, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    Json status;
    std::string error = ParseJson(text, status);
    if (error.empty() && !status.is_object()) error = "not a status file of the library";
    if (!error.empty()) return {{"path", path}, {"error", std::move(error)}};
    return {{"path", path}, {"file", std::move(status)}};
}

class Server : public LiveServer {
public:
    Server(const LiveOptions& options, LiveStore& store)
        : options_(options), store_(store), started_(NewName()) {
        httplib::Server& server = service_.server();
        server.set_write_timeout(kWriteSeconds);
        server.set_default_headers(kHeaders);
        server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
        server.set_pre_routing_handler(
            [this](const httplib::Request& request, httplib::Response& response) {
                const bool is_long = request.target.size() > HttpService::kMaxTargetBytes;
                if (!is_long && IsForUs(request))
                    return httplib::Server::HandlerResponse::Unhandled;
                response.status = is_long ? HttpService::kTargetTooLong : kMisdirected;
                return httplib::Server::HandlerResponse::Handled;
            });
        AddPages();
        port_ = service_.Start(options_.address, options_.port);
        if (!options_.status_path.empty()) status_thread_ = std::thread([this] { WatchStatus(); });
    }
    ~Server() override {
        {
            const std::scoped_lock lock(mutex_);
            stop_ = true;
        }
        stopped_.notify_all();
        service_.Stop();
        if (status_thread_.joinable()) status_thread_.join();
    }

private:
    // Of this run: a browser that comes back to another one begins anew.
    static std::string NewName() {
        return std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
    }

    bool IsForUs(const httplib::Request& request) const {
        return !IsLoopback(options_.address) ||
               IsLoopback(WithoutPort(request.get_header_value("Host")));
    }

    void AddPages() {
        for (const WebFile& file : WebFiles()) {
            const std::string path = file.name == "page.html" ? "/" : "/" + std::string(file.name);
            service_.server().Get(
                path, [this, file](const httplib::Request&, httplib::Response& response) {
                    std::string body(file.bytes);
                    if (const std::size_t mark = body.find(kHeldMark); mark != std::string::npos)
                        body.replace(mark, kHeldMark.size(), Held());
                    Answer(response, std::move(body), TypeOf(file.name));
                });
        }
        service_.server().Get(
            "/older", [this](const httplib::Request& request, httplib::Response& response) {
                Answer(response, store_.Before(Number(request.get_param_value("before"))),
                       "application/json; charset=utf-8");
            });
        service_.server().Get("/stream",
                              [this](const httplib::Request& request, httplib::Response& response) {
                                  Stream(request, response);
                              });
    }

    // What a browser begins with, with the place from which its stream goes on.
    std::string Held() {
        LiveStore::Position position;
        std::string held = store_.Take(position);
        held.back() = ',';  // counts are always in it
        return held + R"("at":")" + Place(position.message) + "\"}";
    }

    std::string Place(std::uint64_t message) const {
        return started_ + "-" + std::to_string(message);
    }

    // From the place that the browser names, in the address at first and in a header when it comes
    // back; with all that is held when that place is gone.
    void Stream(const httplib::Request& request, httplib::Response& response) {
        if (streams_.fetch_add(1) >= kMaxStreams) {
            --streams_;
            response.status = kUnavailable;
            return;
        }
        std::string place = request.get_header_value("Last-Event-ID");
        if (place.empty()) place = request.get_param_value("at");
        auto position = std::make_shared<LiveStore::Position>();
        const std::string prefix = started_ + "-";
        bool is_new = true;
        if (place.starts_with(prefix)) {
            const std::uint64_t message = Number(std::string_view(place).substr(prefix.size()));
            is_new = !store_.Knows(message);
            if (!is_new) *position = {.is_new = false, .message = message};
        }
        response.set_chunked_content_provider(
            "text/event-stream",
            [this, position, is_new](std::size_t, httplib::DataSink& sink) mutable {
                const std::string event = std::exchange(is_new, false) ? "all" : "more";
                return WriteBatch(*position, event, sink);
            },
            [this](bool) { --streams_; });
    }

    // A browser that is slow holds up only its own thread, and what it misses meanwhile it gets in
    // one batch, or not at all.
    bool WriteBatch(LiveStore::Position& position, const std::string& event,
                    httplib::DataSink& sink) {
        const std::string data = store_.Take(position);
        if (!data.empty()) {
            const std::string text =
                "id: " + Place(position.message) + "\nevent: " + event + "\ndata: " + data + "\n\n";
            if (!sink.write(text.data(), text.size())) return false;
        }
        std::unique_lock lock(mutex_);
        return !stopped_.wait_for(lock, kBatchPeriod, [this] { return stop_; });
    }

    void WatchStatus() {
        std::unique_lock lock(mutex_);
        do {
            lock.unlock();
            store_.SetStatus(ReadStatus(options_.status_path));
            lock.lock();
        } while (!stopped_.wait_for(lock, kStatusPeriod, [this] { return stop_; }));
    }

    const LiveOptions options_;
    LiveStore& store_;
    const std::string started_;
    std::mutex mutex_;
    std::condition_variable stopped_;
    bool stop_ = false;
    std::atomic<int> streams_{0};
    std::thread status_thread_;
    HttpService service_;  // last: its handlers use the rest
};

}  // namespace

std::unique_ptr<LiveServer> ServeLive(const LiveOptions& options, LiveStore& store) {
    return std::make_unique<Server>(options, store);
}

}  // namespace zvevent::tool
