#include "sinks/webhook_request.h"

#include <algorithm>

#include "base/ascii.h"
#include "base/number_text.h"
#include "base/texts.h"
#include "format/text.h"

namespace zvevent {

namespace {

// Between two header lines.
constexpr char kLineEnd = '\xA7';

void AppendLine(std::string& lines, std::string_view name, std::string_view value) {
    if (!lines.empty()) lines += kLineEnd;
    lines.append(name).append(value);
}

// The configured lines: `text` holds several, separated by "|" or line ends.
void AppendConfiguredLines(std::string& lines, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("|\r\n");
        const std::string_view line = Trimmed(text.substr(0, end));
        if (!line.empty()) AppendLine(lines, line, {});
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

}  // namespace

std::string UrlWithoutCredentials(const std::string& url) {
    const std::size_t scheme_end = url.find("//");
    if (scheme_end == std::string::npos) return url;
    const std::size_t host = scheme_end + 2;
    const std::string_view authority =
        std::string_view(url).substr(host, url.find_first_of("/?#", host) - host);
    const std::string_view port =
        authority.substr(std::min(authority.rfind(':'), authority.size()));
    const bool is_plain =
        authority.starts_with('[') || port.find_first_not_of(":0123456789") == port.npos;
    if (is_plain && authority.find('@') == authority.npos) return url;
    const std::size_t at = url.rfind('@');
    if (at == std::string::npos) return url;
    return url.substr(0, host) + url.substr(at + 1);
}

std::string WebhookHeaderLines(const zvEventSinkConfig& config, bool cloud_events) {
    const zvEventSinkConfig::WebhookHttp& webhook = config.webhook_http;
    std::string lines;
    AppendLine(lines, "Content-Type: ",
               cloud_events ? "application/cloudevents+json; charset=utf-8"
                            : "application/json; charset=utf-8");
    AppendLine(lines, "Accept: ", "application/json");
    AppendLine(lines, "User-Agent: ", "zvEvent/1.0");
    AppendLine(lines, "X-zvEvent-TLS-Verify: ", webhook.tls_verify ? "1" : "0");
    if (webhook.connect_timeout_ms != 0) {
        AppendLine(lines, "X-zvEvent-Connect-Timeout-Ms: ", {});
        AppendDecimal(lines, webhook.connect_timeout_ms);
    }
    if (!webhook.ca_file.empty()) AppendLine(lines, "X-zvEvent-CA-File: ", webhook.ca_file);
    AppendConfiguredLines(lines, OrElse(webhook.headers, config.cloudevents_http.auth_header));
    if (!webhook.bearer_token.empty()) {
        AppendLine(lines, "Authorization: Bearer ", webhook.bearer_token);
    }
    if (!webhook.basic_username.empty() || !webhook.basic_password.empty()) {
        AppendLine(lines, "Authorization: Basic ",
                   Base64Encode(webhook.basic_username + ':' + webhook.basic_password));
    }
    return lines;
}

}  // namespace zvevent
