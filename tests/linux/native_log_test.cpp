// The local system logger, which is one of the test's own, and the standard error.
#include "platform/native_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "platform/debug_output.h"
#include "platform/linux/system_logger.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

// Listens as the system's logger does.
struct Logger {
    explicit Logger(const std::string& path) : path_(path) {
        sockaddr_un address{AF_UNIX, {}};
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
        return {text, static_cast<std::size_t>(
                          std::max<ssize_t>(recv(socket_, text, sizeof text, MSG_DONTWAIT), 0))};
    }
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

TEST_F(NativeLogTest, ConnectsWheneverALoggerListens) {
    const auto log = NativeLog::Create({"My: [App]", "kern", "", ""});
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(log->Write(2, "text", reason_));
        EXPECT_EQ(reason_, "source 'My: [App]' is not registered");
        // A logger, and another one in its place at once.
        for (int logger_of_round = 0; logger_of_round < 2; ++logger_of_round) {
            const Logger logger(path_);
            EXPECT_TRUE(log->Write(2, "text", reason_));
            EXPECT_EQ(logger.Next(), "<4>My___App_[" + std::to_string(getpid()) + "]: text");
        }
    }
}

TEST_F(NativeLogTest, IsNotHeldByALoggerThatStoppedReading) {
    const Logger logger(path_);
    const auto log = NativeLog::Create({"a", "", "", ""});
    int sent = 0;
    while (log->Write(1, "text", reason_))
        ++sent;
    EXPECT_EQ(reason_, "system logger failed error=" + std::to_string(EAGAIN));
    EXPECT_FALSE(log->Write(1, "text", reason_));
    while (!logger.Next().empty())
        --sent;
    EXPECT_EQ(sent, 0);
    EXPECT_TRUE(log->Write(1, "text", reason_));
}

constexpr int kLines = 1000;

// In a process of its own, which first changes its standard error or its limits as it is told.
TEST(NativeLogChild, DISABLED_WritesLines) {
    const std::string change = getenv("ZVEVENT_TEST_STDERR");
    if (change == "own") close(STDERR_FILENO);
    if (change == "own" || change == "write" || change == "read") {
        const int file =
            open("told", (change == "read" ? O_RDWR : O_WRONLY) | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(dup2(file, STDERR_FILENO), STDERR_FILENO);
    }
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    const rlimit none_left = {STDERR_FILENO + 1, files.rlim_max};
    if (change == "none left") setrlimit(RLIMIT_NOFILE, &none_left);
    for (int i = 0; i < kLines; ++i)
        WriteDebugOutput("line\n");
    setrlimit(RLIMIT_NOFILE, &files);  // sanitizers open files at the end
}

TEST(NativeLogDebugOutput, FollowsTheStandardErrorAndIsNotHeldOrEndedByItsReader) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"", "2>told", true},
        {"none left", "2>told", true},
        {"write", "2>/dev/null", true},  // redirected after the start
        {"read", "2>/dev/null", false},  // data
        {"own", "2>/dev/null", false},   // not handed on to other programs
        {"", "2>&-", false},
        {"", "2<>pipe", false},               // nobody reads
        {"", "3<>pipe 2>pipe 3>&-", false}};  // nobody could
    for (const auto& [change, redirections, told] : cases) {
        const test::TempDirectory directory;
        const std::string command =
            "cd " + directory.File("") + " && mkfifo pipe && ZVEVENT_TEST_STDERR='" + change +
            "' timeout 60 '" + std::filesystem::read_symlink("/proc/self/exe").string() +
            "' --gtest_filter=NativeLogChild.* --gtest_also_run_disabled_tests >out " +
            redirections;
        EXPECT_EQ(std::system(command.c_str()), 0) << redirections << directory.Read("out");
        EXPECT_EQ(directory.Read("told").size(), told ? kLines * 5U : 0U) << change << redirections;
    }
}

}  // namespace
}  // namespace zvevent
