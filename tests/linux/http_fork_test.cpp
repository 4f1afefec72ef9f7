// A child that is forked while the HTTP client starts.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "zvutil/zvutil.h"

namespace zvevent::test {
namespace {

// What `run` returned in a process of its own; -1 when it was not ready in time.
template <typename Run>
int InChild(Run run) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(run());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(HttpFork, ChildOfAStartStartsToo) {
    for (int moment = 0; moment < 25; ++moment) {
        const int started = InChild([moment] {
            std::thread starting([] { zvOSHTTPStart(); });
            std::this_thread::sleep_for(std::chrono::microseconds(200 * moment));
            const int good = InChild([] { return zvOSHTTPStart() != 0 ? 1 : 0; });
            starting.join();
            return good;
        });
        EXPECT_EQ(started, 1) << moment;
        if (started != 1) break;
    }
}

}  // namespace
}  // namespace zvevent::test
