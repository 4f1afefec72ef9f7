// Header text to a request: what would go out holds no byte that ends a line, no header that is the
// transport's own, and nothing that was not in the text.
#include <algorithm>
#include <string>

#include "require.h"
#include "zvutil/http_request.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace zvevent;
    using fuzz::Require;
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    HttpRequest request{.url = "http://127.0.0.1/", .method = "POST", .timeout_ms = 1};
    const bool controls = std::any_of(text.begin(), text.end(), [](unsigned char c) {
        return (c < ' ' && c != '\t') || c == 0x7F;
    });
    Require(ParseHttpRequest(text, request) == !controls, "refused for control characters alone");
    if (controls) return 0;
    for (const std::string_view line : request.headers) {
        Require(line.data() >= text.data() && line.data() + line.size() <= text.data() + size,
                "a header is a part of the text");
        Require(line.find('\xA7') == line.npos && line.find(':') != line.npos,
                "a line with a colon");
        const std::string_view name = HttpHeaderName(line);
        Require(!name.empty(), "a header has a name");
        for (const char* own : {"content-length", "TRANSFER-ENCODING", "X-zvEvent-TLS-Verify",
                                "x-zvevent-ca-file", "X-ZVEVENT-CONNECT-TIMEOUT-MS"})
            Require(!SameHttpHeader(name, own), "what is the transport's own stays here");
    }
    Require(request.ca_file.empty() || text.find(request.ca_file) != text.npos, "the CA file");
    HttpRequest from_url{.url = text.c_str(), .method = text.c_str()};
    Require(!ParseHttpRequest("", from_url), "no text is a URL and a method");
    return 0;
}
