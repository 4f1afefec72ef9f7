#include "config/config_loader.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/temp_directory.h"

namespace zvevent {
namespace {

// A configuration text with `core` inside "\core" and `rest` beside it.
std::string Config(const std::string& core, const std::string& rest = "") {
    return "<zvCFG><key name=\"QRV\"><key name=\"Events\"><key name=\"core\">" + core + "</key>" +
           rest + "</key></key></zvCFG>";
}

std::string Value(const std::string& name, const std::string& text) {
    return "<value name=\"" + name + "\">" + text + "</value>";
}

std::string Sinks(const std::string& type, const std::string& instances) {
    return "<key name=\"sink\"><key name=\"" + type + "\">" + instances + "</key></key>";
}

std::string Key(const std::string& name, const std::string& body) {
    return "<key name=\"" + name + "\">" + body + "</key>";
}

class ConfigLoaderTest : public testing::Test {
protected:
    std::uint32_t Load(const std::string& text) {
        return zvEventLoadConfig(directory_.Write("c.xml", text).c_str(), &config_, &error_);
    }

    test::TempDirectory directory_;
    zvEventConfig config_;
    std::string error_;
};

TEST_F(ConfigLoaderTest, CompletesAnEmptyFile) {
    ASSERT_EQ(Load(""), ZVEVENT_OK) << error_;
    EXPECT_EQ(config_.config_path, directory_.File("c.xml"));
    std::string loaded;
    for (const zvEventSinkConfig& sink : config_.sinks) {
        loaded +=
            sink.name + std::to_string(static_cast<int>(sink.kind)) + (sink.enabled ? "+ " : "- ");
        EXPECT_EQ(sink.minimum_severity, std::uint32_t{zvEventSeverityInfo});
    }
    EXPECT_EQ(loaded, "default0- default1- main2+ default3- default5- default4- main6- ");

    // Every value that has a non-empty default is in the file, at its place, in this order.
    const std::vector<std::string> expected = {"core",
                                               "enabled=1",
                                               "minimum_severity=info",
                                               "queue_size=1024",
                                               "drop_policy=drop_newest",
                                               "state",
                                               "enabled=1",
                                               "dedupe_enabled=1",
                                               "default_repeat_interval_sec=1800",
                                               "send_clear=1",
                                               "route_orphan_clear=0",
                                               "sink",
                                               "csv",
                                               "default",
                                               "enabled=0",
                                               "minimum_severity=info",
                                               "path=zvEvent.csv",
                                               "flush_each_event=0",
                                               "syslog",
                                               "udp",
                                               "default",
                                               "enabled=0",
                                               "minimum_severity=info",
                                               "host=127.0.0.1",
                                               "port=5140",
                                               "facility=local0",
                                               "app_name=zvEvent",
                                               "native",
                                               "main",
                                               "enabled=1",
                                               "minimum_severity=info",
                                               "source_name=zvEvent",
                                               "facility=local4",
                                               "subsystem=com.zavorin.zvEvent",
                                               "category=events",
                                               "cloudevents",
                                               "http",
                                               "default",
                                               "enabled=0",
                                               "minimum_severity=info",
                                               "source=/zvEvent",
                                               "timeout_ms=5000",
                                               "webhook",
                                               "http",
                                               "default",
                                               "enabled=0",
                                               "minimum_severity=info",
                                               "payload_mode=native_json",
                                               "connect_timeout_ms=2000",
                                               "request_timeout_ms=5000",
                                               "tls_verify=1",
                                               "retry_count=0",
                                               "backoff_ms=250",
                                               "cloudevents_source=/zvEvent",
                                               "snmp",
                                               "trap",
                                               "default",
                                               "enabled=0",
                                               "minimum_severity=info",
                                               "host=127.0.0.1",
                                               "port=162",
                                               "community=vamble",
                                               "version=2c",
                                               "enterprise_oid=1.3.6.1.4.1.32473.1.1",
                                               "trap_oid=1.3.6.1.4.1.32473.1.1.0.1",
                                               "alertmanager",
                                               "main",
                                               "enabled=0",
                                               "minimum_severity=info",
                                               "url=http://127.0.0.1:9093/api/v2/alerts",
                                               "send_resolved=1",
                                               "allow_source_label=0",
                                               "alertname_prefix=ZvEvent",
                                               "authorization_type=none",
                                               "connect_timeout_ms=3000",
                                               "request_timeout_ms=5000",
                                               "verify_tls=1",
                                               "retry_count=3",
                                               "retry_backoff_ms=500"};
    std::string text = directory_.Read("c.xml");
    std::vector<std::string> found;
    for (std::size_t at = 0; (at = text.find("name=\"", at)) != std::string::npos;) {
        at += 6;
        std::string entry = text.substr(at, text.find('"', at) - at);
        if (text.compare(text.rfind('<', at), 6, "<value") == 0) {
            const std::size_t begin = text.find('>', at) + 1;
            entry += "=" + text.substr(begin, text.find('<', begin) - begin);
        }
        found.push_back(entry);
    }
    ASSERT_GT(found.size(), 2U);
    EXPECT_EQ(std::vector<std::string>(found.begin() + 2, found.end()), expected);

    // A complete file is not touched again and loads to the same.
    ASSERT_EQ(Load(text), ZVEVENT_OK);
    EXPECT_EQ(directory_.Read("c.xml"), text);
    EXPECT_EQ(config_.sinks.size(), 7U);
    EXPECT_EQ(config_.sinks[0].csv.path, "zvEvent.csv");
    EXPECT_EQ(config_.sinks[3].webhook_http.payload_mode, "cloudevents");
}

TEST_F(ConfigLoaderTest, ReadsWordsAndNumbers) {
    struct Case {
        const char* name;
        const char* text;
        const char* expected;  // "enabled severity size policy", or an error
    };
    const Case cases[] = {
        {"enabled", "Yes", "1 1 1024 0"},
        {"enabled", "ON", "1 1 1024 0"},
        {"enabled", "Disabled", "0 1 1024 0"},
        {"enabled", "7", "1 1 1024 0"},
        {"enabled", "0", "0 1 1024 0"},
        {"enabled", " yes", "Invalid boolean value for QRV\\Events\\core\\enabled:  yes"},
        {"enabled", "", "Invalid boolean value for QRV\\Events\\core\\enabled: "},
        {"minimum_severity", "2", "1 2 1024 0"},
        {"minimum_severity", "ERR", "1 3 1024 0"},
        {"minimum_severity", "Information", "1 1 1024 0"},
        {"minimum_severity", "warn", "1 2 1024 0"},
        {"minimum_severity", "7",
         "Invalid minimum_severity value for QRV\\Events\\core\\minimum_severity: 7"},
        {"queue_size", "5", "1 1 5 0"},
        {"queue_size", "4294967295", "1 1 4294967295 0"},
        {"queue_size", "4294967296", "1 1 1024 0"},
        {"queue_size", "5s", "1 1 1024 0"},
        {"queue_size", "0", "queue_size must be greater than zero"},
        {"drop_policy", "Newest", "1 1 1024 0"},
        {"drop_policy", "drop_low_severity_first", "1 1 1024 1"},
        {"drop_policy", "debug_info_first", "1 1 1024 1"},
        {"drop_policy", "oldest",
         "Invalid drop_policy value for QRV\\Events\\core\\drop_policy: oldest"},
    };
    for (const Case& c : cases) {
        const std::string text = Config(Value(c.name, c.text));
        const std::uint32_t result = Load(text);
        if (result == ZVEVENT_OK) {
            EXPECT_EQ(std::to_string(config_.enabled) + " " +
                          std::to_string(config_.minimum_severity) + " " +
                          std::to_string(config_.queue_size) + " " +
                          std::to_string(static_cast<int>(config_.drop_policy)),
                      c.expected)
                << c.name << "=" << c.text;
        } else {
            EXPECT_EQ(result, ZVEVENT_E_INVALID_ARGUMENT);
            EXPECT_EQ(error_, c.expected);
            EXPECT_TRUE(config_.sinks.empty()) << "nothing after the core is read";
            EXPECT_EQ(directory_.Read("c.xml"), text) << "nothing is saved";
        }
    }
}

TEST_F(ConfigLoaderTest, ReadsInstancesInOrder) {
    const std::string csv =
        Sinks("csv", Key("b", Value("path", "B")) + Value("stray", "1") +
                         Key("a", Value("path", " A ") + Value("minimum_severity", "error")));
    ASSERT_EQ(Load(Config(Value("minimum_severity", "debug"), csv)), ZVEVENT_OK) << error_;
    ASSERT_EQ(config_.sinks.size(), 8U);
    EXPECT_EQ(config_.sinks[0].name + config_.sinks[0].csv.path, "bB");
    EXPECT_EQ(config_.sinks[0].minimum_severity, std::uint32_t{zvEventSeverityInfo})
        << "a missing word is info, whatever the core's";
    EXPECT_EQ(config_.sinks[1].name + config_.sinks[1].csv.path, "a A ");
    EXPECT_EQ(config_.sinks[1].minimum_severity, std::uint32_t{zvEventSeverityError});
}

TEST_F(ConfigLoaderTest, FillsTheWebhookGroupOfCloudEvents) {
    ASSERT_EQ(Load(Config(
                  "", Sinks("cloudevents", Key("http", Key("x", Value("endpoint_url", "http://e") +
                                                                    Value("source", "") +
                                                                    Value("subject_prefix", "p/") +
                                                                    Value("auth_header", "H: 1") +
                                                                    Value("timeout_ms", "77")))))),
              ZVEVENT_OK);
    const auto& webhook = config_.sinks[3].webhook_http;
    EXPECT_EQ(webhook.endpoint_url + "|" + webhook.payload_mode + "|" + webhook.headers + "|" +
                  webhook.cloudevents_source + "|" + webhook.cloudevents_subject_prefix,
              "http://e|cloudevents|H: 1||p/");
    EXPECT_EQ(webhook.connect_timeout_ms + webhook.request_timeout_ms, 154U);
    EXPECT_FALSE(webhook.tls_verify);
    EXPECT_EQ(webhook.backoff_ms, 250U);
}

TEST_F(ConfigLoaderTest, FindsLateErrorsAtTheEnd) {
    const std::string bad = Config("", Key("state", Value("send_clear", "maybe")) +
                                           Sinks("csv", Key("x", Value("enabled", "sometimes"))));
    EXPECT_EQ(Load(bad), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(error_, "Invalid boolean value for QRV\\Events\\sink\\csv\\x\\enabled: sometimes")
        << "the last error stays";
    EXPECT_EQ(config_.sinks.size(), 7U) << "loading went on to the end";
    EXPECT_EQ(directory_.Read("c.xml"), bad);

    // Without an error text such errors go unnoticed, and the file is completed.
    EXPECT_EQ(zvEventLoadConfig(directory_.File("c.xml").c_str(), &config_, nullptr), ZVEVENT_OK);
    EXPECT_TRUE(config_.send_clear);
    EXPECT_NE(directory_.Read("c.xml").find("queue_size"), std::string::npos);
}

TEST_F(ConfigLoaderTest, RefusesWhatItCannotOpen) {
    EXPECT_EQ(zvEventLoadConfig("x", nullptr, &error_), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(error_, "Invalid zvEventConfig output");
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(zvEventLoadConfig(none, &config_, &error_), ZVEVENT_E_INVALID_ARGUMENT);
        EXPECT_EQ(error_, "zvEvent requires a zvCFG XML config path");
    }
    const std::string missing = directory_.File("missing.xml");
    EXPECT_EQ(zvEventLoadConfig(missing.c_str(), &config_, &error_), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(error_, "Unable to open zvEvent config: " + missing);
}

}  // namespace
}  // namespace zvevent
