// A child that is forked while the HTTP client starts.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "zvutil/zvutil.h"

namespace {

// Whether `run` succeeded in a process of its own, in time.
template <typename Run>
bool InChild(Run run) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(run() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST(HttpFork, ChildOfAStartStartsToo) {
    for (int moment = 0; moment < 25; ++moment) {
        ASSERT_TRUE(InChild([moment] {
            std::thread starting([] { zvOSHTTPStart(); });
            std::this_thread::sleep_for(std::chrono::microseconds(200 * moment));
            const bool good = InChild([] { return zvOSHTTPStart() != 0; });
            starting.join();
            return good;
        })) << moment;
    }
}

}  // namespace
