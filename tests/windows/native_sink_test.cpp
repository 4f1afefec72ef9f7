// The native sink on the event log: what is handed to the log and to a debugger, by functions of
// the test's own in the place of the imported ones; those of the log go on to the real ones.
#include "sinks/native_sink.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "format/native_message.h"
#include "support/sample_event.h"
#include "windows/event_source_name.h"

namespace {

using zvevent::test::SampleEvent;
using Strings = std::vector<std::string>;

// What was seen, and which codes the log fails with; 0: it does not.
struct Seen {
    Strings registered;
    Strings reports;  // "type/category/id/raw size: text"
    std::vector<HANDLE> logs, deregistered;
    DWORD register_error = 0, report_error = 0;
    std::string debugger_output;
} seen;

template <typename Function>
Function Real(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("advapi32.dll"), name)));
}

HANDLE WINAPI OnRegister(LPCSTR server, LPCSTR source) {
    seen.registered.emplace_back(source);
    SetLastError(seen.register_error);
    if (seen.register_error != 0) return nullptr;
    return Real<decltype(&RegisterEventSourceA)>("RegisterEventSourceA")(server, source);
}

BOOL WINAPI OnReport(HANDLE log, WORD type, WORD category, DWORD id, PSID user, WORD count,
                     DWORD raw_size, LPCSTR* strings, LPVOID raw) {
    EXPECT_EQ(count, 1);
    seen.logs.push_back(log);
    seen.reports.push_back(std::to_string(type) + "/" + std::to_string(category) + "/" +
                           std::to_string(id) + "/" + std::to_string(raw_size) + ": " + *strings);
    SetLastError(seen.report_error);
    return seen.report_error == 0 &&
           Real<decltype(&ReportEventA)>("ReportEventA")(log, type, category, id, user, count,
                                                         raw_size, strings, raw);
}

BOOL WINAPI OnDeregister(HANDLE log) {
    seen.deregistered.push_back(log);
    return Real<decltype(&DeregisterEventSource)>("DeregisterEventSource")(log);
}

void WINAPI OnDebuggerOutput(LPCSTR text) {
    seen.debugger_output += text;
}

}  // namespace

// The program's own definitions stand before those of the import libraries.
extern "C" {
decltype(&RegisterEventSourceA) __imp_RegisterEventSourceA = OnRegister;
decltype(&ReportEventA) __imp_ReportEventA = OnReport;
decltype(&DeregisterEventSource) __imp_DeregisterEventSource = OnDeregister;
decltype(&OutputDebugStringA) __imp_OutputDebugStringA = OnDebuggerOutput;
}

namespace {

class NativeSink : public ::testing::Test {
protected:
    NativeSink() {
        seen = {};
        config_.minimum_severity = zvEventSeverityInfo;
        config_.native.source_name = name_.text;
    }

    void Install() {
        EXPECT_EQ(zvEventInstallWindowsEventSource(name_.text.c_str(), ""), ZVEVENT_OK);
    }

    std::string Text(const zvEventNormalizedEvent& event) const {
        std::string text;
        zvevent::AppendNativeMessage(text, event, name_.text);
        return text;
    }

    // Writes the sample event, which the log does not take.
    void ExpectFallback(zvEventNativeSink& sink, const std::string& reason) {
        std::string line;
        zvevent::AppendNativeFallback(line, reason, Text(SampleEvent()));
        seen.debugger_output.clear();
        const std::uint64_t before = fallbacks_;
        EXPECT_EQ(sink.write(SampleEvent(), &fallbacks_), ZVEVENT_OK);
        EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_OK);
        EXPECT_EQ(fallbacks_, before + 1);
        EXPECT_EQ(seen.debugger_output, line + line);
        EXPECT_EQ(sink.LastError(), reason);
        seen.debugger_output.clear();
    }

    const zvevent::test::EventSourceName name_;
    zvEventSinkConfig config_;
    std::uint64_t fallbacks_ = 0;
};

TEST_F(NativeSink, ReportsTypeIdAndText) {
    Install();
    config_.minimum_severity = zvEventSeverityDebug;
    const char* const types[] = {"4", "4", "2", "1", "4"};
    {
        zvEventNativeSink sink(config_);
        EXPECT_EQ(sink.Open(nullptr), ZVEVENT_OK);
        EXPECT_EQ(seen.registered, Strings());  // nothing of the system's before the first event
        zvEventNormalizedEvent event = SampleEvent();
        event.message = "gr\xC3\xBC\xC3\x9F 100 %1 \"quoted\"";
        for (event.severity = 0; event.severity < std::size(types); ++event.severity) {
            EXPECT_EQ(sink.write(event, &fallbacks_), ZVEVENT_OK);
            EXPECT_EQ(seen.reports.back(),
                      std::string(types[event.severity]) + "/0/4096/0: " + Text(event));
        }
        EXPECT_EQ(sink.LastError() + seen.debugger_output, "");
        EXPECT_EQ(fallbacks_, 0U);
    }
    EXPECT_EQ(seen.registered, Strings{name_.text});
    EXPECT_EQ(seen.deregistered, std::vector<HANDLE>{seen.logs.back()});
}

TEST_F(NativeSink, FallsBackWhileUnregisteredOrRefused) {
    zvEventNativeSink sink(config_);
    for (std::size_t round = 1; round <= 3; ++round) {
        ExpectFallback(sink, "source '" + name_.text + "' is not registered");
        Install();
        if (round == 1) {
            seen.register_error = 1722;
            ExpectFallback(sink, "RegisterEventSourceA failed error=1722");
            seen = {};
        }
        EXPECT_EQ(sink.write(SampleEvent(), &fallbacks_), ZVEVENT_OK);
        EXPECT_EQ(seen.reports.size(), round);
        EXPECT_EQ(seen.registered.size(), 1U);  // the source once obtained is kept
        zvEventRemoveWindowsEventSource(name_.text.c_str());
    }
    Install();
    seen.report_error = 1502;
    ExpectFallback(sink, "ReportEventA failed error=1502");
    zvEventNormalizedEvent event = SampleEvent();
    event.severity = zvEventSeverityDebug;  // below the minimum: nowhere
    EXPECT_EQ(sink.write(event, &fallbacks_), ZVEVENT_OK);
    EXPECT_EQ(seen.debugger_output, "");
}

}  // namespace
