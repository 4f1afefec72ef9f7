#include "sinks/webhook_http_sink.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "format/cloud_event.h"
#include "format/json_event.h"
#include "sinks/sink_factory.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

using std::chrono::milliseconds;
using Config = zvEventSinkConfig;

struct Request {
    std::string url;
    std::string method;
    std::string headers;  // with "|" between the lines
    std::string body;
    const void* body_at;
    std::uint32_t timeout_ms;
};

// Stands in for the HTTP function: what was asked of it, and what it answers.
struct Server {
    std::vector<Request> requests;
    std::vector<milliseconds> pauses;
    std::uint32_t failures = 0;   // requests that fail before one succeeds
    std::size_t pauses_left = 9;  // then a stop waits no longer
    int responses_held = 0;
} server;

std::uint32_t Command(const char* url, const char* method, const char* headers, const void* body,
                      std::uint32_t body_length, void** response, std::uint32_t* response_length,
                      std::uint32_t timeout_ms) noexcept {
    std::string lines = headers;
    std::replace(lines.begin(), lines.end(), '\xA7', '|');
    const char* const bytes = static_cast<const char*>(body);
    EXPECT_EQ(bytes[body_length], '\0');
    server.requests.push_back(
        {url, method, lines, std::string(bytes, body_length), body, timeout_ms});
    *response = new char[1];
    *response_length = 1;
    ++server.responses_held;
    return server.requests.size() > server.failures ? 1 : 0;
}

void Release(void* memory) noexcept {
    delete[] static_cast<char*>(memory);
    --server.responses_held;
}

bool Pause(milliseconds time) {
    server.pauses.push_back(time);
    return server.pauses.size() <= server.pauses_left;
}

class WebhookHttpSink : public testing::Test {
protected:
    WebhookHttpSink() {
        server = Server();
        config_.kind = zvEventSinkKind::webhook_http;
        config_.webhook_http.endpoint_url = "http://h/x";
    }

    zvEventWebhookHttpSink Sink() const { return {config_, {&Command, &Release, &Pause}}; }

    std::uint32_t Write() {
        zvEventWebhookHttpSink sink = Sink();
        const std::uint32_t result = sink.write(test::SampleEvent(), nullptr);
        last_error_ = sink.LastError();
        EXPECT_EQ(server.responses_held, 0);
        return result;
    }

    Request OneRequest() {
        server.requests.clear();
        EXPECT_EQ(Write(), ZVEVENT_OK);
        EXPECT_EQ(server.requests.size(), 1U);
        return server.requests.at(0);
    }

    Config config_;
    std::string last_error_;
};

TEST_F(WebhookHttpSink, PostsTheDocument) {
    config_.webhook_http.endpoint_url = "HTTPS://Host/x";
    config_.webhook_http.request_timeout_ms = 1234;
    const Request request = OneRequest();
    EXPECT_EQ(request.url, "HTTPS://Host/x");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, BuildNativeEventJson(test::SampleEvent()));
    EXPECT_EQ(request.timeout_ms, 1234U);
    EXPECT_EQ(last_error_, "");
}

TEST_F(WebhookHttpSink, SendsItsHeaderLinesInOrder) {
    const std::string common =
        "Content-Type: application/json; charset=utf-8|Accept: application/json|"
        "User-Agent: zvEvent/1.0|";
    EXPECT_EQ(OneRequest().headers,
              common + "X-zvEvent-TLS-Verify: 1|X-zvEvent-Connect-Timeout-Ms: 2000");

    config_.webhook_http.connect_timeout_ms = 0;
    config_.webhook_http.tls_verify = false;
    config_.cloudevents_http.auth_header = " X-Other: a|b \r\n";
    EXPECT_EQ(OneRequest().headers, common + "X-zvEvent-TLS-Verify: 0|X-Other: a|b");

    config_.webhook_http.headers = "||  \r\n";
    EXPECT_EQ(OneRequest().headers, common + "X-zvEvent-TLS-Verify: 0");

    config_.webhook_http.headers = "X-Site: north | Authorization: own\n\v X-E:\r\n\fX-Env: prod\t";
    config_.webhook_http.bearer_token = "t0k";
    config_.webhook_http.basic_username = "user";
    config_.webhook_http.basic_password = "pass";
    EXPECT_EQ(OneRequest().headers,
              common +
                  "X-zvEvent-TLS-Verify: 0|X-Site: north|Authorization: own|X-E:|X-Env: prod|"
                  "Authorization: Bearer t0k|Authorization: Basic dXNlcjpwYXNz");

    config_.webhook_http.headers = " ";
    config_.webhook_http.bearer_token = "";
    config_.webhook_http.basic_username = "";
    EXPECT_EQ(OneRequest().headers,
              common + "X-zvEvent-TLS-Verify: 0|Authorization: Basic OnBhc3M=");
}

TEST_F(WebhookHttpSink, ChoosesThePayload) {
    struct Case {
        zvEventSinkKind kind;
        const char* mode;
        bool cloud_events;
    };
    constexpr auto kWebhook = zvEventSinkKind::webhook_http;
    const Case cases[] = {{kWebhook, "", false},
                          {kWebhook, "Native_JSON", false},
                          {kWebhook, "native", false},
                          {kWebhook, "CloudEvents", true},
                          {kWebhook, "cloudevents_STRUCTURED", true},
                          {zvEventSinkKind::cloudevents_http, "native", true}};
    for (const Case& c : cases) {
        config_.kind = c.kind;
        config_.webhook_http.payload_mode = c.mode;
        EXPECT_EQ(Sink().Validate(nullptr), ZVEVENT_OK) << c.mode;
        const Request request = OneRequest();
        EXPECT_TRUE(request.headers.starts_with(
            c.cloud_events ? "Content-Type: application/cloudevents+json; charset=utf-8|"
                           : "Content-Type: application/json; charset=utf-8|"));
        EXPECT_EQ(request.body, c.cloud_events
                                    ? BuildCloudEventJson(test::SampleEvent(), "/zvEvent", "")
                                    : BuildNativeEventJson(test::SampleEvent()));
    }
}

TEST_F(WebhookHttpSink, TakesTheOtherGroupsSettingsWhereItsOwnAreEmpty) {
    config_.webhook_http.payload_mode = "cloudevents";
    config_.webhook_http.cloudevents_source = "/own";
    config_.webhook_http.cloudevents_subject_prefix = "own/";
    config_.cloudevents_http = {"http://other/", "/other", "other/", "", 77};
    EXPECT_EQ(OneRequest().body, BuildCloudEventJson(test::SampleEvent(), "/own", "own/"));

    config_.webhook_http = {};
    config_.webhook_http.payload_mode = "cloudevents";
    config_.webhook_http.request_timeout_ms = 0;
    config_.webhook_http.cloudevents_source = "";
    Request request = OneRequest();
    EXPECT_EQ(request.url, "http://other/");
    EXPECT_EQ(request.timeout_ms, 77U);
    EXPECT_EQ(request.body, BuildCloudEventJson(test::SampleEvent(), "/other", "other/"));

    config_.cloudevents_http.timeout_ms = 0;
    config_.cloudevents_http.source = "";
    request = OneRequest();
    EXPECT_EQ(request.timeout_ms, 5000U);
    EXPECT_EQ(request.body, BuildCloudEventJson(test::SampleEvent(), "", "other/"));
}

TEST_F(WebhookHttpSink, RefusesSettingsThatCannotWork) {
    struct Case {
        const char* url;
        const char* mode;
        const char* error;
    };
    const char* const bad_url = "zvEvent webhook sink requires an http:// or https:// endpoint_url";
    const char* const bad_mode = "zvEvent webhook payload_mode must be native_json or cloudevents";
    const Case cases[] = {{"", "native", bad_url},           {"ftp://h/", "bad", bad_url},
                          {" http://h/", "native", bad_url}, {"https:/h/", "native", bad_url},
                          {"http://h/", "xml", bad_mode},    {"hTTp://", "native ", bad_mode}};
    zvEventConfig config;
    for (const Case& c : cases) {
        config_.enabled = true;
        config_.webhook_http.endpoint_url = c.url;
        config_.webhook_http.payload_mode = c.mode;
        config.sinks = {config_};
        std::vector<zvEventSinkPtr> sinks;
        std::string error;
        EXPECT_EQ(BuildConfiguredSinks(config, nullptr, &sinks, &error),
                  ZVEVENT_E_INVALID_ARGUMENT);
        EXPECT_EQ(error, c.error) << c.url << ' ' << c.mode;
        EXPECT_TRUE(sinks.empty());
    }
}

TEST_F(WebhookHttpSink, RetriesAfterTheSamePause) {
    struct Case {
        std::uint32_t retry_count;
        std::uint32_t backoff_ms;
        std::uint32_t failures;
        std::size_t pauses_left;
        std::uint32_t result;
        std::size_t requests;
        std::vector<milliseconds> pauses;
    };
    const milliseconds standard(250);
    const milliseconds own(7);
    const Case cases[] = {
        {0, 0, 1, 9, ZVEVENT_E_FAILURE, 1, {}},
        {2, 0, 3, 9, ZVEVENT_E_FAILURE, 3, {standard, standard}},
        {5, 7, 3, 9, ZVEVENT_OK, 4, {own, own, own}},
        {5, 7, 9, 1, ZVEVENT_E_FAILURE, 2, {own, own}},   // a stop has waited its time
        {0xFFFFFFFF, 7, 9, 9, ZVEVENT_E_FAILURE, 0, {}},  // one more is no number of tries
    };
    for (const Case& c : cases) {
        server = Server();
        server.failures = c.failures;
        server.pauses_left = c.pauses_left;
        config_.webhook_http.retry_count = c.retry_count;
        config_.webhook_http.backoff_ms = c.backoff_ms;
        EXPECT_EQ(Write(), c.result);
        EXPECT_EQ(server.requests.size(), c.requests);
        EXPECT_EQ(server.pauses, c.pauses);
        EXPECT_EQ(last_error_, c.requests == 0 ? "" : "zvEvent webhook POST failed: http://h/x");
    }
}

TEST_F(WebhookHttpSink, PassesOverLesserEventsAndKeepsItsBuffer) {
    zvEventWebhookHttpSink sink = Sink();
    zvEventNormalizedEvent event = test::SampleEvent();
    event.severity = config_.minimum_severity - 1;
    EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
    EXPECT_TRUE(server.requests.empty());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    }
    EXPECT_EQ(server.requests.at(0).body_at, server.requests.at(1).body_at);
}

}  // namespace
}  // namespace zvevent
