// The native sink on the event log: what is handed to the log, by hooks in the import table that go
// on to the real functions, and what a debugger sees, by an exception handler in process.
#include "sinks/native_sink.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "format/native_message.h"
#include "support/sample_event.h"
#include "windows/event_source_name.h"

extern "C" {
extern decltype(&RegisterEventSourceA) __imp_RegisterEventSourceA;
extern decltype(&ReportEventA) __imp_ReportEventA;
extern decltype(&DeregisterEventSource) __imp_DeregisterEventSource;
}

namespace {

using zvevent::test::SampleEvent;

// Replaces an entry of the import table while it lives.
template <typename Function>
class ImportHook {
public:
    ImportHook(Function& entry, Function replacement) : entry_(entry), real_(entry) {
        Set(replacement);
    }
    ~ImportHook() { Set(real_); }
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;

private:
    void Set(Function function) {
        DWORD access = 0;
        VirtualProtect(&entry_, sizeof entry_, PAGE_READWRITE, &access);
        entry_ = function;
        VirtualProtect(&entry_, sizeof entry_, access, &access);
    }

    Function& entry_;
    const Function real_;
};

struct Report {
    HANDLE log;
    WORD type;
    WORD category;
    DWORD id;
    PSID user;
    DWORD raw_size;
    std::vector<std::string> strings;
};

const auto real_register = __imp_RegisterEventSourceA;
const auto real_report = __imp_ReportEventA;
const auto real_deregister = __imp_DeregisterEventSource;
// What the hooks saw, and which codes they fail with; 0: they go on to the real function.
std::vector<std::string> registered;
std::vector<Report> reports;
std::vector<HANDLE> deregistered;
DWORD register_error = 0;
DWORD report_error = 0;
std::string debugger_output;

HANDLE WINAPI OnRegister(LPCSTR server, LPCSTR source) {
    EXPECT_EQ(server, nullptr);
    registered.emplace_back(source);
    SetLastError(register_error);
    return register_error != 0 ? nullptr : real_register(server, source);
}

BOOL WINAPI OnReport(HANDLE log, WORD type, WORD category, DWORD id, PSID user, WORD count,
                     DWORD raw_size, LPCSTR* strings, LPVOID raw) {
    reports.push_back({log, type, category, id, user, raw_size, {strings, strings + count}});
    SetLastError(report_error);
    if (report_error != 0) return FALSE;
    return real_report(log, type, category, id, user, count, raw_size, strings, raw);
}

BOOL WINAPI OnDeregister(HANDLE log) {
    deregistered.push_back(log);
    return real_deregister(log);
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != DBG_PRINTEXCEPTION_C) return EXCEPTION_CONTINUE_SEARCH;
    debugger_output += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    return EXCEPTION_CONTINUE_EXECUTION;
}

class NativeSink : public ::testing::Test {
protected:
    NativeSink() {
        registered.clear();
        reports.clear();
        deregistered.clear();
        debugger_output.clear();
        register_error = 0;
        report_error = 0;
        config_.minimum_severity = zvEventSeverityInfo;
        config_.native.source_name = name_.text();
    }
    ~NativeSink() override { RemoveVectoredExceptionHandler(handler_); }

    void Install() { EXPECT_EQ(zvEventInstallWindowsEventSource(name_.c_str(), ""), ZVEVENT_OK); }

    // What comes out when the log did not take the sample event.
    std::string Fallback(const std::string& reason) const {
        std::string line;
        zvevent::AppendNativeFallback(line, reason, Text(SampleEvent()));
        return line;
    }

    std::string Text(const zvEventNormalizedEvent& event) const {
        std::string text;
        zvevent::AppendNativeMessage(text, event, name_.text());
        return text;
    }

    const zvevent::test::EventSourceName name_{"sink"};
    zvEventSinkConfig config_;
    const ImportHook<decltype(&RegisterEventSourceA)> register_hook_{__imp_RegisterEventSourceA,
                                                                     OnRegister};
    const ImportHook<decltype(&ReportEventA)> report_hook_{__imp_ReportEventA, OnReport};
    const ImportHook<decltype(&DeregisterEventSource)> deregister_hook_{__imp_DeregisterEventSource,
                                                                        OnDeregister};
    void* const handler_ = AddVectoredExceptionHandler(1, OnException);
};

TEST_F(NativeSink, ReportsTypeIdAndText) {
    Install();
    config_.minimum_severity = zvEventSeverityDebug;
    const struct {
        std::uint32_t severity;
        WORD type;
    } kCases[] = {{0, 4}, {1, 4}, {2, 2}, {3, 1}, {4, 4}};
    {
        zvEventNativeSink sink(config_);
        EXPECT_EQ(sink.Open(nullptr), ZVEVENT_OK);
        EXPECT_EQ(registered.size(), 0U);  // nothing of the system's before the first event
        for (const auto& c : kCases) {
            zvEventNormalizedEvent event = SampleEvent();
            event.severity = c.severity;
            event.message = "gr\xC3\xBC\xC3\x9F 100 %1 \"quoted\"";
            std::uint64_t fallbacks = 0;
            EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
            EXPECT_EQ(fallbacks, 0U);
            const Report& report = reports.back();
            EXPECT_EQ(report.type, c.type) << "severity " << c.severity;
            EXPECT_EQ(report.category, 0);
            EXPECT_EQ(report.id, 4096U);
            EXPECT_EQ(report.user, nullptr);
            EXPECT_EQ(report.raw_size, 0U);
            EXPECT_EQ(report.strings, std::vector<std::string>{Text(event)});
        }
        EXPECT_EQ(sink.LastError(), "");
        EXPECT_EQ(registered, std::vector<std::string>{name_.text()});
    }
    ASSERT_EQ(reports.size(), std::size(kCases));
    EXPECT_EQ(deregistered, std::vector<HANDLE>{reports.back().log});
    EXPECT_EQ(debugger_output, "");
}

TEST_F(NativeSink, FollowsTheRegistrationEventByEvent) {
    zvEventNativeSink sink(config_);
    const zvEventNormalizedEvent event = SampleEvent();
    const std::string reason = "source '" + name_.text() + "' is not registered";
    std::uint64_t fallbacks = 0;
    for (std::uint64_t round = 1; round <= 3; ++round) {
        debugger_output.clear();
        EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
        EXPECT_EQ(fallbacks, round);
        EXPECT_EQ(debugger_output, Fallback(reason) + Fallback(reason));
        EXPECT_EQ(sink.LastError(), reason);
        EXPECT_EQ(registered.size(), round == 1 ? 0U : 1U);

        Install();
        EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(fallbacks, round);
        EXPECT_EQ(reports.size(), round);
        EXPECT_EQ(reports.back().log, reports.front().log);
        EXPECT_EQ(zvEventRemoveWindowsEventSource(name_.c_str()), ZVEVENT_OK);
    }
    EXPECT_EQ(registered.size(), 1U);  // the source once obtained is kept
}

TEST_F(NativeSink, FallsBackWhenTheLogRefuses) {
    Install();
    zvEventNativeSink sink(config_);
    zvEventNormalizedEvent event = SampleEvent();
    std::uint64_t fallbacks = 0;

    register_error = 1722;
    EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
    EXPECT_EQ(debugger_output, Fallback("RegisterEventSourceA failed error=1722"));
    EXPECT_EQ(reports.size(), 0U);

    register_error = 0;
    report_error = 1502;
    debugger_output.clear();
    EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
    EXPECT_EQ(debugger_output, Fallback("ReportEventA failed error=1502"));
    EXPECT_EQ(sink.LastError(), "ReportEventA failed error=1502");
    EXPECT_EQ(fallbacks, 2U);

    report_error = 0;
    debugger_output.clear();
    EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
    event.severity = zvEventSeverityDebug;  // below the minimum: nowhere
    EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
    EXPECT_EQ(reports.size(), 2U);
    EXPECT_EQ(fallbacks, 2U);
    EXPECT_EQ(debugger_output, "");
}

}  // namespace
