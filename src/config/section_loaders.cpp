#include "config/section_loaders.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <utility>

#include "config/config_keys.h"

namespace zvevent {

namespace {

using Sink = zvEventSinkConfig;

// One setting of a sink: its key, its default in a configuration that lacks it, and where the value
// goes.
struct Setting {
    using Read = void (*)(ValueReader& reader, const std::string& key, const Setting& setting,
                          Sink& sink);
    const char* name;
    const char* text;
    std::uint32_t number;
    Read read;
};

template <auto Group, auto Field>
constexpr Setting Of(const char* name, const char* absent) {
    return {name, absent, 0,
            [](ValueReader& reader, const std::string& key, const Setting& setting, Sink& sink) {
                sink.*Group.*Field = reader.Text(key, setting.name, setting.text);
            }};
}

template <auto Group, auto Field>
constexpr Setting Of(const char* name, std::uint32_t absent) {
    return {name, nullptr, absent,
            [](ValueReader& reader, const std::string& key, const Setting& setting, Sink& sink) {
                sink.*Group.*Field = reader.Number(key, setting.name, setting.number);
            }};
}

template <auto Group, auto Field>
constexpr Setting Of(const char* name, bool absent) {
    return {name, nullptr, absent ? 1U : 0U,
            [](ValueReader& reader, const std::string& key, const Setting& setting, Sink& sink) {
                sink.*Group.*Field = reader.Boolean(key, setting.name, setting.number != 0);
            }};
}

constexpr auto kCsv = &Sink::csv;
constexpr std::array kCsvSettings = {
    Of<kCsv, &Sink::Csv::path>("path", "zvEvent.csv"),
    Of<kCsv, &Sink::Csv::flush_each_event>("flush_each_event", false),
};

constexpr auto kSyslog = &Sink::syslog_udp;
constexpr std::array kSyslogUdpSettings = {
    Of<kSyslog, &Sink::SyslogUdp::host>("host", "127.0.0.1"),
    Of<kSyslog, &Sink::SyslogUdp::port>("port", 5140U),
    Of<kSyslog, &Sink::SyslogUdp::facility>("facility", "local0"),
    Of<kSyslog, &Sink::SyslogUdp::app_name>("app_name", "zvEvent"),
};

constexpr auto kNative = &Sink::native;
constexpr std::array kNativeSettings = {
    Of<kNative, &Sink::Native::source_name>("source_name", "zvEvent"),
    Of<kNative, &Sink::Native::facility>("facility", "local4"),
    Of<kNative, &Sink::Native::subsystem>("subsystem", "com.zavorin.zvEvent"),
    Of<kNative, &Sink::Native::category>("category", "events"),
};

constexpr auto kCloudevents = &Sink::cloudevents_http;
constexpr std::array kCloudeventsHttpSettings = {
    Of<kCloudevents, &Sink::CloudeventsHttp::endpoint_url>("endpoint_url", ""),
    Of<kCloudevents, &Sink::CloudeventsHttp::source>("source", "/zvEvent"),
    Of<kCloudevents, &Sink::CloudeventsHttp::subject_prefix>("subject_prefix", ""),
    Of<kCloudevents, &Sink::CloudeventsHttp::auth_header>("auth_header", ""),
    Of<kCloudevents, &Sink::CloudeventsHttp::timeout_ms>("timeout_ms", 5000U),
};

constexpr auto kWebhook = &Sink::webhook_http;
constexpr std::array kWebhookHttpSettings = {
    Of<kWebhook, &Sink::WebhookHttp::endpoint_url>("endpoint_url", ""),
    Of<kWebhook, &Sink::WebhookHttp::payload_mode>("payload_mode", "native_json"),
    Of<kWebhook, &Sink::WebhookHttp::headers>("headers", ""),
    Of<kWebhook, &Sink::WebhookHttp::bearer_token>("bearer_token", ""),
    Of<kWebhook, &Sink::WebhookHttp::basic_username>("basic_username", ""),
    Of<kWebhook, &Sink::WebhookHttp::basic_password>("basic_password", ""),
    Of<kWebhook, &Sink::WebhookHttp::connect_timeout_ms>("connect_timeout_ms", 2000U),
    Of<kWebhook, &Sink::WebhookHttp::request_timeout_ms>("request_timeout_ms", 5000U),
    Of<kWebhook, &Sink::WebhookHttp::tls_verify>("tls_verify", true),
    Of<kWebhook, &Sink::WebhookHttp::retry_count>("retry_count", 0U),
    Of<kWebhook, &Sink::WebhookHttp::backoff_ms>("backoff_ms", 250U),
    Of<kWebhook, &Sink::WebhookHttp::cloudevents_source>("cloudevents_source", "/zvEvent"),
    Of<kWebhook, &Sink::WebhookHttp::cloudevents_subject_prefix>("cloudevents_subject_prefix", ""),
};

constexpr auto kSnmp = &Sink::snmp_trap;
constexpr std::array kSnmpTrapSettings = {
    Of<kSnmp, &Sink::SnmpTrap::host>("host", "127.0.0.1"),
    Of<kSnmp, &Sink::SnmpTrap::port>("port", 162U),
    Of<kSnmp, &Sink::SnmpTrap::community>("community", "vamble"),
    Of<kSnmp, &Sink::SnmpTrap::version>("version", "2c"),
    Of<kSnmp, &Sink::SnmpTrap::enterprise_oid>("enterprise_oid", "1.3.6.1.4.1.32473.1.1"),
    Of<kSnmp, &Sink::SnmpTrap::trap_oid>("trap_oid", "1.3.6.1.4.1.32473.1.1.0.1"),
};

constexpr auto kAlerts = &Sink::alertmanager;
constexpr std::array kAlertmanagerSettings = {
    Of<kAlerts, &Sink::Alertmanager::url>("url", "http://127.0.0.1:9093/api/v2/alerts"),
    Of<kAlerts, &Sink::Alertmanager::send_resolved>("send_resolved", true),
    Of<kAlerts, &Sink::Alertmanager::allow_source_label>("allow_source_label", false),
    Of<kAlerts, &Sink::Alertmanager::alertname_prefix>("alertname_prefix", "ZvEvent"),
    Of<kAlerts, &Sink::Alertmanager::authorization_type>("authorization_type", "none"),
    Of<kAlerts, &Sink::Alertmanager::authorization_token>("authorization_token", ""),
    Of<kAlerts, &Sink::Alertmanager::connect_timeout_ms>("connect_timeout_ms", 3000U),
    Of<kAlerts, &Sink::Alertmanager::request_timeout_ms>("request_timeout_ms", 5000U),
    Of<kAlerts, &Sink::Alertmanager::verify_tls>("verify_tls", true),
    Of<kAlerts, &Sink::Alertmanager::retry_count>("retry_count", 3U),
    Of<kAlerts, &Sink::Alertmanager::retry_backoff_ms>("retry_backoff_ms", 500U),
};

// Where a sink's minimum severity is seeded from: what it keeps when the word in the file is wrong.
enum class SeveritySeed { kCore, kWarning };

struct Section {
    zvEventSinkKind kind;
    std::string_view path;  // below the root key
    const char* default_instance;
    bool enabled;
    SeveritySeed seed;
    std::span<const Setting> settings;
};

// In load order, which is also the order of delivery.
constexpr std::array kSections = {
    Section{zvEventSinkKind::csv, "\\sink\\csv", "default", false, SeveritySeed::kCore,
            kCsvSettings},
    Section{zvEventSinkKind::syslog_udp, "\\sink\\syslog\\udp", "default", false,
            SeveritySeed::kCore, kSyslogUdpSettings},
    Section{zvEventSinkKind::native, "\\sink\\native", "main", true, SeveritySeed::kCore,
            kNativeSettings},
    Section{zvEventSinkKind::cloudevents_http, "\\sink\\cloudevents\\http", "default", false,
            SeveritySeed::kCore, kCloudeventsHttpSettings},
    Section{zvEventSinkKind::webhook_http, "\\sink\\webhook\\http", "default", false,
            SeveritySeed::kCore, kWebhookHttpSettings},
    Section{zvEventSinkKind::snmp_trap, "\\sink\\snmp\\trap", "default", false,
            SeveritySeed::kWarning, kSnmpTrapSettings},
    Section{zvEventSinkKind::alertmanager, "\\sink\\alertmanager", "main", false,
            SeveritySeed::kWarning, kAlertmanagerSettings},
};

std::string KeyOf(std::string_view path) {
    return std::string(kRootKey).append(path);
}

// A CloudEvents entry is delivered by the webhook output, which reads the webhook group.
void FillWebhookGroup(Sink& sink) {
    const Sink::CloudeventsHttp& from = sink.cloudevents_http;
    Sink::WebhookHttp& to = sink.webhook_http;
    to.endpoint_url = from.endpoint_url;
    to.payload_mode = "cloudevents";
    to.headers = from.auth_header;
    to.connect_timeout_ms = from.timeout_ms;
    to.request_timeout_ms = from.timeout_ms;
    to.tls_verify = false;  // deliberate: no setting turns it on for this kind
    to.cloudevents_source = from.source;
    to.cloudevents_subject_prefix = from.subject_prefix;
}

void LoadInstance(zvCFGHandle tree, ValueReader& reader, const Section& section,
                  const std::string& name, zvEventConfig& config) {
    const std::string key = KeyOf(section.path) + '\\' + name;
    EnsureKey(tree, key);
    Sink sink;
    sink.kind = section.kind;
    sink.name = name;
    sink.enabled = reader.Boolean(key, "enabled", section.enabled);
    sink.minimum_severity = reader.MinimumSeverity(
        key, section.seed == SeveritySeed::kCore ? config.minimum_severity
                                                 : std::uint32_t{zvEventSeverityWarning});
    for (const Setting& setting : section.settings)
        setting.read(reader, key, setting, sink);
    if (sink.kind == zvEventSinkKind::cloudevents_http) FillWebhookGroup(sink);
    config.sinks.push_back(std::move(sink));
}

}  // namespace

void EnsureTopKeys(zvCFGHandle tree) {
    EnsureKey(tree, kRootKey);
    for (const std::string_view path : {"\\core", "\\state"})
        EnsureKey(tree, KeyOf(path));
    for (const Section& section : kSections)
        EnsureKey(tree, KeyOf(section.path));
}

void LoadSinks(zvCFGHandle tree, ValueReader& reader, zvEventConfig& config) {
    std::array<std::vector<std::string>, kSections.size()> instances;
    for (std::size_t i = 0; i < kSections.size(); ++i) {
        instances[i] = ChildKeys(tree, KeyOf(kSections[i].path));
        if (instances[i].empty()) instances[i].emplace_back(kSections[i].default_instance);
    }
    for (std::size_t i = 0; i < kSections.size(); ++i) {
        for (const std::string& name : instances[i]) {
            LoadInstance(tree, reader, kSections[i], name, config);
        }
    }
}

std::string OutputName(const zvEventSinkConfig& entry) {
    constexpr std::string_view kAbove = "\\sink\\";
    std::string name = "other";
    for (const Section& section : kSections) {
        if (section.kind == entry.kind) name = section.path.substr(kAbove.size());
    }
    std::replace(name.begin(), name.end(), '\\', '/');
    return name.append("/").append(entry.name);
}

}  // namespace zvevent
