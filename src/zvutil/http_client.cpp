// Each request borrows one of a few easy handles, which keep their connections between requests. No
// global here has a destructor, as requests may be under way when the process ends.
#include "zvutil/http_client.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <string>
#include <string_view>

#include "zvutil/http_process.h"

namespace zvevent {
namespace {

// One sender needs one handle; more are kept only for requests that really met.
constexpr std::size_t kIdleClients = 4;
constexpr long kConnectionsPerClient = 16;

std::array<std::atomic<CURL*>, kIdleClients> idle_clients{};

CURL* TakeClient() {
    for (std::atomic<CURL*>& slot : idle_clients) {
        if (CURL* client = slot.exchange(nullptr, std::memory_order_acquire)) return client;
    }
    return curl_easy_init();
}

void ReturnClient(CURL* client) {
    curl_easy_reset(client);
    curl_easy_setopt(client, CURLOPT_NOSIGNAL, 1L);  // also while it is cleaned up
    for (std::atomic<CURL*>& slot : idle_clients) {
        CURL* empty = nullptr;
        if (slot.compare_exchange_strong(empty, client, std::memory_order_release,
                                         std::memory_order_relaxed)) {
            return;
        }
    }
    curl_easy_cleanup(client);
}

// In a forked child: closing the parent's connections would end its TLS sessions.
void ForgetClients() {
    for (std::atomic<CURL*>& slot : idle_clients) {
        slot.store(nullptr, std::memory_order_relaxed);
    }
}

// On Linux two local sockets by which libcurl wakes itself, a pair a handle, are inherited all the
// same: it gives no access to them.
curl_socket_t OpenSocket(void*, curlsocktype, curl_sockaddr* address) {
    return static_cast<curl_socket_t>(
        OpenHttpSocket(address->family, address->socktype, address->protocol));
}

std::size_t Receive(char* bytes, std::size_t, std::size_t count, void* response) {
    return static_cast<HttpResponse*>(response)->Append(bytes, count) ? count : 0;
}

// Header lines come one by one, and trailers after the empty line. Without an empty line, when the
// connection ended too early, libcurl is content, too.
std::size_t SeeHeaderLine(char* bytes, std::size_t, std::size_t count, void* ended) {
    const std::string_view line(bytes, count);
    if (line == "\r\n" || line == "\n") *static_cast<bool*>(ended) = true;
    if (line.starts_with("HTTP/")) *static_cast<bool*>(ended) = false;
    return count;
}

class HeaderList {
public:
    HeaderList() = default;
    ~HeaderList() { curl_slist_free_all(first_); }
    HeaderList(const HeaderList&) = delete;
    HeaderList& operator=(const HeaderList&) = delete;

    bool Add(const std::string& line) {
        curl_slist* const grown = curl_slist_append(first_, line.c_str());
        if (grown != nullptr) first_ = grown;
        return grown != nullptr;
    }
    curl_slist* Get() const { return first_; }

private:
    curl_slist* first_ = nullptr;
};

// libcurl reads "Name:" as "leave this header out" and writes "Name;" as the header with an empty
// value. What it would add by itself is left out in that way.
bool FillHeaders(const HttpRequest& request, HeaderList& list) {
    for (const std::string_view line : request.headers) {
        const std::string_view value = line.substr(line.find(':') + 1);
        const bool empty = value.find_first_not_of(" \t") == std::string_view::npos;
        const std::string name(HttpHeaderName(line));
        if (!list.Add(empty ? name + ';' : std::string(line))) return false;
    }
    for (const char* const added : {"Accept", "Content-Type", "Expect"}) {
        const bool given = std::any_of(
            request.headers.begin(), request.headers.end(),
            [&](std::string_view line) { return SameHttpHeader(HttpHeaderName(line), added); });
        if (!given && !list.Add(std::string(added) + ':')) return false;
    }
    return true;
}

int AskWhetherToProceed(void* request, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    const auto& asked = *static_cast<const HttpRequest*>(request);
    return asked.proceed(asked.proceed_context) != 0 ? 0 : 1;
}

constexpr bool IsSuccess(long status) {
    return status >= 200 && status <= 299;
}

// One borrowed handle and what is set on it.
class Transfer {
public:
    explicit Transfer(CURL* client) : client_(client) {}
    ~Transfer() { ReturnClient(client_); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    void SetTransport(const HttpRequest& request) {
        const long timeout = Milliseconds(request.timeout_ms);
        const long connect = Milliseconds(request.connect_timeout_ms);
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_QUICK_EXIT, 1L);  // a name server that hangs does not hold the request
        Set(CURLOPT_TIMEOUT_MS, timeout);
        Set(CURLOPT_CONNECTTIMEOUT_MS, connect != 0 ? std::min(connect, timeout) : timeout);
        Set(CURLOPT_MAXCONNECTS, kConnectionsPerClient);
        Set(CURLOPT_OPENSOCKETFUNCTION, OpenSocket);
        Set(CURLOPT_PROTOCOLS_STR, "http,https");
        SetIfKnown(CURLOPT_PROXY, "");
        SetIfKnown(CURLOPT_NOPROXY, "*");
    }

    void SetTls(const HttpRequest& request) {
        Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        Set(CURLOPT_SSL_VERIFYPEER, request.verify_tls ? 1L : 0L);
        Set(CURLOPT_SSL_VERIFYHOST, request.verify_tls ? 2L : 0L);
        // Asking for revocation lists would take its own time, whatever the request's time-out.
        Set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NO_REVOKE));
        if (!request.ca_file.empty()) {
            Set(CURLOPT_CAINFO, request.ca_file.c_str());
            SetIfKnown(CURLOPT_CAPATH, nullptr);  // the system's folder, which would be trusted too
        } else if (const char* file = TrustedCertificatesOfProcess()) {
            Set(CURLOPT_CAINFO, file);
        }
    }

    void SetRequest(const HttpRequest& request, const HeaderList& headers) {
        Set(CURLOPT_URL, request.url);
        Set(CURLOPT_PATH_AS_IS, 1L);
        Set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
        Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        Set(CURLOPT_HTTP09_ALLOWED, 0L);
        Set(CURLOPT_FOLLOWLOCATION, 0L);
        Set(CURLOPT_HTTPHEADER, headers.Get());
        const std::string_view method = request.method;
        if (method == "HEAD") {
            Set(CURLOPT_NOBODY, 1L);
        } else if (method != "GET" || request.body_length != 0) {
            Set(CURLOPT_POST, 1L);
            Set(CURLOPT_POSTFIELDS, request.body_length != 0 ? request.body : "");
            Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body_length));
        }
        Set(CURLOPT_CUSTOMREQUEST, request.method);
        if (request.proceed != nullptr) {
            Set(CURLOPT_NOPROGRESS, 0L);
            Set(CURLOPT_XFERINFOFUNCTION, AskWhetherToProceed);
            Set(CURLOPT_XFERINFODATA, &request);
        }
    }

    // Whether the answer is whole, or cut at the bound, and a good one.
    bool Run(HttpResponse& response) {
        bool header_ended = false;
        Set(CURLOPT_HEADERFUNCTION, SeeHeaderLine);
        Set(CURLOPT_HEADERDATA, &header_ended);
        Set(CURLOPT_WRITEFUNCTION, Receive);
        Set(CURLOPT_WRITEDATA, &response);
        if (result_ != CURLE_OK) return false;
        result_ = curl_easy_perform(client_);
        const bool ended_here = result_ == CURLE_WRITE_ERROR && response.Truncated();
        if ((result_ != CURLE_OK && !ended_here) || !header_ended) return false;
        long status = 0;
        curl_off_t retry_after_s = 0;
        curl_easy_getinfo(client_, CURLINFO_RESPONSE_CODE, &status);
        curl_easy_getinfo(client_, CURLINFO_RETRY_AFTER, &retry_after_s);
        response.status = static_cast<std::uint32_t>(status);
        response.retry_after_s =
            static_cast<std::uint32_t>(std::clamp<curl_off_t>(retry_after_s, 0, UINT32_MAX));
        return IsSuccess(status);
    }

private:
    template <typename Value>
    void Set(CURLoption option, Value value) {
        if (result_ == CURLE_OK) result_ = curl_easy_setopt(client_, option, value);
    }

    // For what a libcurl that lacks the feature does not know.
    void SetIfKnown(CURLoption option, const char* value) {
        Set(option, value);
        if (result_ == CURLE_UNKNOWN_OPTION || result_ == CURLE_NOT_BUILT_IN) result_ = CURLE_OK;
    }

    static long Milliseconds(std::uint32_t ms) {  // libcurl takes no more than an int
        return static_cast<long>(std::min<std::uint32_t>(ms, INT_MAX));
    }

    CURL* client_;
    CURLcode result_ = CURLE_OK;
};

bool RunTransfer(const HttpRequest& request, const HeaderList& headers, HttpResponse& response) {
    CURL* const client = TakeClient();
    if (client == nullptr) return false;
    Transfer transfer(client);
    transfer.SetTransport(request);
    transfer.SetTls(request);
    transfer.SetRequest(request, headers);
    return transfer.Run(response);
}

}  // namespace

bool StartHttpClient() {
    return StartHttpInProcess([] { return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; },
                              ForgetClients);
}

bool RunHttpExchange(const HttpRequest& request, HttpResponse& response) {
    HeaderList headers;
    if (!StartHttpClient() || !FillHeaders(request, headers)) return false;
    bool good = false;
    // Also while a handle is given back, which may close connections.
    WithConnectionSignalsHeld([&] { good = RunTransfer(request, headers, response); });
    return good;
}

}  // namespace zvevent
