// What a callback finds on the worker's thread.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include "support/config_text.h"
#include "support/temp_directory.h"
#include "zvEvent/zvEvent.h"

namespace zvevent::test {
namespace {

// The application's signals and what ends threads by force reach its own threads only.
TEST(WorkerThread, TakesNoSignalAndIsNotCancelled) {
    const TempDirectory directory;
    const std::string config = directory.Write("c.xml", ConfigText(""));
    ASSERT_EQ(zvEventInitialize(config.c_str()), ZVEVENT_OK);
    static int calls = 0;
    static bool blocks = false;
    std::uint32_t id = 0;
    const zvEventCallback callback = [](const zvEventRecord*, void*) {
        ++calls;
        sigset_t blocked;
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        blocks = sigismember(&blocked, SIGTERM) == 1 && sigismember(&blocked, SIGALRM) == 1;
        pthread_cancel(pthread_self());
    };
    ASSERT_EQ(zvEventRegisterCallback(callback, nullptr, &id), ZVEVENT_OK);
    for (int call = 1; call <= 2; ++call) {
        EXPECT_EQ(zvEventSubmitSimple(0, 1, "s", "m"), ZVEVENT_OK);
        EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
        EXPECT_EQ(calls, call);
        EXPECT_TRUE(blocks);
    }
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
}

}  // namespace
}  // namespace zvevent::test
