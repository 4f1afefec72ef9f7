/*
 * host_monitor: watches the machine it runs on and reports through zvEvent.
 *
 *     host_monitor CONFIG [--seconds N] [--interval-ms N] [--threshold NAME=VALUE]...
 *
 * Every reading is an event. One beyond its threshold raises an alert, updates it while it stays
 * beyond, and clears it when it is back (or when the monitor stops). Where the events go is the
 * configuration's business; a callback prints each one as it is delivered.
 */
#include <math.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "readings.h"
#include "zvEvent/zvEvent.h"

/* One thing that is watched, and the life of its alert. */
struct Watch {
    const char* name; /* the event type */
    const char* units;
    double threshold; /* INFINITY: never an alert */
    bool active;      /* an alert is raised */
    double reported;  /* value of the last event */
    uint64_t raised_ms;
    uint32_t alerts; /* raised so far */
};

struct Monitor {
    const char* config_path;
    uint32_t seconds; /* 0: until interrupted */
    uint32_t interval_ms;
    char host[64];
    struct Watch watches[kReadingCount];
    uint32_t submitted;
    uint32_t delivered; /* counted on the library's worker; read once that has ended */
};

static volatile sig_atomic_t stop_requested = 0;

static void RequestStop(int signal_number) {
    (void)signal_number;
    stop_requested = 1;
}

static bool Succeeded(uint32_t result, const char* what) {
    char text[512] = "";
    if (result == ZVEVENT_OK) return true;
    zvEventGetLastError(text, sizeof text);
    fprintf(stderr, "host_monitor: %s failed: 0x%08X %s\n", what, (unsigned)result, text);
    return false;
}

/* Runs on the library's worker, one event at a time. */
static void PrintEvent(const zvEventRecord* event, void* user_data) {
    static const char* const kSeverities[] = {"debug", "info", "warning", "error"};
    struct Monitor* monitor = user_data;
    unsigned ms_of_day = (unsigned)(event->utc_ns / 1000000u % 86400000u);
    ++monitor->delivered;
    printf("%02u:%02u:%02u.%03uZ  %-7s  %-6s  %-12s %8.10g %-2s  %s\n", ms_of_day / 3600000,
           ms_of_day / 60000 % 60, ms_of_day / 1000 % 60, ms_of_day % 1000,
           kSeverities[event->severity], event->action, event->event_type, event->value,
           event->units, event->message);
    fflush(stdout);
}

/* `action` is "raise", "update", "clear", or "" for a plain measurement. */
static bool Report(struct Monitor* monitor, struct Watch* watch, const char* action, double value,
                   const char* details, const char* remark) {
    char source_id[96], correlation_id[128] = "", message[128];
    bool plain = action[0] == '\0';
    bool cleared = strcmp(action, "clear") == 0;
    zvEventRecord record = zvEventRecordInit();

    snprintf(source_id, sizeof source_id, "%s/%s", monitor->host, watch->name);
    snprintf(message, sizeof message, "%s is %.10g%s%s%s", watch->name, value,
             watch->units[0] == '\0' ? "" : " ", watch->units, remark);
    if (!plain) {
        snprintf(correlation_id, sizeof correlation_id, "%s#%u", source_id,
                 (unsigned)watch->alerts);
    }
    record.event_type = watch->name;
    record.source_id = source_id; /* with the event type it also names the alert */
    record.source_name = "host_monitor";
    record.message = message;
    record.severity = plain || cleared ? zvEventSeverityInfo : zvEventSeverityWarning;
    record.action = action;
    record.correlation_id = correlation_id;
    record.value = value;
    record.threshold = watch->threshold == INFINITY ? 0.0 : watch->threshold;
    record.units = watch->units;
    record.duration_ms = plain ? 0 : MonotonicMs() - watch->raised_ms;
    record.details_json = details;

    watch->reported = value;
    ++monitor->submitted;
    return Succeeded(zvEventSubmit(&record), "zvEventSubmit");
}

static bool Judge(struct Monitor* monitor, struct Watch* watch, const struct Reading* reading) {
    if (!reading->known) return true;
    double value = round(reading->value * 100.0) / 100.0;
    bool beyond = value > watch->threshold;

    if (beyond && !watch->active) {
        watch->active = true;
        watch->raised_ms = MonotonicMs();
        ++watch->alerts;
        return Report(monitor, watch, "raise", value, reading->details, ", above its threshold");
    }
    if (beyond) {
        if (value == watch->reported) return true;
        return Report(monitor, watch, "update", value, reading->details, ", still above");
    }
    if (watch->active) {
        watch->active = false;
        return Report(monitor, watch, "clear", value, reading->details, ", back to normal");
    }
    return Report(monitor, watch, "", value, reading->details, "");
}

static bool Run(struct Monitor* monitor) {
    struct Reading readings[kReadingCount];
    uint64_t end_ms = MonotonicMs() + (uint64_t)monitor->seconds * 1000;
    bool ok = true;
    while (ok && !stop_requested && (monitor->seconds == 0 || MonotonicMs() < end_ms)) {
        TakeReadings(readings, monitor->config_path);
        for (int i = 0; i < kReadingCount; ++i) {
            ok = Judge(monitor, &monitor->watches[i], &readings[i]) && ok;
        }
        SleepMs(monitor->interval_ms);
    }
    for (int i = 0; i < kReadingCount; ++i) {
        struct Watch* watch = &monitor->watches[i];
        if (!watch->active) continue;
        ok = Report(monitor, watch, "clear", watch->reported, NULL, "; monitoring ends") && ok;
    }
    return ok;
}

/* Reads "NAME=VALUE". */
static bool SetThreshold(struct Monitor* monitor, const char* text) {
    const char* equals = strchr(text, '=');
    if (equals == NULL) return false;
    size_t length = (size_t)(equals - text);
    char* end;
    double value = strtod(equals + 1, &end);
    if (end == equals + 1 || *end != '\0') return false;
    for (int i = 0; i < kReadingCount; ++i) {
        struct Watch* watch = &monitor->watches[i];
        if (strlen(watch->name) != length || memcmp(watch->name, text, length) != 0) continue;
        watch->threshold = value;
        return true;
    }
    return false;
}

static bool SetNumber(uint32_t* number, const char* text) {
    char* end;
    unsigned long value = strtoul(text, &end, 10);
    if (text[0] < '0' || text[0] > '9' || *end != '\0' || value > 86400000) return false;
    *number = (uint32_t)value;
    return true;
}

static bool ParseArguments(struct Monitor* monitor, int count, char** arguments) {
    if (count < 2) return false;
    monitor->config_path = arguments[1];
    for (int i = 2; i < count; i += 2) {
        const char* name = arguments[i];
        const char* value = arguments[i + 1]; /* NULL after the last one */
        bool known = value != NULL &&
                     ((strcmp(name, "--seconds") == 0 && SetNumber(&monitor->seconds, value)) ||
                      (strcmp(name, "--interval-ms") == 0 &&
                       SetNumber(&monitor->interval_ms, value) && monitor->interval_ms > 0) ||
                      (strcmp(name, "--threshold") == 0 && SetThreshold(monitor, value)));
        if (!known) return false;
    }
    return true;
}

int main(int argc, char** argv) {
    struct Monitor monitor = {
        .interval_ms = 1000,
        .watches = {[kReadingCpuBusy] = {.name = "cpu_busy", .units = "%", .threshold = 90.0},
                    [kReadingMemoryUsed] = {.name = "memory_used", .units = "%", .threshold = 90.0},
                    [kReadingDiskUsed] = {.name = "disk_used", .units = "%", .threshold = 95.0},
                    [kReadingProcesses] = {.name = "processes", .units = "", .threshold = INFINITY},
                    [kReadingUptime] = {.name = "uptime", .units = "h", .threshold = INFINITY}}};
    uint32_t callback_id = 0;

    if (!ParseArguments(&monitor, argc, argv)) {
        fprintf(stderr,
                "Usage: host_monitor CONFIG [--seconds N] [--interval-ms N] "
                "[--threshold NAME=VALUE]...\n"
                "NAME is cpu_busy, memory_used, disk_used, processes or uptime.\n");
        return 2;
    }
    GetHostName(monitor.host, sizeof monitor.host);
    signal(SIGINT, RequestStop);
    signal(SIGTERM, RequestStop);

    if (!Succeeded(zvEventRegisterCallback(PrintEvent, &monitor, &callback_id),
                   "zvEventRegisterCallback") ||
        !Succeeded(zvEventInitialize(monitor.config_path), "zvEventInitialize")) {
        return 1;
    }
    bool ok = Run(&monitor);
    ok = Succeeded(zvEventFlush(5000), "zvEventFlush") && ok;
    ok = Succeeded(zvEventShutdown(), "zvEventShutdown") && ok;
    printf("submitted %u, delivered %u\n", (unsigned)monitor.submitted,
           (unsigned)monitor.delivered);
    return ok ? 0 : 1;
}
