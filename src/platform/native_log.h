// The operating system's own log: the Application event log on Windows, the local system logger
// elsewhere. One object for each output, used by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace zvevent {

struct NativeLogSettings {
    std::string source_name;  // not empty
    std::string facility;     // of syslog, by name; not on Windows
    std::string subsystem;    // for systems whose log knows these two; so far none here
    std::string category;
};

class NativeLog {
public:
    // Makes no system calls. Null when there is no memory.
    static std::unique_ptr<NativeLog> Create(const NativeLogSettings& settings) noexcept;

    NativeLog() = default;
    NativeLog(const NativeLog&) = delete;
    NativeLog& operator=(const NativeLog&) = delete;
    virtual ~NativeLog() = default;

    // Hands one line to the log; `severity` is one of zvEventSeverity, any other counts as info.
    // Returns whether the log took it. If not, `reason` says why; the next call tries again. Blocks
    // for a fraction of a second at most, and only while the log is not known to be stuck.
    virtual bool Write(std::uint32_t severity, const std::string& text, std::string& reason) = 0;
};

}  // namespace zvevent
