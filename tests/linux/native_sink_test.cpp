// The native sink on a system logger of the test's own, and on the standard error without one.
#include "sinks/native_sink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <tuple>

#include "format/native_message.h"
#include "platform/linux/system_logger.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace {

using zvevent::test::SampleEvent;
using zvevent::test::TempDirectory;

constexpr const char* kNotRegistered = "source 'zvEvent' is not registered";
constexpr int kChildEvents = 1000;

// Listens as the system's logger does.
class Logger {
public:
    explicit Logger(const std::string& path) : path_(path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~Logger() {
        close(socket_);
        unlink(path_.c_str());
    }

    // The next datagram; empty when there is none.
    std::string Next() const {
        char text[8192];
        const ssize_t size = recv(socket_, text, sizeof text, MSG_DONTWAIT);
        return {text, size < 0 ? 0 : static_cast<std::size_t>(size)};
    }

private:
    const std::string path_;
    const int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

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
    zvEventSinkConfig config_;
    std::uint64_t fallbacks_ = 0;
};

TEST_F(NativeSink, SendsPriorityTagAndProcess) {
    const std::tuple<const char*, const char*, std::uint32_t, std::string> cases[] = {
        {"", "", 0, "<167>zvEvent"},       {"", "", 1, "<166>zvEvent"},
        {"", "LOCAL4", 2, "<164>zvEvent"}, {"", "no such", 3, "<131>zvEvent"},
        {"", "daemon", 7, "<30>zvEvent"},  {"My: [App]", "kern", 3, "<3>My___App_"}};
    const Logger logger(path_);
    config_.minimum_severity = zvEventSeverityDebug;
    for (const auto& [source_name, facility, severity, expected] : cases) {
        config_.native = {source_name, facility, "", ""};
        zvEventNativeSink sink(config_);
        zvEventNormalizedEvent event = SampleEvent();
        event.severity = severity;
        EXPECT_EQ(sink.Open(nullptr), ZVEVENT_OK);
        EXPECT_EQ(sink.write(event, &fallbacks_), ZVEVENT_OK);
        EXPECT_EQ(logger.Next(),
                  expected + "[" + std::to_string(getpid()) + "]: " + TextOf(event, source_name));
        EXPECT_EQ(sink.LastError(), "");
    }
    EXPECT_EQ(fallbacks_, 0U);
}

TEST_F(NativeSink, FallsBackUntilALoggerListensAgain) {
    config_.minimum_severity = zvEventSeverityWarning;
    zvEventNativeSink sink(config_);
    for (std::uint64_t round = 1; round <= 3; ++round) {
        EXPECT_EQ(sink.write(SampleEvent(), &fallbacks_), ZVEVENT_OK);
        EXPECT_EQ(sink.write(SampleEvent(), nullptr), ZVEVENT_OK);
        EXPECT_EQ(sink.write({}, &fallbacks_), ZVEVENT_OK);  // below the minimum: nowhere
        EXPECT_EQ(sink.LastError(), kNotRegistered);
        // A logger, and another one in its place at once.
        for (int logger_of_round = 0; logger_of_round < 2; ++logger_of_round) {
            const Logger logger(path_);
            EXPECT_EQ(sink.write(SampleEvent(), &fallbacks_), ZVEVENT_OK);
            EXPECT_NE(logger.Next(), "");
            EXPECT_EQ(fallbacks_, round);
        }
    }
}

TEST_F(NativeSink, IsNotHeldByALoggerThatStoppedReading) {
    const Logger logger(path_);
    zvEventNativeSink sink(config_);
    const auto start = std::chrono::steady_clock::now();
    int sent = -3;
    for (; fallbacks_ < 3; ++sent)
        ASSERT_EQ(sink.write(SampleEvent(), &fallbacks_), ZVEVENT_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(sink.LastError(), "system logger failed error=" + std::to_string(EAGAIN));
    while (!logger.Next().empty())
        --sent;
    EXPECT_EQ(sent, 0);
    EXPECT_EQ(sink.write(SampleEvent(), &fallbacks_), ZVEVENT_OK);
    EXPECT_EQ(fallbacks_, 3U);
}

// The standard error, in a process of its own, since it is looked at when the library is loaded.
// With a file named, that file takes the number of the standard error before the first event.
TEST(NativeSinkChild, DISABLED_WritesEvents) {
    if (const char* const file = getenv("ZVEVENT_TEST_FILE")) {
        close(STDERR_FILENO);
        ASSERT_EQ(open(file, O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
    }
    zvevent::SetSystemLoggerPath("/nonexistent/log");
    zvEventNativeSink sink(zvEventSinkConfig{});
    std::uint64_t fallbacks = 0;
    for (int i = 0; i < kChildEvents; ++i)
        EXPECT_EQ(sink.write(SampleEvent(), &fallbacks), ZVEVENT_OK);
    EXPECT_EQ(fallbacks, kChildEvents);
}

TEST(NativeSinkFallback, WritesToTheStandardErrorOnlyAndIsNotHeldOrEndedByItsReader) {
    std::string lines;
    for (int i = 0; i < kChildEvents; ++i)
        zvevent::AppendNativeFallback(lines, kNotRegistered, TextOf(SampleEvent(), ""));
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"", "2>told", true},
        {"ZVEVENT_TEST_FILE=told", "2>/dev/null", false},
        {"ZVEVENT_TEST_FILE=told", "2>&-", false},
        {"", "2<>pipe", false},               // nobody reads
        {"", "3<>pipe 2>pipe 3>&-", false}};  // nobody could
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    for (const auto& [before, redirections, told] : cases) {
        const TempDirectory directory;
        const auto start = std::chrono::steady_clock::now();
        const std::string command =
            "cd " + directory.File("") + " && mkfifo pipe && " + before + " '" + program +
            "' --gtest_filter=NativeSinkChild.* --gtest_also_run_disabled_tests >out " +
            redirections;
        EXPECT_EQ(std::system(command.c_str()), 0) << redirections << directory.Read("out");
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_EQ(directory.Read("told"), told ? lines : "") << redirections;
    }
}

}  // namespace
