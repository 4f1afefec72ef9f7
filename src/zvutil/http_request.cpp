#include "zvutil/http_request.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

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

// Settings of the request that travel as header lines; of two lines for one the first holds.
struct Setting {
    std::string_view name;
    void (*apply)(HttpRequest& request, std::string_view value);
};

constexpr std::array kSettings = {
    Setting{
        "X-zvEvent-TLS-Verify",
        [](HttpRequest& request, std::string_view value) { request.verify_tls = value != "0"; }},
    Setting{"X-zvEvent-Connect-Timeout-Ms",
            [](HttpRequest& request, std::string_view value) {
                request.connect_timeout_ms = NumberOrZero(value);
            }},
    Setting{"X-zvEvent-CA-File",
            [](HttpRequest& request, std::string_view value) { request.ca_file = value; }},
};

// Where each line of the header text goes.
class HeaderSorter {
public:
    explicit HeaderSorter(HttpRequest& request) : request_(request) {}

    void Add(std::string_view untrimmed) {
        const std::string_view line = TrimmedBlanks(untrimmed);
        const std::string_view name = HttpHeaderName(line);
        if (name.empty() || Apply(name, TrimmedBlanks(line.substr(line.find(':') + 1)))) return;
        if (SameHttpHeader(name, "Content-Length") || SameHttpHeader(name, "Transfer-Encoding")) {
            return;
        }
        request_.headers.push_back(line);
    }

private:
    // False when the line is no setting.
    bool Apply(std::string_view name, std::string_view value) {
        for (std::size_t i = 0; i < kSettings.size(); ++i) {
            if (!SameHttpHeader(name, kSettings[i].name)) continue;
            if (!given_[i]) kSettings[i].apply(request_, value);
            return given_[i] = true;
        }
        return false;
    }

    HttpRequest& request_;
    std::array<bool, kSettings.size()> given_{};
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

}  // namespace zvevent
