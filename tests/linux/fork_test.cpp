// A forked child has no worker: it must find the library as if it had never been initialized, and
// be able to use it anew.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temp_directory.h"
#include "zvEvent/zvEvent.h"

namespace {

// 0, or which step went wrong.
int InChild(const std::string& config) {
    if (zvEventSubmitSimple(0, 1, nullptr, "m") != ZVEVENT_E_NOT_INITIALIZED) return 1;
    if (zvEventFlush(0) != ZVEVENT_E_NOT_INITIALIZED) return 2;
    if (zvEventShutdown() != ZVEVENT_E_NOT_INITIALIZED) return 3;
    int delivered = 0;
    std::uint32_t id = 0;
    const auto count = [](const zvEventRecord*, void* number) { ++*static_cast<int*>(number); };
    zvEventRegisterCallback(count, &delivered, &id);
    if (zvEventInitialize(config.c_str()) != ZVEVENT_OK) return 4;
    zvEventSubmitSimple(0, 1, nullptr, "m");
    return zvEventShutdown() == ZVEVENT_OK && delivered == 1 ? 0 : 5;
}

TEST(Fork, ChildStartsAfreshAndParentGoesOn) {
    const zvevent::test::TempDirectory directory;
    const std::string config = directory.Write("c.xml", "");
    ASSERT_EQ(zvEventInitialize(config.c_str()), ZVEVENT_OK);
    const pid_t child = fork();
    if (child == 0) _exit(InChild(config));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "step " << WEXITSTATUS(status);
    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, "m"), ZVEVENT_OK);
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
}

}  // namespace
