#include "zvutil/http_client.h"
#include "zvutil/zvutil.h"

#include <cstdlib>

std::uint32_t zvOSHTTPStart() noexcept {
    return zvevent::StartHttpClient() ? 1 : 0;
}

std::uint32_t zvOSHTTPCommand(const char* url, const char* method, const char* headers,
                              const void* body, std::uint32_t body_length, void** response,
                              std::uint32_t* response_length, std::uint32_t timeout_ms) noexcept {
    constexpr std::uint32_t kDefaultTimeoutMs = 5000;
    if (response != nullptr) *response = nullptr;
    if (response_length != nullptr) *response_length = 0;
    if (url == nullptr || method == nullptr || (body == nullptr && body_length != 0)) return 0;
    try {
        zvevent::HttpRequest request;
        request.url = url;
        request.method = method;
        request.body = body;
        request.body_length = body_length;
        request.timeout_ms = timeout_ms != 0 ? timeout_ms : kDefaultTimeoutMs;
        if (!zvevent::ParseHttpRequest(headers != nullptr ? headers : "", request)) return 0;
        zvevent::HttpResponse received;
        const bool good = zvevent::RunHttpExchange(request, received);
        received.HandOver(response, response_length);
        return good ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

void ZVFree(void* memory) noexcept {
    std::free(memory);
}
