#include "sinks/webhook_http_sink.h"

#include <algorithm>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "format/cloud_event.h"
#include "format/json_event.h"
#include "sinks/outbox_store.h"
#include "sinks/sink_factory.h"
#include "sinks/webhook_request.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

using Number = std::uint32_t;
using Text = const char*;

// Stands in for the HTTP function.
struct Server {
    Number failures = 0;                // requests that fail before one succeeds
    Number pauses_left = 9;             // then a stop waits no longer
    std::string log;                    // "P" for every request, the milliseconds of every pause
    std::string target, headers, body;  // of the last request; "|" between the header lines
    int responses_held = 0;
} server;

Number Command(Text url, Text method, Text headers, const void* body, Number body_length,
               void** response, Number* response_length, Number timeout_ms) noexcept {
    server.target = std::string(method) + ' ' + url + ' ' + std::to_string(timeout_ms);
    server.headers = headers;
    std::replace(server.headers.begin(), server.headers.end(), '\xA7', '|');
    server.body.assign(static_cast<Text>(body), body_length);
    server.log += "P ";
    *response = new char[*response_length = 1];
    ++server.responses_held;
    return server.failures == 0 || server.failures-- == 0;
}

void Release(void* memory) noexcept {
    delete[] static_cast<char*>(memory);
    --server.responses_held;
}

bool Pause(std::chrono::milliseconds time) {
    server.log += std::to_string(time.count()) + ' ';
    return server.pauses_left-- > 0;
}

class WebhookHttpSink : public testing::Test {
protected:
    WebhookHttpSink() {
        config_.kind = zvEventSinkKind::webhook_http;
        webhook_.endpoint_url = "HTTPS://Host/x";
        server = Server();
    }

    zvEventWebhookHttpSink Sink() const {
        return {config_, {&zvOSHTTPStart, &Command, &Release, &Pause}};
    }

    const Server& Sent() const {
        EXPECT_EQ(Sink().Validate(nullptr), ZVEVENT_OK);
        EXPECT_EQ(Sink().write(test::SampleEvent(), nullptr), ZVEVENT_OK);
        return server;
    }

    zvEventSinkConfig config_;
    zvEventSinkConfig::WebhookHttp& webhook_ = config_.webhook_http;
};

TEST_F(WebhookHttpSink, SendsItsHeaderLinesInOrder) {
    const std::string common =
        "Content-Type: application/json; charset=utf-8|Accept: application/json|"
        "User-Agent: zvEvent/1.0|X-zvEvent-TLS-Verify: ";
    webhook_.ca_file = "/etc/our ca.pem";
    EXPECT_EQ(Sent().headers, common +
                                  "1|X-zvEvent-Connect-Timeout-Ms: 2000|"
                                  "X-zvEvent-CA-File: /etc/our ca.pem");
    webhook_.ca_file = "";
    webhook_.connect_timeout_ms = 0;
    webhook_.tls_verify = false;
    config_.cloudevents_http.auth_header = " X-Other: a|b \r\n";
    const std::tuple<Text, Text, Text, Text, Text> cases[] = {
        {"", "", "", "", "0|X-Other: a|b"},
        {"||  \r\n", "", "", "", "0"},
        {" ", "", "", "pass", "0|Authorization: Basic OnBhc3M="},
        {"X-Site: north | Authorization: own\n\v X-E:\r\n\fX-Env: prod\t", "t0k", "user", "pass",
         "0|X-Site: north|Authorization: own|X-E:|X-Env: prod|"
         "Authorization: Bearer t0k|Authorization: Basic dXNlcjpwYXNz"}};
    for (const auto& [headers, token, user, password, lines] : cases) {
        std::tie(webhook_.headers, webhook_.bearer_token, webhook_.basic_username,
                 webhook_.basic_password) = std::tuple(headers, token, user, password);
        EXPECT_EQ(Sent().headers, common + lines);
    }
}

TEST_F(WebhookHttpSink, ChoosesThePayload) {
    const auto event = test::SampleEvent();
    for (const auto& [mode, cloud] : {std::pair{"", false},
                                      {"Native_JSON", false},
                                      {"native", false},
                                      {"cloudevents_STRUCTURED", true},
                                      {"CloudEvents", true}}) {
        webhook_.payload_mode = mode;
        EXPECT_EQ(Sent().headers.find("/cloudevents+json;") != std::string::npos, cloud) << mode;
        EXPECT_EQ(server.body,
                  cloud ? BuildCloudEventJson(event, "/zvEvent", "") : BuildNativeEventJson(event));
    }
}

TEST_F(WebhookHttpSink, TakesTheOtherGroupsSettingsWhereItsOwnAreEmpty) {
    config_.kind = zvEventSinkKind::cloudevents_http;
    config_.cloudevents_http = {"http://other/", "/other", "other/", "", 77, "", "", ""};
    webhook_.cloudevents_source = "/own";
    webhook_.cloudevents_subject_prefix = "own/";
    webhook_.payload_mode = "native";
    webhook_.request_timeout_ms = 1234;
    EXPECT_EQ(Sent().target, "POST HTTPS://Host/x 1234");
    EXPECT_EQ(server.body, BuildCloudEventJson(test::SampleEvent(), "/own", "own/"));
    webhook_.endpoint_url = webhook_.cloudevents_source = webhook_.cloudevents_subject_prefix = "";
    webhook_.request_timeout_ms = 0;
    EXPECT_EQ(Sent().target, "POST http://other/ 77");
    EXPECT_EQ(server.body, BuildCloudEventJson(test::SampleEvent(), "/other", "other/"));
    config_.cloudevents_http.timeout_ms = 0;
    EXPECT_EQ(Sent().target, "POST http://other/ 5000");
}

TEST_F(WebhookHttpSink, RefusesSettingsThatCannotWork) {
    const Text bad_url = "zvEvent webhook sink requires an http:// or https:// endpoint_url";
    const Text bad_mode = "zvEvent webhook payload_mode must be native_json or cloudevents";
    const auto of_outbox = [](const char* text) {
        return OutboxStore::IsBuiltIn() ? text : "zvEvent webhook outbox is not part of this build";
    };
    const Text bad_limit =
        of_outbox("zvEvent webhook outbox_limit must be a number of events, or of KB, MB or GB");
    const Text bad_sync = of_outbox("zvEvent webhook outbox_sync must be normal or full");
    const std::tuple<Text, Text, Text, Text, Text> cases[] = {
        {"", "native", "", "", bad_url},          {"ftp://h/", "bad", "", "", bad_url},
        {"https:/h/", "native", "", "", bad_url}, {" http://h/", "native", "", "", bad_url},
        {"http://h/", "xml", "", "", bad_mode},   {"hTTp://", "native ", "", "", bad_mode},
        {"http://h/", "", "9T", "", bad_limit},   {"http://h/", "", "", "now", bad_sync}};
    config_.enabled = true;
    webhook_.outbox = "never-opened.outbox";
    for (const auto& [url, mode, limit, sync, expected] : cases) {
        std::tie(webhook_.endpoint_url, webhook_.payload_mode, webhook_.outbox_limit,
                 webhook_.outbox_sync) = std::tuple(url, mode, limit, sync);
        zvEventConfig config;
        config.sinks = {config_};
        std::vector<zvEventSinkPtr> sinks;
        std::string error;
        EXPECT_NE(BuildConfiguredSinks(config, nullptr, &sinks, &error), ZVEVENT_OK);
        EXPECT_EQ(error, expected) << url << ' ' << mode;
    }
}

TEST_F(WebhookHttpSink, RetriesAfterTheSamePause) {
    const std::string failed = "zvEvent webhook POST failed: HTTPS://Host/x";
    const std::tuple<Number, Number, Number, Number, Number, std::string> cases[] = {
        {0, 0, 1, 9, ZVEVENT_E_FAILURE, "P " + failed},
        {2, 0, 3, 9, ZVEVENT_E_FAILURE, "P 250 P 250 P " + failed},
        {5, 7, 3, 9, ZVEVENT_OK, "P 7 P 7 P 7 P " + failed},
        {5, 7, 9, 1, ZVEVENT_E_FAILURE, "P 7 P 7 " + failed},  // a stop has waited its time
        {0xFFFFFFFF, 7, 9, 9, ZVEVENT_E_FAILURE, ""},          // one more is no number of tries
    };
    for (const auto& [retry_count, backoff_ms, failures, pauses_left, result, log] : cases) {
        server = Server{failures, pauses_left, {}, {}, {}, {}};
        webhook_.retry_count = retry_count;
        webhook_.backoff_ms = backoff_ms;
        zvEventWebhookHttpSink sink = Sink();
        EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), result);
        EXPECT_EQ(server.log + sink.LastError(), log);
        EXPECT_EQ(server.responses_held, 0);
    }
}

TEST(WebhookRequest, TellsNoCredentials) {
    for (const auto& [url, told] : {std::pair("http://h:80/a?b@c", "http://h:80/a?b@c"),
                                    {"http://u:p@h/", "http://h/"},
                                    {"http://u:p@w@h/", "http://h/"}}) {
        EXPECT_EQ(zvevent::UrlWithoutCredentials(url), told);
    }
}

TEST_F(WebhookHttpSink, PassesOverLesserEvents) {
    config_.minimum_severity = test::SampleEvent().severity + 1;
    EXPECT_EQ(Sent().log, "");
}

}  // namespace
}  // namespace zvevent
