// What is reported, and what is left open, when memory, descriptors, threads or stack run out at
// any step.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>

#include "support/temp_directory.h"
#include "zvEvent/zvEvent.h"

namespace {

// How many more allocations of this thread succeed before one fails; below zero: all do.
thread_local long allocations_left = -1;

}  // namespace

// Not inlined, as g++ would miss the one where it sees the other.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (allocations_left == 0) throw std::bad_alloc();
    if (allocations_left > 0) --allocations_left;
    void* const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace zvevent::test {
namespace {

auto OpenFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

std::string CsvConfig(const TempDirectory& directory) {
    return directory.Write("c.xml", R"(<zvCFG><key name="QRV"><key name="Events"><key name="sink">
<key name="native"><key name="default"><value name="enabled">0</value></key></key>
<key name="csv"><key name="default"><value name="enabled">1</value>
<value name="path">)" + directory.File("e.csv") +
                                        "</value></key></key></key></key></key></zvCFG>");
}

std::string LastError() {
    char text[200];
    zvEventGetLastError(text, sizeof text);
    return text;
}

TEST(MemoryExhausted, InitialiseSaysSoAndLeavesNothingOpen) {
    const TempDirectory directory;
    const std::string config = CsvConfig(directory);
    ASSERT_EQ(zvEventInitialize(config.c_str()), ZVEVENT_OK);  // completes the file
    ASSERT_EQ(zvEventShutdown(), ZVEVENT_OK);
    const auto open_files = OpenFiles();
    std::uint32_t result = ZVEVENT_E_FAILURE;
    for (long step = 0; result != ZVEVENT_OK; ++step) {
        zvEventSubmitSimple(0, 9, nullptr, "leaves another text");
        allocations_left = step;
        result = zvEventInitialize(config.c_str());
        allocations_left = -1;
        if (result == ZVEVENT_OK) break;
        EXPECT_EQ(LastError(), "zvEventInitialize failed: std::bad_alloc") << step;
        EXPECT_EQ(OpenFiles(), open_files) << step;
    }
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
}

// Every call fails with its text or succeeds; each event that was taken reaches the callback.
TEST(MemoryExhausted, NoCallOfARunningLibraryHurtsIt) {
    const TempDirectory directory;
    const std::string config = CsvConfig(directory);
    ASSERT_EQ(zvEventInitialize(config.c_str()), ZVEVENT_OK);
    static std::atomic<int> delivered;
    delivered = 0;
    const zvEventCallback count = [](const zvEventRecord*, void*) { ++delivered; };
    const zvEventCallback ignore = [](const zvEventRecord*, void*) {};
    std::uint32_t id = 0, further_id = 0;
    ASSERT_EQ(zvEventRegisterCallback(count, nullptr, &id), ZVEVENT_OK);
    const auto open_files = OpenFiles();
    const std::string message(30'000, 'm');  // more than a queue's slot holds
    zvEventRecord record = zvEventRecordInit();
    record.message = message.c_str();
    const std::pair<const char*, std::function<std::uint32_t()>> calls[] = {
        {"zvEventSubmit", [&] { return zvEventSubmit(&record); }},
        {"zvEventSubmitSimple", [&] { return zvEventSubmitSimple(0, 2, "s", record.message); }},
        {"zvEventReloadConfig", [&] { return zvEventReloadConfig(config.c_str()); }},
        {"zvEventFlush", [] { return zvEventFlush(0); }},
        {"zvEventRegisterCallback",
         [&] { return zvEventRegisterCallback(ignore, nullptr, &further_id); }},
        {"zvEventUnregisterCallback", [&] { return zvEventUnregisterCallback(further_id); }},
    };
    int taken = 0;
    for (const auto& [name, call] : calls) {
        std::uint32_t result = ZVEVENT_E_FAILURE;
        for (long step = 0; result != ZVEVENT_OK; ++step) {
            ASSERT_LT(step, 10'000) << name;
            allocations_left = step;
            result = call();
            allocations_left = -1;
            if (result != ZVEVENT_OK) {
                EXPECT_TRUE(LastError().ends_with(" failed: std::bad_alloc"))
                    << name << LastError();
                EXPECT_EQ(OpenFiles(), open_files) << name << step;
            }
        }
        taken += std::string_view(name).starts_with("zvEventSubmit") ? 2 : 1;
        EXPECT_EQ(zvEventSubmit(&record), ZVEVENT_OK);
        EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK) << name;
        EXPECT_EQ(delivered, taken) << name;
    }
    allocations_left = 0;
    const std::uint32_t stopped = zvEventShutdown();
    allocations_left = -1;
    EXPECT_EQ(stopped, ZVEVENT_OK) << "needs no memory";
}

constexpr std::size_t kUsualStack = 8 << 20;

// Of threads that are started from now on.
void SetThreadStacks(std::size_t bytes) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, bytes);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
}

// From nothing more than there is up to what a start takes; no limit ends the process.
TEST(ResourcesExhausted, InitialiseFailsWithItsTextOrRuns) {
    const TempDirectory directory;
    const std::string config = CsvConfig(directory);
    const auto open_files = OpenFiles();
    std::ifstream statm("/proc/self/statm");
    rlim_t pages = 0;
    statm >> pages;
    statm.close();
    const std::tuple<__rlimit_resource, rlim_t, rlim_t> limits[] = {
        {RLIMIT_NOFILE, 0, 1}, {RLIMIT_AS, pages * 4096, 16 << 20}};
    SetThreadStacks(128 << 20);  // more than what former threads have left
    for (const auto& [resource, first, step] : limits) {
        rlimit before{};
        ASSERT_EQ(getrlimit(resource, &before), 0);
        std::uint32_t result = ZVEVENT_E_FAILURE;
        int failures = 0;
        for (rlimit now{first, before.rlim_max}; result != ZVEVENT_OK; now.rlim_cur += step) {
            ASSERT_LT(failures, 400);
            setrlimit(resource, &now);
            result = zvEventInitialize(config.c_str());
            setrlimit(resource, &before);
            if (result == ZVEVENT_OK) break;
            ++failures;
            EXPECT_NE(LastError(), "");
            EXPECT_EQ(OpenFiles(), open_files) << now.rlim_cur;
        }
        EXPECT_GT(failures, 0) << resource;
        EXPECT_EQ(zvEventSubmitSimple(0, 2, "s", "m"), ZVEVENT_OK);
        EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
        EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
    }
    SetThreadStacks(kUsualStack);
}

// An application may have made the stacks of all its threads small.
TEST(ResourcesExhausted, AWorkerRunsOnASmallStack) {
    const TempDirectory directory;
    SetThreadStacks(64 * 1024);
    ASSERT_EQ(zvEventInitialize(CsvConfig(directory).c_str()), ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(0, 2, "s", std::string(20'000, 'm').c_str()), ZVEVENT_OK);
    EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
    SetThreadStacks(kUsualStack);
    EXPECT_NE(directory.Read("e.csv").find("mmm"), std::string::npos);
}

}  // namespace
}  // namespace zvevent::test
