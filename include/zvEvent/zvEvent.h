/*
 * zvEvent: report what happens inside an application (a fault raised or cleared, a measurement
 * beyond its threshold, a status change) and let the configured outputs carry it on.
 *
 * This header is the whole interface for C (C99 and later, Visual C++'s default mode included) and
 * C++ programs, on Linux and on Windows x64 from Windows 10 and Windows Server 2016 on. C++17
 * programs may take zvEvent.hpp: the same with owned texts and objects that clean up.
 *
 * In short:
 *
 *     if (zvEventInitialize("events.xml") != ZVEVENT_OK) { ... zvEventGetLastError(...) ... }
 *
 *     zvEventRecord record = zvEventRecordInit();
 *     record.event_type = "temperature";
 *     record.source_id = "psu-1";
 *     record.message = "Power supply 1 is too hot";
 *     record.severity = zvEventSeverityWarning;
 *     record.action = "raise";
 *     record.value = 81.5;
 *     record.threshold = 75.0;
 *     record.units = "C";
 *     zvEventSubmit(&record);
 *
 *     zvEventShutdown();
 *
 * Rules that hold for every function:
 *   - It may be called from any thread at any time, but not from a signal handler or, on Windows,
 *     from DllMain, and returns one of the result codes below.
 *   - It never lets an exception escape and installs no signal handler. It prints nothing but this:
 *     an event that the system's own log does not take goes to the standard error (on Windows to
 *     the debugger output). That output is on by default; "enabled" 0 in its section of the
 *     configuration, sink\native\main, switches it off.
 *   - Unless its comment says otherwise it sets the calling thread's last-error text: empty on
 *     success, a sentence on failure (see zvEventGetLastError). Other threads' texts never change.
 *   - Texts are NUL-terminated 8-bit strings, taken byte by byte as they are (UTF-8 is advised).
 *     Paths are UTF-8. A text is only read during the call.
 *   - "Worker" is the library's one thread that does all output. Callbacks run on it.
 */
#ifndef ZVEVENT_ZVEVENT_H
#define ZVEVENT_ZVEVENT_H

#include <stddef.h>
#include <stdint.h>

/* Programs that use the library need nothing here; the library's own build defines
 * ZVEVENT_BUILD_SHARED, and users of a static build define ZVEVENT_STATIC. */
#if defined(ZVEVENT_STATIC)
#define ZVEVENT_API
#elif defined(_WIN32)
#if defined(ZVEVENT_BUILD_SHARED)
#define ZVEVENT_API __declspec(dllexport)
#else
#define ZVEVENT_API __declspec(dllimport)
#endif
#else
#define ZVEVENT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Version of this interface: major in the high, minor in the low 16 bits. */
#define ZVEVENT_API_VERSION 0x00010000u

/* Result codes. */
#define ZVEVENT_OK 0u                             /* success */
#define ZVEVENT_E_NOT_INITIALIZED 0x80050001u     /* not initialized, not running */
#define ZVEVENT_E_ALREADY_INITIALIZED 0x80050002u /* already initialized */
#define ZVEVENT_E_INVALID_ARGUMENT 0x80050003u    /* bad argument or configuration */
#define ZVEVENT_E_NOT_FOUND 0x80050004u           /* no such callback */
#define ZVEVENT_E_FAILURE 0x80050005u             /* I/O, network, registry, ... */

/* Severities, in rising order. Anything above zvEventSeverityError is refused. */
enum zvEventSeverity {
    zvEventSeverityDebug = 0,
    zvEventSeverityInfo = 1,
    zvEventSeverityWarning = 2,
    zvEventSeverityError = 3
};

/*
 * One event as an application describes it. The layout is a binary interface: fields are only ever
 * added at the end. `struct_size` says how many bytes the caller provides; a field that it does not
 * reach to the end of is absent and takes its default, so records of older programs keep working.
 *
 * Begin with zvEventRecordInit(), then set the fields you know. A NULL text is an absent one; an
 * empty text is kept as it is.
 */
typedef struct zvEventRecord {
    uint32_t struct_size;       /* sizeof(zvEventRecord); at least 48 (through `message`) */
    uint32_t version;           /* ZVEVENT_API_VERSION, nothing else is accepted */
    uint64_t event_id;          /* 0: the library assigns the next free number */
    const char* event_type;     /* kind of event, such as "temperature"; default "event" */
    const char* source_id;      /* identifier of what reports, such as "psu-1"; default "" */
    const char* source_name;    /* its name for people; default "zvEvent" */
    const char* message;        /* sentence for people; required, not empty */
    uint32_t severity;          /* enum zvEventSeverity; default info, but a present 0 is debug: a
                                   zeroed record is below the default minimum severity, and
                                   zvEventSubmit then drops it and returns ZVEVENT_OK */
    uint32_t reserved;          /* alignment gap, never read */
    const char* action;         /* "raise", "update", "clear", "repeat" (any case) drive the alert
                                   state; every other text is an ordinary event; default "" */
    const char* dedupe_key;     /* ties raise, update and clear of one alert together; when empty,
                                   source_id and event_type do */
    const char* correlation_id; /* yours, carried along; default "" */
    uint64_t utc_ns;            /* wall clock, nanoseconds since 1970-01-01 UTC; 0: now */
    uint64_t ptp_ns;            /* PTP time, nanoseconds; 0: now */
    int64_t pts;                /* media presentation time stamp, your units, may be negative */
    const char* timecode;       /* media time code; default "" */
    double value;               /* what was measured */
    double threshold;           /* the limit it is held against */
    const char* units;          /* of value and threshold; default "" */
    uint64_t duration_ms;       /* milliseconds */
    const char* details_json;   /* free JSON text, carried as text; default "{}" */
} zvEventRecord;

/* The layout, checked in every program: where it differs, as with 32-bit pointers, an array of -1
 * elements does not compile. (C99, Visual C++ and C++ have no assertion in common.) */
#define ZVEVENT_AT(field, offset) \
    typedef char zvEventRecordHas_##field[offsetof(zvEventRecord, field) == (offset) ? 1 : -1]
ZVEVENT_AT(struct_size, 0);
ZVEVENT_AT(version, 4);
ZVEVENT_AT(event_id, 8);
ZVEVENT_AT(event_type, 16);
ZVEVENT_AT(source_id, 24);
ZVEVENT_AT(source_name, 32);
ZVEVENT_AT(message, 40);
ZVEVENT_AT(severity, 48);
ZVEVENT_AT(action, 56);
ZVEVENT_AT(dedupe_key, 64);
ZVEVENT_AT(correlation_id, 72);
ZVEVENT_AT(utc_ns, 80);
ZVEVENT_AT(ptp_ns, 88);
ZVEVENT_AT(pts, 96);
ZVEVENT_AT(timecode, 104);
ZVEVENT_AT(value, 112);
ZVEVENT_AT(threshold, 120);
ZVEVENT_AT(units, 128);
ZVEVENT_AT(duration_ms, 136);
ZVEVENT_AT(details_json, 144);
typedef char zvEventRecordIsWhole[sizeof(zvEventRecord) == 152 ? 1 : -1];
#undef ZVEVENT_AT

/*
 * Returns a record without any text or number, of the severity info: what it lacks is a message.
 */
static inline zvEventRecord zvEventRecordInit(void) {
    static zvEventRecord zeroed; /* never written */
    zvEventRecord record = zeroed;
    record.struct_size = sizeof record;
    record.version = ZVEVENT_API_VERSION;
    record.severity = zvEventSeverityInfo;
    return record;
}

/*
 * A function of the application that receives every delivered event. It runs on the worker, one
 * event at a time, after the configured outputs have had the event.
 *
 * event      full-size record of the event as it went out: struct_size 152, every text non-NULL.
 *            The record and its texts belong to the library and are valid only during the call.
 * user_data  what was given at registration.
 *
 * It may call zvEventSubmit, zvEventSubmitSimple, zvEventRegisterCallback,
 * zvEventUnregisterCallback, zvEventReloadConfig, zvEventGetLastError and zvEventGetApiVersion.
 * zvEventFlush and zvEventShutdown would wait for the callback itself and are refused there with
 * ZVEVENT_E_FAILURE. While it runs no other output proceeds, so it should be short. On Linux the
 * worker blocks nearly all signals, and a program that a callback starts inherits that: empty its
 * signal mask first (posix_spawnattr_setsigmask, or sigprocmask before exec). A C++ exception
 * that leaves it is caught and counted, and the other callbacks still run. It must be of the C++
 * runtime that the library was built with, or on Windows of MSVC's; one of a third ends the
 * process.
 */
typedef void (*zvEventCallback)(const zvEventRecord* event, void* user_data);

/*
 * Reads the configuration file, opens every enabled output and starts the worker.
 *
 * config_path  XML configuration file, UTF-8. It must exist (it may be empty). Every setting that
 *              it lacks is written into it with its default, so after the first start it shows all
 *              there is to set. A file that cannot be written is used as it is.
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT (no path, unreadable file, bad value: the last
 * error names it); ZVEVENT_E_ALREADY_INITIALIZED; ZVEVENT_E_FAILURE (an output could not be opened,
 * such as an unresolvable host). After a failure the library is not initialized.
 *
 * Blocking: reads and may write the file and resolves host names; waits for a shutdown that is
 * still under way on another thread.
 */
ZVEVENT_API uint32_t zvEventInitialize(const char* config_path);

/*
 * Delivers what is queued (waiting at most 5000 ms), flushes and closes the outputs, ends the
 * worker and removes every callback registration. Whatever it returns (a refusal on the
 * worker apart) the library is not initialized afterwards and can be initialized again.
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_NOT_INITIALIZED; ZVEVENT_E_FAILURE when the 5000 ms ran out (events
 * that were still queued are then discarded; it may also be that only the one in hand took longer,
 * and nothing is lost), an output could not be flushed, or the caller is the worker (from a
 * callback: nothing is done).
 *
 * Blocking: up to 5000 ms for the queue, and until the output that has the event in hand returns;
 * a reload that is resolving a name on another thread is waited for too.
 *
 * A process that exits without it neither hangs nor crashes: on Linux queued events then still get
 * at most 5000 ms, on Windows they are lost. On Linux the library works on after that until it is
 * shut down or the process is gone, so destructors of global objects may still submit and shut down
 * (unless exit() was called in a signal handler that had interrupted a call of this library). A
 * forked child starts with the library not initialized and without callbacks, whatever the parent
 * has. On Windows call it before you unload the library: while initialized, and for good once an
 * HTTP request was made, the library stays loaded.
 *
 * Destructors of global objects on Windows: one of the program's own may submit and shut down, and
 * so may one of a DLL that is unloaded. At the end of the process every other thread is gone when a
 * DLL's destructors run: each call that needs a lock then returns ZVEVENT_E_FAILURE at once, and
 * what was queued is lost. Let a DLL shut down before, in a function that its program calls.
 */
ZVEVENT_API uint32_t zvEventShutdown(void);

/*
 * Reads the configuration again and applies it. Queued events and active alerts stay; only where
 * queue_size is now smaller than what is queued, the rest is dropped. The new outputs are opened
 * first; if that fails, the old ones go on.
 *
 * config_path  file to read; NULL or "" means the current one. When the current one, named or not,
 *              is empty, somebody is taken to be just writing it: the call fails, the current
 *              configuration stays and nothing is written.
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_NOT_INITIALIZED; ZVEVENT_E_INVALID_ARGUMENT (no path, which is
 * reported first, initialized or not; unreadable file; current file empty; bad value);
 * ZVEVENT_E_FAILURE (an output could not be opened).
 *
 * Blocking: as zvEventInitialize; events go on being accepted and delivered meanwhile.
 */
ZVEVENT_API uint32_t zvEventReloadConfig(const char* config_path);

/*
 * Waits until nothing is queued and nothing in delivery, then flushes every output. Events that are
 * submitted meanwhile are waited for too.
 *
 * timeout_ms  longest wait for the queue in milliseconds; 0 waits without limit. Each output is
 *             then given the whole time again.
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_NOT_INITIALIZED; ZVEVENT_E_FAILURE when the time ran out, an output
 * could not be flushed, or the caller is the worker (from a callback: nothing is done). Events that
 * then are left in an output's outbox are safe on disk, and the last error says how many.
 */
ZVEVENT_API uint32_t zvEventFlush(uint32_t timeout_ms);

/*
 * Checks an event, copies it and queues it for the worker.
 *
 * record  the event; see zvEventRecord for the defaults of absent fields.
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT ("Invalid ZVEvent": struct_size, version, message
 * or severity are wrong); ZVEVENT_E_NOT_INITIALIZED; ZVEVENT_E_FAILURE (out of memory).
 *
 * ZVEVENT_OK is returned for what is not delivered, too, when that is by intent or turns out later:
 *   - the configuration's core\enabled is 0, or the event is below its minimum_severity;
 *   - the queue is full, and its drop_policy drops this event or, later, makes room by it;
 *   - a reload makes the queue smaller than what is queued, or a shutdown runs out of time;
 *   - the event repeats an active alert too early, or clears or repeats one that is not active
 *     (docs/alerts.md tells which are held back, and which go out with another action);
 *   - it is below the minimum_severity of every output, or an output fails.
 *
 * Blocking: never waits for an output, a reload or a name look-up; one short lock.
 */
ZVEVENT_API uint32_t zvEventSubmit(const zvEventRecord* record);

/*
 * zvEventSubmit for an event of the type "simple" with nothing but these fields.
 *
 * event_id     0: the library assigns one
 * severity     enum zvEventSeverity
 * source_name  NULL: "zvEvent"
 * message      required, not empty
 *
 * Example: zvEventSubmitSimple(0, zvEventSeverityInfo, "recorder", "Recording started");
 */
ZVEVENT_API uint32_t zvEventSubmitSimple(uint32_t event_id, uint32_t severity,
                                         const char* source_name, const char* message);

/*
 * Adds a function that receives every delivered event. Works before zvEventInitialize (and is kept
 * through it); zvEventShutdown, and an initialise that fails when the worker is started, remove all
 * registrations. A registration made while an event is
 * being delivered receives the next one.
 *
 * callback   required
 * user_data  handed to the callback; may be NULL; owned by the caller
 * out_id     receives the number for zvEventUnregisterCallback, never 0; required
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT.
 */
ZVEVENT_API uint32_t zvEventRegisterCallback(zvEventCallback callback, void* user_data,
                                             uint32_t* out_id);

/*
 * Removes a registration. It does not wait: the callback may still be running, or be called for the
 * event in hand, when this returns. Before you free what user_data points to, call zvEventFlush
 * after it: once that has returned ZVEVENT_OK the callback is not called again.
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_NOT_FOUND.
 */
ZVEVENT_API uint32_t zvEventUnregisterCallback(uint32_t callback_id);

/*
 * Copies the calling thread's last-error text. The text itself stays as it is.
 *
 * buffer       receives the text, always NUL-terminated, cut when it does not fit
 * buffer_size  bytes in buffer, at least 1; 512 holds nearly every text
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT (the last error then says so).
 *
 * Example:
 *     char text[512];
 *     zvEventGetLastError(text, sizeof text);
 */
ZVEVENT_API uint32_t zvEventGetLastError(char* buffer, uint32_t buffer_size);

/*
 * Returns ZVEVENT_API_VERSION of the loaded library. Leaves the last error as it is.
 */
ZVEVENT_API uint32_t zvEventGetApiVersion(void);

/*
 * Windows: registers a source for the Application event log, so that the native output can write
 * there. Needs the right to write below HKEY_LOCAL_MACHINE (an installer has it). Works in any
 * state of the library. On other systems there is nothing to register: ZVEVENT_E_FAILURE.
 *
 * source_name        non-empty, without a backslash
 * message_file_path  file with the message texts, UTF-8, such as that of zvEventMessages.dll; NULL
 *                    or "" means this library itself
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT (bad name); ZVEVENT_E_FAILURE (registry; the last
 * error carries the system's code).
 */
ZVEVENT_API uint32_t zvEventInstallWindowsEventSource(const char* source_name,
                                                      const char* message_file_path);

/*
 * Windows: removes such a source. Removing one that is not there succeeds.
 *
 * Returns ZVEVENT_OK; ZVEVENT_E_INVALID_ARGUMENT (bad name); ZVEVENT_E_FAILURE (registry).
 */
ZVEVENT_API uint32_t zvEventRemoveWindowsEventSource(const char* source_name);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
