// Everything the library is configured with: plain values, filled by the loader, read by the core
// and the sinks. A configuration in force is shared and never changed. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zvEvent/zvEvent.h"

// What a full queue drops.
enum class zvEventDropPolicy : std::uint32_t {
    drop_newest = 0,
    drop_debug_info_first = 1,
};

// The numbering is fixed.
enum class zvEventSinkKind : std::uint32_t {
    csv = 0,
    syslog_udp = 1,
    native = 2,
    cloudevents_http = 3,
    snmp_trap = 4,
    webhook_http = 5,
    alertmanager = 6,
};

// One configured output. It carries a group of settings for every kind; a sink reads the group of
// its own kind.
//
// Every default stands here once. A member's initializer is what a fresh record holds, and what a
// configuration file that lacks the setting gets; where the two differ, a constant beside the
// member is the latter, and config/settings.h names it. Other constants here are what a sink uses
// in place of an empty text or a zero.
struct zvEventSinkConfig {
    zvEventSinkKind kind = zvEventSinkKind::native;
    std::string name;
    bool enabled = false;
    std::uint32_t minimum_severity = zvEventSeverityInfo;

    struct Csv {
        static constexpr const char* kDefaultPath = "zvEvent.csv";

        std::string path;
        bool flush_each_event = false;

        bool operator==(const Csv&) const = default;
    } csv;

    struct SyslogUdp {
        static constexpr const char* kDefaultHost = "127.0.0.1";
        static constexpr std::uint32_t kDefaultPort = 5140;
        static constexpr const char* kDefaultFacility = "local0";
        static constexpr const char* kDefaultAppName = "zvEvent";

        std::string host;
        std::uint32_t port = kDefaultPort;
        std::string facility;
        std::string app_name;

        bool operator==(const SyslogUdp&) const = default;
    } syslog_udp;

    struct Native {
        static constexpr const char* kDefaultSourceName = "zvEvent";
        static constexpr const char* kDefaultFacility = "local4";
        static constexpr const char* kDefaultSubsystem = "com.zavorin.zvEvent";
        static constexpr const char* kDefaultCategory = "events";

        std::string source_name;
        std::string facility = kDefaultFacility;
        std::string subsystem = kDefaultSubsystem;
        std::string category = kDefaultCategory;

        bool operator==(const Native&) const = default;
    } native;

    struct CloudeventsHttp {
        std::string endpoint_url;
        std::string source = "/zvEvent";
        std::string subject_prefix;
        std::string auth_header;
        std::uint32_t timeout_ms = 5000;
        std::string outbox;
        std::string outbox_limit;
        std::string outbox_sync;

        bool operator==(const CloudeventsHttp&) const = default;
    } cloudevents_http;

    struct WebhookHttp {
        static constexpr const char* kDefaultPayloadMode = "native_json";
        static constexpr std::uint32_t kDefaultRequestTimeoutMs = 5000;
        static constexpr std::uint32_t kDefaultBackoffMs = 250;

        std::string endpoint_url;
        std::string payload_mode = kDefaultPayloadMode;
        std::string headers;
        std::string bearer_token;
        std::string basic_username;
        std::string basic_password;
        std::uint32_t connect_timeout_ms = 2000;
        std::uint32_t request_timeout_ms = kDefaultRequestTimeoutMs;
        bool tls_verify = true;
        std::string ca_file;  // PEM; trusted in place of the system's store; empty: that
        std::uint32_t retry_count = 0;
        std::uint32_t backoff_ms = kDefaultBackoffMs;
        std::string cloudevents_source = "/zvEvent";
        std::string cloudevents_subject_prefix;
        std::string outbox;        // path of its file; empty: none
        std::string outbox_limit;  // of events ("10000") or bytes ("64MB"); empty: 100,000 events
        std::string outbox_sync;   // "full" or "normal"; empty: that

        bool operator==(const WebhookHttp&) const = default;
    } webhook_http;

    struct SnmpTrap {
        static constexpr const char* kDefaultHost = "127.0.0.1";
        static constexpr std::uint32_t kDefaultPort = 162;
        static constexpr const char* kDefaultCommunity = "vamble";
        static constexpr const char* kDefaultVersion = "2c";
        static constexpr const char* kDefaultEnterpriseOid = "1.3.6.1.4.1.32473.1.1";
        static constexpr const char* kDefaultTrapOid = "1.3.6.1.4.1.32473.1.1.0.1";

        std::string host = kDefaultHost;
        std::uint32_t port = kDefaultPort;
        std::string community = kDefaultCommunity;
        std::string version = kDefaultVersion;
        std::string enterprise_oid = kDefaultEnterpriseOid;
        std::string trap_oid = kDefaultTrapOid;

        bool operator==(const SnmpTrap&) const = default;
    } snmp_trap;

    struct Alertmanager {
        static constexpr const char* kDefaultAlertnamePrefix = "ZvEvent";

        std::string url = "http://127.0.0.1:9093/api/v2/alerts";
        bool send_resolved = true;
        bool allow_source_label = false;
        std::string alertname_prefix = kDefaultAlertnamePrefix;
        std::string authorization_type = "none";
        std::string authorization_token;
        std::uint32_t connect_timeout_ms = 3000;
        std::uint32_t request_timeout_ms = 5000;
        bool verify_tls = true;
        std::uint32_t retry_count = 3;
        std::uint32_t retry_backoff_ms = 500;

        bool operator==(const Alertmanager&) const = default;
    } alertmanager;

    bool operator==(const zvEventSinkConfig&) const = default;
};

struct zvEventConfig {
    std::string config_path;  // as given to the loader

    bool enabled = true;  // master switch: false filters every event
    std::uint32_t minimum_severity = zvEventSeverityInfo;
    std::uint32_t queue_size = 1024;  // events; never 0 in a configuration that was loaded
    zvEventDropPolicy drop_policy = zvEventDropPolicy::drop_newest;
    std::string status_file;                       // path; empty: none is kept
    std::optional<std::uint32_t> report_severity;  // of alerts about the library; none: no alerts
    std::optional<bool> watch_config;              // reload a changed file; none: no

    bool state_enabled = true;
    bool dedupe_enabled = true;
    std::uint32_t default_repeat_interval_sec = 1800;  // 0: nothing is suppressed by time
    bool send_clear = true;
    bool route_orphan_clear = false;

    std::vector<zvEventSinkConfig> sinks;  // in load order, disabled ones included

    // Keys and values of the file that have no meaning; looked for when status_file or
    // report_severity asks for it.
    std::vector<std::string> unknown_keys;

    bool operator==(const zvEventConfig&) const = default;
};
