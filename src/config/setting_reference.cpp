#include "config/setting_reference.h"

#include <array>

namespace zvevent {

namespace {

// Of both kinds of HTTP output.
constexpr std::string_view kOutbox =
    "path of a file in which events wait for the receiver, `{pid}` stands for the process id: "
    "[outbox.md](outbox.md)";
constexpr std::string_view kOutboxLimit =
    "what the outbox keeps at most: events (`10000`) or bytes (`64MB`, also KB, GB); empty: "
    "100,000 "
    "events";
constexpr std::string_view kOutboxSync =
    "`full`: every event is synced to the disk; `normal` or empty: once a second";

constexpr auto kSettings = std::to_array<SettingReference>({
    {kCoreKey, "enabled", "0: every event is filtered"},
    {kCoreKey, "minimum_severity", "events below it are filtered, before any output"},
    {kCoreKey, "queue_size",
     "events that wait at most, 1 or more; memory is taken as it is needed. A reload with a "
     "smaller one drops "
     "what no longer fits"},
    {kCoreKey, "drop_policy",
     "what a full queue drops: the event that comes, or the oldest debug or info event first"},
    {kCoreKey, "status_file",
     "path of a file that tells how the library is doing; `{pid}` stands for the process id: "
     "[operations.md](operations.md)"},
    {kCoreKey, "report_severity",
     "severity of the alerts that the library raises about itself; without one it raises none"},
    {kCoreKey, "watch_config", "1: a changed configuration file is applied by itself"},
    {kStateKey, "enabled", "0: every event passes as it is, nothing is remembered"},
    {kStateKey, "dedupe_enabled", "0: the same"},
    {kStateKey, "default_repeat_interval_sec",
     "seconds until an event about an active alert is due again; 0: every one is"},
    {kStateKey, "send_clear", "whether the clear of an active alert is delivered"},
    {kStateKey, "route_orphan_clear",
     "whether the clear of an alert that is not active is delivered"},
    {kSinkKey, "enabled", "1: the output exists; the default of `native` alone"},
    {kSinkKey, "minimum_severity",
     "events below it are not given to it; info where it is missing, whatever `core` says"},
    {"csv", "path", "the file; missing directories are created. Empty: the start fails"},
    {"csv", "flush_each_event", "1: every row is handed to the system at once"},
    {"syslog\\udp", "host", "the collector; empty: the default"},
    {"syslog\\udp", "port", "its UDP port, 1 to 65535; 0: 514"},
    {"syslog\\udp", "facility", "facility name; an unknown one is local0"},
    {"syslog\\udp", "app_name", "APP-NAME; empty: the default"},
    {"native", "source_name", "event source on Windows, tag on Linux"},
    {"native", "facility", "Linux: facility; no effect on Windows"},
    {"native", "subsystem", "no effect on Windows and Linux"},
    {"native", "category", "no effect on Windows and Linux"},
    {"cloudevents\\http", "endpoint_url",
     "the receiver, http or https. Empty: the start fails when the output is enabled"},
    {"cloudevents\\http", "source", "attribute `source`"},
    {"cloudevents\\http", "subject_prefix", "goes before the attribute `subject`"},
    {"cloudevents\\http", "auth_header", "header lines that are sent along", true},
    {"cloudevents\\http", "timeout_ms", "milliseconds for the connection, and for a whole request"},
    {"cloudevents\\http", "outbox", kOutbox},
    {"cloudevents\\http", "outbox_limit", kOutboxLimit},
    {"cloudevents\\http", "outbox_sync", kOutboxSync},
    {"webhook\\http", "endpoint_url",
     "the receiver, http or https. Empty: the start fails when the output is enabled"},
    {"webhook\\http", "payload_mode", "`native_json` or `cloudevents`"},
    {"webhook\\http", "headers", "header lines that are sent along", true},
    {"webhook\\http", "bearer_token", "`Authorization: Bearer`", true},
    {"webhook\\http", "basic_username", "`Authorization: Basic`"},
    {"webhook\\http", "basic_password", "the same", true},
    {"webhook\\http", "connect_timeout_ms",
     "milliseconds for name, connection and handshake; 0: only the next one holds"},
    {"webhook\\http", "request_timeout_ms", "milliseconds for one try; 0: 5000"},
    {"webhook\\http", "tls_verify", "0: the server's certificate is not looked at"},
    {"webhook\\http", "ca_file", "PEM file that is trusted in place of the system's store"},
    {"webhook\\http", "retry_count", "further tries after a failure"},
    {"webhook\\http", "backoff_ms", "milliseconds of pause before each of them"},
    {"webhook\\http", "cloudevents_source", "attribute `source` in mode `cloudevents`"},
    {"webhook\\http", "cloudevents_subject_prefix",
     "goes before the attribute `subject` in mode `cloudevents`"},
    {"webhook\\http", "outbox", kOutbox},
    {"webhook\\http", "outbox_limit", kOutboxLimit},
    {"webhook\\http", "outbox_sync", kOutboxSync},
    {"snmp\\trap", "host", "the manager; empty: the default"},
    {"snmp\\trap", "port", "its UDP port, 1 to 65535; 0: the default"},
    {"snmp\\trap", "community", "sent in the clear; empty: the default", true},
    {"snmp\\trap", "version", "`2c`, `v2c` or `snmpv2c`; anything else fails the start"},
    {"snmp\\trap", "enterprise_oid", "what the event's objects are below"},
    {"snmp\\trap", "trap_oid", "snmpTrapOID of every trap; empty: the default"},
    {"alertmanager", "url", "no effect yet"},
    {"alertmanager", "send_resolved", "0: the document of a clear holds no alert"},
    {"alertmanager", "allow_source_label", "whether the source becomes a label"},
    {"alertmanager", "alertname_prefix", "goes before the name of the alert; empty: the default"},
    {"alertmanager", "authorization_type", "no effect yet"},
    {"alertmanager", "authorization_token", "no effect yet", true},
    {"alertmanager", "connect_timeout_ms", "no effect yet"},
    {"alertmanager", "request_timeout_ms", "no effect yet"},
    {"alertmanager", "verify_tls", "no effect yet"},
    {"alertmanager", "retry_count", "no effect yet"},
    {"alertmanager", "retry_backoff_ms", "no effect yet"},
});

struct Section {
    std::string_view section;
    std::string_view summary;
};
constexpr auto kSections = std::to_array<Section>({
    {kCoreKey, "The library as a whole"},
    {kStateKey, "Alerts: what is told again and when, and what a clear does"},
    {"csv", "A CSV file"},
    {"syslog\\udp", "Syslog messages (RFC 5424) over UDP"},
    {"native", "The operating system's own log"},
    {"cloudevents\\http",
     "CloudEvents over HTTP; the certificate of an https receiver is never verified"},
    {"webhook\\http", "JSON documents or CloudEvents over HTTP"},
    {"snmp\\trap", "SNMP v2c traps over UDP"},
    {"alertmanager", "Alertmanager documents; the latest one is kept, none is sent"},
});

}  // namespace

const SettingReference& ReferenceOf(std::string_view section, std::string_view name) {
    static constexpr SettingReference kNone;
    for (const SettingReference& setting : kSettings) {
        const bool of_every_output =
            setting.section == kSinkKey && section != kCoreKey && section != kStateKey;
        if (setting.name == name && (setting.section == section || of_every_output)) return setting;
    }
    return kNone;
}

std::string_view SectionSummary(std::string_view section) {
    for (const Section& known : kSections) {
        if (known.section == section) return known.summary;
    }
    return {};
}

}  // namespace zvevent
