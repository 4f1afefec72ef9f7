// The event log: what is handed to it and to a debugger, by functions of the test's own in the
// place of the imported ones; those of the log go on to the real ones.
#include "platform/native_log.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <utility>

#include "platform/debug_output.h"
#include "windows/event_source_name.h"

namespace {

std::string journal;                         // of the calls
DWORD register_error = 0, report_error = 0;  // what the log fails with; 0: it does not

template <typename Function>
Function Real(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("advapi32.dll"), name)));
}

HANDLE WINAPI OnRegister(LPCSTR server, LPCSTR source) {
    journal += std::string("register ") + source + ";";
    SetLastError(register_error);
    if (register_error != 0) return nullptr;
    return Real<decltype(&RegisterEventSourceA)>("RegisterEventSourceA")(server, source);
}

BOOL WINAPI OnReport(HANDLE log, WORD type, WORD category, DWORD id, PSID user, WORD count,
                     DWORD raw_size, LPCSTR* strings, LPVOID raw) {
    journal += std::to_string(type) + "/" + std::to_string(category) + "/" + std::to_string(id) +
               "/" + std::to_string(count) + "/" + std::to_string(raw_size) + " " + *strings + ";";
    SetLastError(report_error);
    return report_error == 0 && Real<decltype(&ReportEventA)>("ReportEventA")(
                                    log, type, category, id, user, count, raw_size, strings, raw);
}

BOOL WINAPI OnDeregister(HANDLE log) {
    journal += "deregister;";
    return Real<decltype(&DeregisterEventSource)>("DeregisterEventSource")(log);
}

void WINAPI OnDebuggerOutput(LPCSTR text) {
    journal += text;
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

TEST(NativeLog, ReportsWhileTheSourceIsRegistered) {
    const zvevent::test::EventSourceName name;
    const std::string text = "gr\xC3\xBC\xC3\x9F 100 %1 \"quoted\"";
    const std::string unregistered = "source '" + name.text + "' is not registered";
    auto log = zvevent::NativeLog::Create({name.text, "", "", ""});
    const struct {
        bool installed;
        DWORD register_error, report_error;
        std::uint32_t severity;
        std::string reason, calls;
    } steps[] = {
        {false, 0, 0, 1, unregistered, ""},
        {true, 1722, 0, 1, "RegisterEventSourceA failed error=1722", "register " + name.text + ";"},
        {true, 0, 0, 0, "", "register " + name.text + ";4/0/4096/1/0 " + text + ";"},
        {true, 0, 0, 1, "", "4/0/4096/1/0 " + text + ";"},
        {false, 0, 0, 1, unregistered, ""},
        {true, 0, 0, 2, "", "2/0/4096/1/0 " + text + ";"},  // the source once obtained is kept
        {true, 0, 1502, 3, "ReportEventA failed error=1502", "1/0/4096/1/0 " + text + ";"},
        {true, 0, 0, 4, "", "4/0/4096/1/0 " + text + ";"}};
    for (const auto& step : steps) {
        if (step.installed) zvEventInstallWindowsEventSource(name.text.c_str(), "");
        if (!step.installed) zvEventRemoveWindowsEventSource(name.text.c_str());
        register_error = step.register_error;
        report_error = step.report_error;
        std::string reason;
        EXPECT_EQ(log->Write(step.severity, text, reason), step.reason.empty());
        EXPECT_EQ(reason, step.reason);
        EXPECT_EQ(std::exchange(journal, ""), step.calls);
    }
    log.reset();
    zvevent::WriteDebugOutput("line\n");
    EXPECT_EQ(std::exchange(journal, ""), "deregister;line\n");
}

}  // namespace
