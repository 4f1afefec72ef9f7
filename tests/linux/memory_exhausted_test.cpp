// What is reported, and what is left open, when memory runs out at any step.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
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

TEST(MemoryExhausted, InitialiseSaysSoAndLeavesNothingOpen) {
    const TempDirectory directory;
    const std::string config = directory.Write("c.xml",
                                               R"(<zvCFG><key name="QRV"><key name="Events">
<key name="sink"><key name="csv"><key name="default"><value name="enabled">1</value>
<value name="path">)" + directory.File("e.csv") + "</value></key></key></key></key></key></zvCFG>");
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
        char text[64];
        zvEventGetLastError(text, sizeof text);
        EXPECT_STREQ(text, "zvEventInitialize failed: std::bad_alloc") << step;
        EXPECT_EQ(OpenFiles(), open_files) << step;
    }
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
}

}  // namespace
}  // namespace zvevent::test
