#include "zvutil/http_client.h"
#include "zvutil/zvutil.h"

#include <cstdlib>

namespace {

constexpr std::uint32_t kDefaultTimeoutMs = 5000;

// Runs the request that is in place but for its header lines; whether a good answer came.
bool Run(zvevent::HttpRequest& request, const char* headers, zvevent::HttpResponse& received) {
    if (request.url == nullptr || request.method == nullptr ||
        (request.body == nullptr && request.body_length != 0)) {
        return false;
    }
    if (request.timeout_ms == 0) request.timeout_ms = kDefaultTimeoutMs;
    return zvevent::ParseHttpRequest(headers != nullptr ? headers : "", request) &&
           zvevent::RunHttpExchange(request, received);
}

}  // namespace

std::uint32_t zvOSHTTPStart() noexcept {
    return zvevent::StartHttpClient() ? 1 : 0;
}

std::uint32_t zvOSHTTPCommand(const char* url, const char* method, const char* headers,
                              const void* body, std::uint32_t body_length, void** response,
                              std::uint32_t* response_length, std::uint32_t timeout_ms) noexcept {
    if (response != nullptr) *response = nullptr;
    if (response_length != nullptr) *response_length = 0;
    try {
        zvevent::HttpRequest request{url, method, body, body_length, timeout_ms};
        zvevent::HttpResponse received;
        const bool good = Run(request, headers, received);
        received.HandOver(response, response_length);
        return good ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

std::uint32_t zvOSHTTPExchange(const char* url, const char* method, const char* headers,
                               const void* body, std::uint32_t body_length,
                               std::uint32_t timeout_ms, zvOSHTTPAnswer* answer,
                               std::uint32_t (*proceed)(void* context), void* context) noexcept {
    *answer = {};
    try {
        zvevent::HttpRequest request{url, method, body, body_length, timeout_ms, proceed, context};
        zvevent::HttpResponse received;
        const bool good = Run(request, headers, received);
        *answer = {received.status, received.retry_after_s};
        return good ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

void ZVFree(void* memory) noexcept {
    std::free(memory);
}
