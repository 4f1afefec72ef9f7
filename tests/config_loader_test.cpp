#include "config/config_loader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <tuple>

#include "config/config_audit.h"
#include "config/setting_reference.h"
#include "support/config_text.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

using test::ConfigText;
using test::Key;
using test::Value;

struct ConfigLoaderTest : testing::Test {
    // An audit reads the same, and leaves the file alone.
    std::uint32_t Load(const std::string& text) {
        const std::string path = directory_.Write("c.xml", text);
        const ConfigAudit audit = AuditConfig(path);
        EXPECT_EQ(directory_.Read("c.xml"), text);
        const std::uint32_t result = zvEventLoadConfig(path.c_str(), &config_, &error_);
        EXPECT_EQ(audit.error, error_);
        EXPECT_TRUE(result != ZVEVENT_OK || audit.config == config_);
        return result;
    }

    test::TempDirectory directory_;
    zvEventConfig config_;
    std::string error_;
};

// A file of docs/, with the line ends that the library gives an empty file.
std::string Document(const char* name) {
    std::ifstream file(std::string(ZVEVENT_TEST_DOCS "/") + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(ConfigLoaderTest, CompletesAnEmptyFile) {
    ASSERT_EQ(Load(""), ZVEVENT_OK) << error_;
    EXPECT_EQ(config_.config_path, directory_.File("c.xml"));
    std::string loaded;
    for (const zvEventSinkConfig& sink : config_.sinks) {
        loaded += sink.name + std::to_string(static_cast<int>(sink.kind)) +
                  (sink.enabled ? "+" : "-") + std::to_string(sink.minimum_severity) + " ";
    }
    EXPECT_EQ(loaded, "default0-1 default1-1 main2+1 default3-1 default5-1 default4-1 main6-1 ");
    const std::string text = directory_.Read("c.xml");
    EXPECT_EQ(text, Document("default-config.xml"));

    ASSERT_EQ(Load(text), ZVEVENT_OK);
    EXPECT_EQ(directory_.Read("c.xml"), text) << "a complete file is not touched again";
    EXPECT_EQ(config_.sinks.size(), 7U);
}

// The page says what the table in the code says, in the order of an empty file that was completed.
TEST_F(ConfigLoaderTest, EverySettingIsOnItsPage) {
    std::string rows, page_rows;
    for (const AuditedSetting& setting : AuditConfig(directory_.Write("c.xml", "")).settings) {
        const SettingReference& known = ReferenceOf(setting.section, setting.name);
        if (known.section == kSinkKey && setting.section != kSinkSections[0].path) continue;
        rows += "| `" + setting.name + "` | " + std::string(setting.kind) + " | " +
                (setting.value.empty() ? "(empty)" : setting.value) + " | " +
                std::string(known.effect) + " |\n";
    }
    std::istringstream page(Document("configuration.md"));
    for (std::string line; std::getline(page, line);)
        if (line.starts_with("| `")) page_rows += line + '\n';
    EXPECT_EQ(page_rows, rows);
}

TEST_F(ConfigLoaderTest, ReadsWordsAndNumbers) {
    const std::string core = " value for QRV\\Events\\core\\";
    // Name, texts with bars between them, and "enabled severity size policy" or the error's begin.
    const std::tuple<std::string, const char*, std::string> cases[] = {
        {"enabled", "1|7|True|Yes|ON|Enabled", "1 1 1024 0"},
        {"enabled", "0|false|No|OFF|Disabled", "0 1 1024 0"},
        {"enabled", "| yes|maybe", "Invalid boolean" + core + "enabled: "},
        {"minimum_severity", "2|Warn|WARNING", "1 2 1024 0"},
        {"minimum_severity", "ERR|Error|3", "1 3 1024 0"},
        {"minimum_severity", "Info|Information", "1 1 1024 0"},
        {"minimum_severity", "7|high", "Invalid minimum_severity" + core + "minimum_severity: "},
        {"queue_size", "4294967295", "1 1 4294967295 0"},
        {"queue_size", "4294967296|99999999999999999999| 5|5 |+5|-1|5s|0x5|5.0", "1 1 1024 0"},
        {"queue_size", "0", "queue_size must be greater than zero"},
        {"drop_policy", "Newest|drop_newest", "1 1 1024 0"},
        {"drop_policy", "drop_low_severity_first|Debug_info_first", "1 1 1024 1"},
        {"drop_policy", "oldest", "Invalid drop_policy" + core + "drop_policy: "},
        {"report_severity", "|2|Warn|error", "1 1 1024 0"},
        {"report_severity", "4|loud", "Invalid report_severity" + core + "report_severity: "},
        {"watch_config", "|on|0", "1 1 1024 0"},
        {"watch_config", "perhaps", "Invalid boolean" + core + "watch_config: "},
    };
    for (const auto& [name, texts, expected] : cases) {
        std::istringstream words(texts);
        for (std::string word; std::getline(words, word, '|');) {
            const std::string text = ConfigText(Value(name, word));
            std::ostringstream result;
            if (Load(text) == ZVEVENT_OK) {
                result << config_.enabled << ' ' << config_.minimum_severity << ' '
                       << config_.queue_size << ' ' << static_cast<int>(config_.drop_policy);
                EXPECT_EQ(result.str(), expected) << name << "=" << word;
            } else {
                EXPECT_EQ(error_, expected + (error_.ends_with(' ' + word) ? word : ""));
                EXPECT_TRUE(config_.sinks.empty()) << "nothing after the core is read";
                EXPECT_EQ(directory_.Read("c.xml"), text) << "nothing is saved";
            }
        }
    }
}

TEST_F(ConfigLoaderTest, ReadsInstancesInOrder) {
    const std::string csv = Key("b", Value("path", "B")) + Value("stray", "1") +
                            Key("a", Value("path", " A ") + Value("minimum_severity", "error"));
    const std::string cloud = Value("endpoint_url", "http://e") + Value("source", "") +
                              Value("subject_prefix", "p/") + Value("auth_header", "H: 1") +
                              Value("timeout_ms", "77");
    const std::string sinks = Key("csv", csv) + Key("cloudevents", Key("http", Key("x", cloud)));
    ASSERT_EQ(Load(ConfigText(Value("minimum_severity", "debug"), Key("sink", sinks))), ZVEVENT_OK);
    ASSERT_EQ(config_.sinks.size(), 8U);
    std::ostringstream read;
    for (const zvEventSinkConfig* sink : {&config_.sinks[0], &config_.sinks[1]})
        read << sink->name << sink->csv.path << sink->minimum_severity << '|';
    const auto& w = config_.sinks[4].webhook_http;  // of the cloud events
    read << w.endpoint_url << '|' << w.payload_mode << '|' << w.headers << '|'
         << w.cloudevents_source << '|' << w.cloudevents_subject_prefix << '|'
         << w.connect_timeout_ms << ' ' << w.request_timeout_ms << ' ' << w.tls_verify;
    EXPECT_EQ(read.str(), "bB1|a A 3|http://e|cloudevents|H: 1||p/|77 77 0")
        << "a missing severity is info, whatever the core's";
}

// Linear: with twice the instances taking four times as long, this would not end in time.
TEST_F(ConfigLoaderTest, CompletesManyInstances) {
    constexpr std::size_t kCount = 20'000;
    std::string instances;
    for (std::size_t i = 0; i < kCount; ++i)
        instances += "\n<key name=\"" + std::to_string(i) + "\"/>";
    ASSERT_EQ(Load(ConfigText("", Key("sink", Key("csv", instances)))), ZVEVENT_OK) << error_;
    ASSERT_EQ(config_.sinks.size(), kCount + 6);
    const std::string text = directory_.Read("c.xml");
    EXPECT_NE(text.find("<key name=\"19999\">\n<value name=\"enabled\">0</value>"), text.npos);
}

TEST_F(ConfigLoaderTest, FindsLateErrorsAtTheEnd) {
    const std::string bad = ConfigText(
        "", Key("state", Value("send_clear", "maybe")) +
                Key("sink", Key("snmp", Key("trap", Key("x", Value("minimum_severity", "loud"))))));
    EXPECT_EQ(Load(bad), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(error_,
              "Invalid minimum_severity value for "
              "QRV\\Events\\sink\\snmp\\trap\\x\\minimum_severity: loud")
        << "the last error stays";
    EXPECT_EQ(config_.sinks.size(), 7U) << "loading went on to the end";
    EXPECT_EQ(directory_.Read("c.xml"), bad);

    // Without an error text such errors go unnoticed, and the file is completed.
    EXPECT_EQ(zvEventLoadConfig(directory_.File("c.xml").c_str(), &config_, nullptr), ZVEVENT_OK);
    EXPECT_EQ(config_.sinks[5].minimum_severity, std::uint32_t{zvEventSeverityWarning});
    EXPECT_TRUE(config_.send_clear);
    EXPECT_NE(directory_.Read("c.xml").find("queue_size"), std::string::npos);
}

}  // namespace
}  // namespace zvevent
