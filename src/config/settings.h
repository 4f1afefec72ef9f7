// Every setting by name, in the order in which a file is read and completed. The loader walks these
// functions, and so does whoever lists, explains or checks settings: a setting that is not here
// does not exist. Adding one takes its member in config.h, its line here, and what it means in
// setting_reference.cpp and docs/configuration.md. Any thread.
//
// A visitor is called with the key of a value, the field that it fills, and, where a file that
// lacks the value gets something else than what the field of a fresh record holds, with that as
// third. The field's type tells the kind of the setting: std::string, std::uint32_t, bool,
// SeverityIn, zvEventDropPolicy, or a std::optional word. Records may be const; a template
// parameter stands for both.
//
// A setting that is to be absent from completed files is a std::string with an empty default, or a
// std::optional, which an empty text leaves empty.
#pragma once

#include <array>
#include <string_view>

#include "config/config.h"

namespace zvevent {

inline constexpr std::string_view kRootKey = "QRV\\Events";
inline constexpr std::string_view kCoreKey = "core";    // below the root, as the ones below
inline constexpr std::string_view kStateKey = "state";  //
inline constexpr std::string_view kSinkKey = "sink";

// A number that is a severity.
template <typename Number>
struct SeverityIn {
    Number& level;
};
template <typename Number>
SeverityIn(Number&) -> SeverityIn<Number>;

template <typename Config, typename Visit>
void VisitCoreSettings(Config& config, Visit&& visit) {
    visit("enabled", config.enabled);
    visit("minimum_severity", SeverityIn{config.minimum_severity});
    visit("queue_size", config.queue_size);
    visit("drop_policy", config.drop_policy);
    visit("status_file", config.status_file);
    visit("report_severity", SeverityIn{config.report_severity});
    visit("watch_config", config.watch_config);
}

template <typename Config, typename Visit>
void VisitStateSettings(Config& config, Visit&& visit) {
    visit("enabled", config.state_enabled);
    visit("dedupe_enabled", config.dedupe_enabled);
    visit("default_repeat_interval_sec", config.default_repeat_interval_sec);
    visit("send_clear", config.send_clear);
    visit("route_orphan_clear", config.route_orphan_clear);
}

template <typename Csv, typename Visit>
void VisitCsv(Csv& csv, Visit&& visit) {
    visit("path", csv.path, Csv::kDefaultPath);
    visit("flush_each_event", csv.flush_each_event);
}

template <typename Syslog, typename Visit>
void VisitSyslogUdp(Syslog& syslog, Visit&& visit) {
    visit("host", syslog.host, Syslog::kDefaultHost);
    visit("port", syslog.port);
    visit("facility", syslog.facility, Syslog::kDefaultFacility);
    visit("app_name", syslog.app_name, Syslog::kDefaultAppName);
}

template <typename Native, typename Visit>
void VisitNative(Native& native, Visit&& visit) {
    visit("source_name", native.source_name, Native::kDefaultSourceName);
    visit("facility", native.facility);
    visit("subsystem", native.subsystem);
    visit("category", native.category);
}

template <typename CloudEvents, typename Visit>
void VisitCloudeventsHttp(CloudEvents& events, Visit&& visit) {
    visit("endpoint_url", events.endpoint_url);
    visit("source", events.source);
    visit("subject_prefix", events.subject_prefix);
    visit("auth_header", events.auth_header);
    visit("timeout_ms", events.timeout_ms);
    visit("outbox", events.outbox);
    visit("outbox_limit", events.outbox_limit);
    visit("outbox_sync", events.outbox_sync);
}

template <typename Webhook, typename Visit>
void VisitWebhookHttp(Webhook& webhook, Visit&& visit) {
    visit("endpoint_url", webhook.endpoint_url);
    visit("payload_mode", webhook.payload_mode);
    visit("headers", webhook.headers);
    visit("bearer_token", webhook.bearer_token);
    visit("basic_username", webhook.basic_username);
    visit("basic_password", webhook.basic_password);
    visit("connect_timeout_ms", webhook.connect_timeout_ms);
    visit("request_timeout_ms", webhook.request_timeout_ms);
    visit("tls_verify", webhook.tls_verify);
    visit("ca_file", webhook.ca_file);
    visit("retry_count", webhook.retry_count);
    visit("backoff_ms", webhook.backoff_ms);
    visit("cloudevents_source", webhook.cloudevents_source);
    visit("cloudevents_subject_prefix", webhook.cloudevents_subject_prefix);
    visit("outbox", webhook.outbox);
    visit("outbox_limit", webhook.outbox_limit);
    visit("outbox_sync", webhook.outbox_sync);
}

template <typename Snmp, typename Visit>
void VisitSnmpTrap(Snmp& snmp, Visit&& visit) {
    visit("host", snmp.host);
    visit("port", snmp.port);
    visit("community", snmp.community);
    visit("version", snmp.version);
    visit("enterprise_oid", snmp.enterprise_oid);
    visit("trap_oid", snmp.trap_oid);
}

template <typename Alertmanager, typename Visit>
void VisitAlertmanager(Alertmanager& alerts, Visit&& visit) {
    visit("url", alerts.url);
    visit("send_resolved", alerts.send_resolved);
    visit("allow_source_label", alerts.allow_source_label);
    visit("alertname_prefix", alerts.alertname_prefix);
    visit("authorization_type", alerts.authorization_type);
    visit("authorization_token", alerts.authorization_token);
    visit("connect_timeout_ms", alerts.connect_timeout_ms);
    visit("request_timeout_ms", alerts.request_timeout_ms);
    visit("verify_tls", alerts.verify_tls);
    visit("retry_count", alerts.retry_count);
    visit("retry_backoff_ms", alerts.retry_backoff_ms);
}

// What every output has, then the settings of its kind.
template <typename Sink, typename Visit>
void VisitSinkSettings(Sink& sink, Visit&& visit) {
    visit("enabled", sink.enabled);
    visit("minimum_severity", SeverityIn{sink.minimum_severity});
    switch (sink.kind) {
        case zvEventSinkKind::csv:
            return VisitCsv(sink.csv, visit);
        case zvEventSinkKind::syslog_udp:
            return VisitSyslogUdp(sink.syslog_udp, visit);
        case zvEventSinkKind::native:
            return VisitNative(sink.native, visit);
        case zvEventSinkKind::cloudevents_http:
            return VisitCloudeventsHttp(sink.cloudevents_http, visit);
        case zvEventSinkKind::snmp_trap:
            return VisitSnmpTrap(sink.snmp_trap, visit);
        case zvEventSinkKind::webhook_http:
            return VisitWebhookHttp(sink.webhook_http, visit);
        case zvEventSinkKind::alertmanager:
            return VisitAlertmanager(sink.alertmanager, visit);
    }
}

// A kind of output and where its instances stand.
struct SinkSection {
    zvEventSinkKind kind;
    std::string_view path;  // below the key of the sinks
    const char* default_instance;
    bool enabled = false;  // an instance that does not say
    // What an instance keeps whose minimum severity is no severity; the core's by default.
    bool seeded_with_warning = false;
};

// In load order, which is also the order of delivery.
inline constexpr std::array<SinkSection, 7> kSinkSections = {{
    {.kind = zvEventSinkKind::csv, .path = "csv", .default_instance = "default"},
    {.kind = zvEventSinkKind::syslog_udp, .path = "syslog\\udp", .default_instance = "default"},
    {.kind = zvEventSinkKind::native,
     .path = "native",
     .default_instance = "main",
     .enabled = true},
    {.kind = zvEventSinkKind::cloudevents_http,
     .path = "cloudevents\\http",
     .default_instance = "default"},
    {.kind = zvEventSinkKind::webhook_http, .path = "webhook\\http", .default_instance = "default"},
    {.kind = zvEventSinkKind::snmp_trap,
     .path = "snmp\\trap",
     .default_instance = "default",
     .seeded_with_warning = true},
    {.kind = zvEventSinkKind::alertmanager,
     .path = "alertmanager",
     .default_instance = "main",
     .seeded_with_warning = true},
}};

}  // namespace zvevent
