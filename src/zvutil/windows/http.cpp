// HTTP requests through WinHTTP in its asynchronous mode: only so can the time-out of a whole
// exchange be kept, as WinHTTP's own ones count each step anew. No global here has a destructor.
#include <windows.h>

#include <winhttp.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/windows/wide_text.h"
#include "zvutil/http_exchange.h"

namespace zvevent {
namespace {

struct InternetCloser {
    void operator()(void* handle) const { WinHttpCloseHandle(handle); }
};
using Internet = std::unique_ptr<void, InternetCloser>;

struct EventCloser {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Event = std::unique_ptr<void, EventCloser>;

bool SetNumber(HINTERNET handle, DWORD option, DWORD number) {
    return WinHttpSetOption(handle, option, &number, sizeof number) != 0;
}

Internet OpenSession() {
    // Missing in the headers of some tool chains, and unknown to older systems.
    constexpr DWORD kTls13 = 0x2000;
    Internet session(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                                 WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC));
    if (!session) return session;
    const DWORD tls12 = WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2;
    if (!SetNumber(session.get(), WINHTTP_OPTION_SECURE_PROTOCOLS, tls12 | kTls13)) {
        SetNumber(session.get(), WINHTTP_OPTION_SECURE_PROTOCOLS, tls12);
    }
    return session;
}

// WinHTTP's threads call back until after a request's end, and the sessions are kept: from the
// first request on the library stays loaded, whatever the application unloads.
void StayLoaded() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&StayLoaded), &module);
}

// A session keeps the connections. Those made without looking at the certificate have one of their
// own, so that a request that does look never rides on them.
HINTERNET Session(bool verify_tls) {
    static std::atomic<HINTERNET> sessions[2];
    std::atomic<HINTERNET>& kept = sessions[verify_tls ? 1 : 0];
    if (HINTERNET session = kept.load(std::memory_order_acquire)) return session;
    StayLoaded();
    Internet opened = OpenSession();
    HINTERNET none = nullptr;
    if (opened && kept.compare_exchange_strong(none, opened.get())) return opened.release();
    return none;
}

// What a request under way reads and writes. WinHTTP's threads share it with the caller until they
// have told that the handle is closed.
struct Operation {
    Event step_done{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    Event connected{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    Event closed{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::string body;
    char buffer[16384];
    // Written before step_done is set, read after it.
    DWORD bytes_read = 0;
    bool step_good = false;

    bool Usable() const { return step_done && connected && closed; }

    void FinishStep(bool good, DWORD bytes) {
        step_good = good;
        bytes_read = bytes;
        SetEvent(step_done.get());
    }
};

using OperationOwner = std::shared_ptr<Operation>;

void CALLBACK OnStatus(HINTERNET, DWORD_PTR context, DWORD status, void*, DWORD length) {
    auto* const owner = reinterpret_cast<OperationOwner*>(context);
    if (owner == nullptr) return;
    const OperationOwner operation = *owner;
    switch (status) {
        case WINHTTP_CALLBACK_STATUS_SENDING_REQUEST:
            SetEvent(operation->connected.get());
            break;
        case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
        case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
            operation->FinishStep(true, 0);
            break;
        case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
            operation->FinishStep(true, length);
            break;
        case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
            operation->FinishStep(false, 0);
            SetEvent(operation->connected.get());  // it will not be, and need not be waited for
            break;
        case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING:
            delete owner;
            SetEvent(operation->closed.get());
            break;
        default:
            break;
    }
}

struct Target {
    std::wstring host;
    std::wstring object;  // path and query
    INTERNET_PORT port = 0;
    bool secure = false;
};

bool ParseUrl(const char* url, Target& target) {
    const std::wstring wide = WideText(url);
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwHostNameLength = parts.dwUserNameLength = parts.dwUrlPathLength =
        parts.dwExtraInfoLength = static_cast<DWORD>(-1);
    if (!WinHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), 0, &parts)) return false;
    if (parts.dwHostNameLength == 0 || parts.dwUserNameLength != 0) return false;
    target.host.assign(parts.lpszHostName, parts.dwHostNameLength);
    target.object.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
    target.object.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
    target.object.resize(std::min(target.object.find(L'#'), target.object.size()));
    if (target.object.empty() || target.object[0] != L'/') target.object.insert(0, 1, L'/');
    target.port = parts.nPort;
    target.secure = parts.nScheme == INTERNET_SCHEME_HTTPS;
    return true;
}

std::wstring HeaderText(const HttpRequest& request) {
    std::string lines;
    for (const std::string_view line : request.headers) {
        if (!lines.empty()) lines += "\r\n";
        lines += line;
    }
    return WideText(lines);
}

class Deadline {
public:
    explicit Deadline(std::uint32_t ms) : end_(GetTickCount64() + ms) {}
    DWORD Remaining() const {
        const ULONGLONG now = GetTickCount64();
        return now < end_ ? static_cast<DWORD>(end_ - now) : 0;
    }

private:
    ULONGLONG end_;
};

class Exchange {
public:
    explicit Exchange(const HttpRequest& request)
        : request_(request), deadline_(request.timeout_ms) {}
    ~Exchange() { Close(); }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    bool Open(const Target& target) {
        const HINTERNET session = Session(request_.verify_tls);
        if (session == nullptr || !operation_->Usable()) return false;
        connection_.reset(WinHttpConnect(session, target.host.c_str(), target.port, 0));
        if (!connection_) return false;
        constexpr DWORD kUrlAsGiven = WINHTTP_FLAG_ESCAPE_DISABLE;
        handle_.reset(WinHttpOpenRequest(connection_.get(), WideText(request_.method).c_str(),
                                         target.object.c_str(), nullptr, WINHTTP_NO_REFERER,
                                         WINHTTP_DEFAULT_ACCEPT_TYPES,
                                         kUrlAsGiven | (target.secure ? WINHTTP_FLAG_SECURE : 0u)));
        return handle_ && SetLimits() && (!target.secure || SetTls()) && Listen();
    }

    bool Send(const std::wstring& headers) {
        // Given to WinHttpSendRequest, a header would replace an earlier one of the same name.
        if (!headers.empty() && !WinHttpAddRequestHeaders(handle_.get(), headers.c_str(),
                                                          static_cast<DWORD>(headers.size()),
                                                          WINHTTP_ADDREQ_FLAG_ADD)) {
            return false;
        }
        const std::uint32_t length = request_.body_length;
        void* bytes = nullptr;
        if (length != 0) {
            operation_->body.assign(static_cast<const char*>(request_.body), length);
            bytes = operation_->body.data();
        }
        return WinHttpSendRequest(handle_.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0, bytes, length,
                                  length, context_) &&
               WaitForConnection() && WaitForStep() &&
               WinHttpReceiveResponse(handle_.get(), nullptr) && WaitForStep();
    }

    // Whether the answer came whole, or up to the bound.
    bool Receive(HttpResponse& response) {
        std::uint64_t received = 0;
        for (;;) {
            if (!WinHttpReadData(handle_.get(), operation_->buffer, sizeof operation_->buffer,
                                 nullptr) ||
                !WaitForStep()) {
                return false;
            }
            const DWORD got = operation_->bytes_read;
            if (got == 0) return received >= AnnouncedLength();
            received += got;
            if (!response.Append(operation_->buffer, got)) return response.Truncated();
        }
    }

    long Status() const { return static_cast<long>(HeaderNumber(WINHTTP_QUERY_STATUS_CODE)); }

private:
    bool SetLimits() {
        const int timeout = static_cast<int>(std::min<std::uint32_t>(request_.timeout_ms, INT_MAX));
        SetNumber(handle_.get(), WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT,
                  static_cast<DWORD>(timeout));
        return WinHttpSetTimeouts(handle_.get(), timeout, timeout, timeout, timeout) &&
               SetNumber(handle_.get(), WINHTTP_OPTION_DISABLE_FEATURE,
                         WINHTTP_DISABLE_COOKIES | WINHTTP_DISABLE_REDIRECTS |
                             WINHTTP_DISABLE_AUTHENTICATION);
    }

    bool SetTls() {
        // A server may ask for a certificate of ours; there is none, and it may go on without.
        WinHttpSetOption(handle_.get(), WINHTTP_OPTION_CLIENT_CERT_CONTEXT,
                         WINHTTP_NO_CLIENT_CERT_CONTEXT, 0);
        constexpr DWORD kAnyCertificate =
            SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
            SECURITY_FLAG_IGNORE_CERT_DATE_INVALID | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE;
        return request_.verify_tls ||
               SetNumber(handle_.get(), WINHTTP_OPTION_SECURITY_FLAGS, kAnyCertificate);
    }

    bool Listen() {
        auto owner = std::make_unique<OperationOwner>(operation_);
        DWORD_PTR context = reinterpret_cast<DWORD_PTR>(owner.get());
        constexpr DWORD kNotifications = WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS |
                                         WINHTTP_CALLBACK_FLAG_SEND_REQUEST |
                                         WINHTTP_CALLBACK_FLAG_HANDLES;
        if (WinHttpSetStatusCallback(handle_.get(), OnStatus, kNotifications, 0) ==
            WINHTTP_INVALID_STATUS_CALLBACK) {
            return false;
        }
        if (!WinHttpSetOption(handle_.get(), WINHTTP_OPTION_CONTEXT_VALUE, &context,
                              sizeof context)) {
            return false;
        }
        owner.release();  // OnStatus deletes it
        context_ = context;
        return true;
    }

    // Name, connection and TLS handshake: up to the moment at which the request goes out.
    bool WaitForConnection() {
        DWORD limit = deadline_.Remaining();
        if (request_.connect_timeout_ms != 0) {
            limit = std::min<DWORD>(limit, request_.connect_timeout_ms);
        }
        return WaitForSingleObject(operation_->connected.get(), limit) == WAIT_OBJECT_0;
    }

    bool WaitForStep() {
        return WaitForSingleObject(operation_->step_done.get(), deadline_.Remaining()) ==
                   WAIT_OBJECT_0 &&
               operation_->step_good;
    }

    // The bytes to come, if the server said so: where the connection ends early, not every WinHTTP
    // reports it.
    std::uint64_t AnnouncedLength() const {
        const bool no_body = std::string_view(request_.method) == "HEAD";
        return no_body ? 0 : HeaderNumber(WINHTTP_QUERY_CONTENT_LENGTH);
    }

    // 0 when the header is missing.
    DWORD HeaderNumber(DWORD header) const {
        DWORD number = 0;
        DWORD size = sizeof number;
        return WinHttpQueryHeaders(handle_.get(), header | WINHTTP_QUERY_FLAG_NUMBER,
                                   WINHTTP_HEADER_NAME_BY_INDEX, &number, &size,
                                   WINHTTP_NO_HEADER_INDEX)
                   ? number
                   : 0;
    }

    void Close() {
        constexpr DWORD kCloseMs = 200;  // cancelling takes far less
        handle_.reset();
        if (context_ != 0) WaitForSingleObject(operation_->closed.get(), kCloseMs);
    }

    const HttpRequest& request_;
    Deadline deadline_;
    OperationOwner operation_ = std::make_shared<Operation>();
    Internet connection_;
    Internet handle_;
    DWORD_PTR context_ = 0;
};

}  // namespace

bool RunHttpExchange(const HttpRequest& request, HttpResponse& response) {
    Target target;
    if (!ParseUrl(request.url, target)) return false;
    Exchange exchange(request);
    return exchange.Open(target) && exchange.Send(HeaderText(request)) &&
           exchange.Receive(response) && IsHttpSuccess(exchange.Status());
}

}  // namespace zvevent
