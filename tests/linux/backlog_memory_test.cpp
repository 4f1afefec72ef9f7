// The memory that a deep queue took goes back to the system by itself.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

#include "support/config_text.h"
#include "support/gate.h"
#include "support/temp_directory.h"
#include "zvEvent/zvEvent.h"

namespace zvevent::test {
namespace {

std::size_t ResidentMiB() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm").ignore(100, ' ') >> pages;
    return pages * 4096 >> 20;
}

TEST(BacklogMemory, GoesBackOnceTheQueueIsEmpty) {
    const TempDirectory directory;
    const std::string no_native_log =
        Key("sink", Key("native", Key("default", Value("enabled", "0"))));
    const std::string config =
        directory.Write("c.xml", ConfigText(Value("queue_size", "100000"), no_native_log));
    static Gate gate;
    ASSERT_EQ(zvEventInitialize(config.c_str()), ZVEVENT_OK);
    std::uint32_t id = 0;
    const zvEventCallback wait = [](const zvEventRecord*, void*) { gate.Pass(); };
    ASSERT_EQ(zvEventRegisterCallback(wait, nullptr, &id), ZVEVENT_OK);
    const std::size_t at_rest = ResidentMiB();
    // What takes the memory: texts, slots.
    for (const auto& [events, bytes] : {std::pair(20'000, 5000U), std::pair(90'000, 20U)}) {
        const std::string text(bytes, 'x');
        gate.Set(false);
        for (int i = 0; i < events; ++i)
            ASSERT_EQ(zvEventSubmitSimple(0, 2, "s", text.c_str()), ZVEVENT_OK);
        ASSERT_GT(ResidentMiB(), at_rest + 40);
        gate.Set(true);
        ASSERT_EQ(zvEventFlush(0), ZVEVENT_OK);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (ResidentMiB() > at_rest + 8 && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_LE(ResidentMiB(), at_rest + 8);
    }
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
}

}  // namespace
}  // namespace zvevent::test
