// The C++ side of the interface: two functions that write an event as an alert document for a
// Prometheus Alertmanager (API v2). The library itself sends no alerts; an application posts the
// documents with whatever HTTP client it has:
//
//     zvEventRecord record = zvEventRecordInit();
//     record.event_type = "disk.full";
//     record.source_id = "nas-1";
//     record.message = "Volume 2 is full";
//     record.severity = zvEventSeverityError;
//     record.action = "raise";  // later "clear", with the rest the same
//
//     zvEventAlertmanagerFormatterConfig config;
//     config.allow_source_label = true;
//     std::string body;
//     if (zvEventFormatAlertmanagerRecord(&record, config, &body) == ZVEVENT_OK) {
//         Post("http://127.0.0.1:9093/api/v2/alerts", "application/json", body);
//     }
//
// examples/alertmanager_post is the whole program; docs/alertmanager.md lists the labels and
// annotations.
//
// Unlike zvEvent.h this header is for the same compiler and C++ runtime on both sides: texts cross
// the border as std::string, so that caller and library must agree on its layout and on the memory
// it is allocated from (library and caller built with g++ or clang and the same libstdc++, in
// its C++11 form; on Windows both with mingw-w64).
#pragma once

#include <cstdint>
#include <string>

#include "zvEvent/zvEvent.h"
#include "zvEvent/zvEventNormalizedEvent.h"

// How alert documents are written.
struct zvEventAlertmanagerFormatterConfig {
    // Whether an event that ends an alert becomes a resolved alert; otherwise it becomes "[]", an
    // empty list of alerts, and Alertmanager lets the alert run out by its resolve_timeout.
    bool send_resolved = true;

    // Whether alerts carry the label "source_id". With it every source has alerts of its own;
    // without it the same alert of two sources is one.
    bool allow_source_label = false;

    // What alert names begin with. Only its letters, digits and "_" count; none: "ZvEvent".
    std::string alertname_prefix = "ZvEvent";
};

// Two functions; for both:
//   - They are pure: no state is kept or shared, the library need not be initialized, and any
//     number of threads may call them at the same time, each with an `out` of its own. They never
//     block, and may be called from a callback.
//   - They neither read nor set the calling thread's last-error text; the result says it all.
//   - std::bad_alloc passes through to the caller when there is no memory; `out` then holds
//     anything.
//   - An event whose action is "clear", "resolve" or "resolved" (in any case) ends an alert, every
//     other one raises it or keeps it going. Alertmanager knows by the labels which alert that is:
//     keep event_type, severity and, with the source label, source_id the same throughout.
//   - Texts go into annotations byte by byte as they are; Alertmanager expects UTF-8.

// Writes an event as an alert document.
//
// event   as it is: nothing is checked or filled in; a severity above error counts as info
// config  how it is written
// out     receives the document in place of what it held; must not be one of the event's or the
//         configuration's own texts
//
// Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT when out is null.
ZVEVENT_API std::uint32_t zvEventFormatAlertmanagerAlert(
    const zvEventNormalizedEvent& event, const zvEventAlertmanagerFormatterConfig& config,
    std::string* out);

// The same for an event in the form that zvEventSubmit takes, checked and completed as there. One
// without an event_id gets the number 1; the numbers of submitted events are not touched.
//
// record  the event; only the first struct_size bytes are read
// config  how it is written
// out     receives the document in place of what it held
//
// Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT when record or out is null or the record is one
// that zvEventSubmit refuses; `out` is then left as it was.
ZVEVENT_API std::uint32_t zvEventFormatAlertmanagerRecord(
    const zvEventRecord* record, const zvEventAlertmanagerFormatterConfig& config,
    std::string* out);
