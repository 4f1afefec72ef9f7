#include "zvutil/http_exchange.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "base/ascii.h"

namespace zvevent {
namespace {

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return ToLowerAscii(x) == ToLowerAscii(y); });
}

bool HasScheme(std::string_view url, std::string_view scheme) {
    return EqualIgnoringCase(url.substr(0, scheme.size()), scheme);
}

bool IsControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7F;
}

bool HasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(), IsControl);
}

bool IsMethod(std::string_view method) {
    return !method.empty() &&
           std::all_of(method.begin(), method.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

bool IsUrl(std::string_view url) {
    return (HasScheme(url, "http://") || HasScheme(url, "https://")) && !HasControl(url) &&
           url.find_first_of(" \t") == std::string_view::npos;
}

std::string_view TrimmedBlanks(std::string_view text) {
    return Trimmed(text, " \t");
}

std::uint32_t NumberOrZero(std::string_view digits) {
    std::uint32_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && rest == end ? number : 0;
}

// Where each line of the header text goes.
class HeaderSorter {
public:
    explicit HeaderSorter(HttpRequest& request) : request_(request) {}

    void Add(std::string_view untrimmed) {
        const std::string_view line = TrimmedBlanks(untrimmed);
        const std::string_view name = HttpHeaderName(line);
        if (name.empty()) return;
        const std::string_view value = TrimmedBlanks(line.substr(line.find(':') + 1));
        if (SameHttpHeader(name, "X-zvEvent-TLS-Verify")) {
            if (!verify_given_) request_.verify_tls = value != "0";
            verify_given_ = true;
        } else if (SameHttpHeader(name, "X-zvEvent-Connect-Timeout-Ms")) {
            if (!connect_given_) request_.connect_timeout_ms = NumberOrZero(value);
            connect_given_ = true;
        } else if (!SameHttpHeader(name, "Content-Length") &&
                   !SameHttpHeader(name, "Transfer-Encoding")) {
            request_.headers.push_back(line);
        }
    }

private:
    HttpRequest& request_;
    bool verify_given_ = false;
    bool connect_given_ = false;
};

}  // namespace

bool ParseHttpRequest(std::string_view headers, HttpRequest& request) {
    constexpr char kSeparator = '\xA7';
    if (!IsUrl(request.url) || !IsMethod(request.method) || HasControl(headers)) return false;
    HeaderSorter sorter(request);
    while (!headers.empty()) {
        const std::size_t end = std::min(headers.find(kSeparator), headers.size());
        sorter.Add(headers.substr(0, end));
        headers.remove_prefix(std::min(end + 1, headers.size()));
    }
    return true;
}

std::string_view HttpHeaderName(std::string_view line) {
    const std::size_t colon = line.find(':');
    return colon == std::string_view::npos ? std::string_view()
                                           : TrimmedBlanks(line.substr(0, colon));
}

bool SameHttpHeader(std::string_view a, std::string_view b) {
    return EqualIgnoringCase(a, b);
}

HttpResponse::~HttpResponse() {
    std::free(bytes_);
}

bool HttpResponse::Append(const void* bytes, std::size_t count) {
    const std::size_t fitting = std::min(count, kMaxBytes - size_);
    if (!Reserve(size_ + fitting)) return false;
    if (fitting != 0) std::memcpy(bytes_ + size_, bytes, fitting);
    size_ += fitting;
    truncated_ = fitting < count;
    return !truncated_;
}

// One byte more than counted, for the 0 after the last one.
bool HttpResponse::Reserve(std::size_t count) {
    if (count < capacity_) return true;
    const std::size_t capacity = std::max<std::size_t>({count + 1, 2 * capacity_, 1024});
    void* const grown = std::realloc(bytes_, capacity);
    if (grown == nullptr) return false;
    bytes_ = static_cast<char*>(grown);
    capacity_ = capacity;
    return true;
}

void HttpResponse::HandOver(void** bytes, std::uint32_t* count) {
    if (size_ == 0 || bytes == nullptr) return;
    bytes_[size_] = 0;
    *bytes = bytes_;
    if (count != nullptr) *count = static_cast<std::uint32_t>(size_);
    bytes_ = nullptr;
    size_ = capacity_ = 0;
}

}  // namespace zvevent
