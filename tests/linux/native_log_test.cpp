// The local system logger, which is one of the test's own, and the standard error.
#include "platform/native_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "platform/debug_output.h"
#include "platform/linux/system_logger.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

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

struct NativeLogTest : testing::Test {
    NativeLogTest() { SetSystemLoggerPath(path_.c_str()); }
    ~NativeLogTest() override { SetSystemLoggerPath("/dev/log"); }

    const test::TempDirectory directory_;
    const std::string path_ = directory_.File("log");
    std::string reason_;
};

TEST_F(NativeLogTest, SendsPriorityTagAndProcess) {
    const std::tuple<const char*, const char*, std::uint32_t, std::string> cases[] = {
        {"a", "LOCAL4", 0, "<167>a"},
        {"a", "local4", 1, "<166>a"},
        {"a", "no such", 3, "<131>a"},
        {"a", "daemon", 7, "<30>a"},
        {"My: [App]", "kern", 2, "<4>My___App_"}};
    const Logger logger(path_);
    for (const auto& [source_name, facility, severity, expected] : cases) {
        const auto log = NativeLog::Create({source_name, facility, "", ""});
        EXPECT_TRUE(log->Write(severity, "text", reason_));
        EXPECT_EQ(logger.Next(), expected + "[" + std::to_string(getpid()) + "]: text");
    }
}

TEST_F(NativeLogTest, ConnectsWheneverALoggerListens) {
    const auto log = NativeLog::Create({"My App", "", "", ""});
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(log->Write(1, "text", reason_));
        EXPECT_EQ(reason_, "source 'My App' is not registered");
        // A logger, and another one in its place at once.
        for (int logger_of_round = 0; logger_of_round < 2; ++logger_of_round) {
            const Logger logger(path_);
            EXPECT_TRUE(log->Write(1, "text", reason_));
            EXPECT_NE(logger.Next(), "");
        }
    }
}

TEST_F(NativeLogTest, IsNotHeldByALoggerThatStoppedReading) {
    const Logger logger(path_);
    const auto log = NativeLog::Create({"a", "", "", ""});
    const auto start = std::chrono::steady_clock::now();
    int sent = 0;
    while (log->Write(1, "text", reason_))
        ++sent;
    EXPECT_EQ(reason_, "system logger failed error=" + std::to_string(EAGAIN));
    for (int again = 0; again < 100; ++again)
        EXPECT_FALSE(log->Write(1, "text", reason_));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    for (; !logger.Next().empty(); --sent) {
    }
    EXPECT_EQ(sent, 0);
    EXPECT_TRUE(log->Write(1, "text", reason_));
}

constexpr int kLines = 1000;

// In a process of its own, which first changes its standard error or its limits as it is told.
TEST(NativeLogChild, DISABLED_WritesLines) {
    const std::string change = getenv("ZVEVENT_TEST_STDERR");
    if (change == "wronly" || change == "rdwr") {
        const int access = change == "rdwr" ? O_RDWR : O_WRONLY;
        const int file = open("told", access | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        ASSERT_EQ(dup2(file, STDERR_FILENO), STDERR_FILENO);
    } else if (change == "own") {
        close(STDERR_FILENO);
        ASSERT_EQ(open("told", O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
    } else if (change == "full") {
        const rlimit none = {STDERR_FILENO + 1, STDERR_FILENO + 1};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    for (int i = 0; i < kLines; ++i)
        WriteDebugOutput("line\n");
}

TEST(NativeLogDebugOutput, FollowsTheStandardErrorAndIsNotHeldOrEndedByItsReader) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {"", "2>told", kLines},
        {"full", "2>told", kLines},
        {"wronly", "2>/dev/null", kLines},  // redirected after the start
        {"rdwr", "2>/dev/null", 0},         // data
        {"own", "2>/dev/null", 0},          // not handed on
        {"", "2>&-", 0},
        {"", "2<>pipe", 0},               // nobody reads
        {"", "3<>pipe 2>pipe 3>&-", 0}};  // nobody could
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    for (const auto& [change, redirections, lines] : cases) {
        const test::TempDirectory directory;
        const std::string command =
            "cd " + directory.File("") + " && mkfifo pipe && ZVEVENT_TEST_STDERR=" + change +
            " timeout 60 '" + program +
            "' --gtest_filter=NativeLogChild.* --gtest_also_run_disabled_tests >out " +
            redirections;
        EXPECT_EQ(std::system(command.c_str()), 0) << redirections << directory.Read("out");
        std::string expected;
        for (int i = 0; i < lines; ++i)
            expected += "line\n";
        EXPECT_EQ(directory.Read("told"), expected) << change << redirections;
    }
}

}  // namespace
}  // namespace zvevent
