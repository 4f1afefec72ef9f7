// A forked child inherits subscriptions, one of them marked as running for a thread that the child
// does not have.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/config_text.h"
#include "support/gate.h"
#include "support/temp_directory.h"
#include "zvEvent/zvEvent.hpp"

TEST(CppFaceFork, AChildEndsAnInheritedSubscriptionWithoutWaiting) {
    using namespace zvevent::test;
    const TempDirectory directory;
    const zvEvent::Session session(directory.Write("c.xml", ""));
    Gate gate(false);
    auto subscription = zvEvent::Subscribe([&](const zvEventRecord&) { gate.Pass(); });
    ASSERT_TRUE(zvEvent::Event("held").Submit());
    ASSERT_TRUE(gate.WaitForArrivals(1));
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatience.count());
        subscription.End();
        _exit(0);
    }
    gate.Set(true);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
