// The native sink on a system logger of the test's own, and on the standard error without one.
#include "sinks/native_sink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "format/native_message.h"
#include "platform/posix/system_logger.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace {

using zvevent::test::SampleEvent;
using zvevent::test::TempDirectory;

// Listens as the system's logger does.
class Logger {
public:
    explicit Logger(const std::string& path, int type = SOCK_DGRAM) : path_(path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        socket_ = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~Logger() {
        close(socket_);
        unlink(path_.c_str());
    }

    // The next datagram; empty when there is none.
    std::string Next() const {
        std::string text(8192, '\0');
        const ssize_t size = recv(socket_, text.data(), text.size(), MSG_DONTWAIT);
        text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        return text;
    }

private:
    const std::string path_;
    int socket_;
};

zvEventSinkConfig Config(const char* source_name = "", const char* facility = "") {
    zvEventSinkConfig config;
    config.minimum_severity = zvEventSeverityDebug;
    config.native = {source_name, facility, "", ""};
    return config;
}

std::string TextOf(const zvEventNormalizedEvent& event, const char* source_name) {
    std::string text;
    zvevent::AppendNativeMessage(text, event, source_name);
    return text;
}

class NativeSink : public ::testing::Test {
protected:
    NativeSink() { zvevent::SetSystemLoggerPath(path_.c_str()); }
    ~NativeSink() override { zvevent::SetSystemLoggerPath("/dev/log"); }

    const TempDirectory directory_;
    const std::string path_ = directory_.File("log");
};

constexpr const char* kNotRegistered = "source 'zvEvent' is not registered";

TEST_F(NativeSink, SendsPriorityTagAndProcess) {
    const struct {
        const char* source_name;
        const char* facility;
        std::uint32_t severity;
        const char* expected;
    } kCases[] = {
        {"", "", 0, "<167>zvEvent"},
        {"", "", 1, "<166>zvEvent"},
        {"", "local4", 2, "<164>zvEvent"},
        {"", "LOCAL4", 3, "<163>zvEvent"},
        {"", "daemon", 7, "<30>zvEvent"},
        {"", "no such", 3, "<131>zvEvent"},
        {"My: [App]", "kern", 3, "<3>My___App_"},
    };
    const Logger logger(path_);
    for (const auto& c : kCases) {
        zvEventNativeSink sink(Config(c.source_name, c.facility));
        zvEventNormalizedEvent event = SampleEvent();
        event.severity = c.severity;
        std::uint64_t fallbacks = 0;
        EXPECT_EQ(sink.Open(nullptr), ZVEVENT_OK);
        EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(logger.Next(), std::string(c.expected) + "[" + std::to_string(getpid()) +
                                     "]: " + TextOf(event, c.source_name));
        EXPECT_EQ(fallbacks, 0U);
        EXPECT_EQ(sink.LastError(), "");
    }
}

TEST_F(NativeSink, FallsBackUntilALoggerListensAgain) {
    zvEventSinkConfig config = Config();
    config.minimum_severity = zvEventSeverityWarning;
    zvEventNativeSink sink(config);
    zvEventNormalizedEvent event = SampleEvent();
    std::uint64_t fallbacks = 0;
    std::uint64_t expected = 0;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(fallbacks, ++expected);
        EXPECT_EQ(sink.LastError(), kNotRegistered);
        // A logger, and another one in its place at once.
        for (int logger_of_round = 0; logger_of_round < 2; ++logger_of_round) {
            const Logger logger(path_);
            EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
            EXPECT_NE(logger.Next(), "");
            EXPECT_EQ(fallbacks, expected);
        }
    }
    event.severity = zvEventSeverityInfo;
    EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);  // below the minimum: nowhere
    event.severity = zvEventSeverityError;
    EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
    EXPECT_EQ(fallbacks, expected);
}

TEST_F(NativeSink, IsNotHeldByALoggerThatStoppedReading) {
    const Logger logger(path_);
    zvEventNativeSink sink(Config());
    const zvEventNormalizedEvent event = SampleEvent();
    std::uint64_t fallbacks = 0;
    const auto start = std::chrono::steady_clock::now();
    int sent = 0;
    for (; fallbacks < 3; ++sent)
        ASSERT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(sink.LastError(), "system logger failed error=" + std::to_string(EAGAIN));
    int received = 0;
    while (!logger.Next().empty())
        ++received;
    EXPECT_EQ(received, sent - 3);
    EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
    EXPECT_EQ(fallbacks, 3U);
}

TEST_F(NativeSink, NamesWhatTheSystemRefuses) {
    const Logger logger(path_, SOCK_STREAM);
    zvEventNativeSink sink(Config());
    EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(sink.LastError(), "system logger failed error=" + std::to_string(EPROTOTYPE));
}

TEST(NativeSinkHandle, NeedsAPlace) {
    std::string error;
    EXPECT_EQ(zvevent::OpenNativeLog({}, nullptr, error), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(error, "Invalid zvEvent native log handle output");
}

// --- The standard error: in processes of their own, since it is looked at when they load ---------

// Makes what stands there of descriptor 2, then writes events that no logger takes.
TEST(NativeSinkChild, DISABLED_WritesEvents) {
    const std::string mode = getenv("ZVEVENT_TEST_MODE");
    const char* const file = getenv("ZVEVENT_TEST_FILE");
    int events = 1;
    if (mode == "replaced") close(STDERR_FILENO);
    if (mode == "replaced" || mode == "absent") {
        ASSERT_EQ(open(file, O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
    }
    if (mode == "stuck") events = 1000;
    zvevent::SetSystemLoggerPath("/nonexistent/log");
    zvEventNativeSink sink(Config());
    const std::uint64_t expected = static_cast<std::uint64_t>(events);
    std::uint64_t fallbacks = 0;
    while (events-- > 0)
        EXPECT_EQ(sink.write(SampleEvent(), &fallbacks), ZVEVENT_OK);
    EXPECT_EQ(fallbacks, expected);
}

// Runs it with `error_output` as its descriptor 2, or without one when that is negative.
bool RunChild(const char* mode, const std::string& file, int error_output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    if (error_output >= 0) {
        posix_spawn_file_actions_adddup2(&actions, error_output, STDERR_FILENO);
    } else {
        posix_spawn_file_actions_addclose(&actions, STDERR_FILENO);
    }
    std::string program = "/proc/self/exe";
    std::string filter = "--gtest_filter=NativeSinkChild.*";
    std::string disabled = "--gtest_also_run_disabled_tests";
    std::string mode_entry = std::string("ZVEVENT_TEST_MODE=") + mode;
    std::string file_entry = "ZVEVENT_TEST_FILE=" + file;
    char* arguments[] = {program.data(), filter.data(), disabled.data(), nullptr};
    char* environment[] = {mode_entry.data(), file_entry.data(), nullptr};
    pid_t child = 0;
    int status = -1;
    EXPECT_EQ(posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environment), 0);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    posix_spawn_file_actions_destroy(&actions);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct Pipe {
    Pipe() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
    ~Pipe() {
        CloseReader();
        close(ends[1]);
    }
    void CloseReader() {
        if (ends[0] >= 0) close(ends[0]);
        ends[0] = -1;
    }
    int ends[2];
};

TEST(NativeSinkFallback, WritesToTheStandardErrorOnly) {
    const TempDirectory directory;
    std::string line;
    zvevent::AppendNativeFallback(line, kNotRegistered, TextOf(SampleEvent(), "zvEvent"));

    Pipe standard;
    EXPECT_TRUE(RunChild("standard", "", standard.ends[1]));
    char text[4096];
    const ssize_t size = read(standard.ends[0], text, sizeof text);
    EXPECT_EQ(std::string(text, size < 0 ? 0 : static_cast<std::size_t>(size)), line);

    // The file of the program's that has the number stays empty.
    for (const char* mode : {"replaced", "absent"}) {
        const Pipe pipe;
        const std::string file = directory.Write(mode, "");
        const bool absent = std::strcmp(mode, "absent") == 0;
        EXPECT_TRUE(RunChild(mode, file, absent ? -1 : pipe.ends[1])) << mode;
        EXPECT_EQ(directory.Read(mode), "") << mode;
    }
}

TEST(NativeSinkFallback, IsNotHeldOrEndedByTheReader) {
    const Pipe full;  // a thousand lines do not fit, and nobody reads them
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(RunChild("stuck", "", full.ends[1]));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));

    Pipe closed;
    closed.CloseReader();
    EXPECT_TRUE(RunChild("standard", "", closed.ends[1]));
}

}  // namespace
