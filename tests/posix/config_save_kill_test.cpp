// A process killed at any moment of a save leaves the old configuration file or the new one.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "platform/replace_file.h"
#include "platform/zvutil.h"

namespace {

namespace fs = std::filesystem;

std::string ValueText(char letter) {
    return std::string(200'000, letter);
}

std::string FileText(char letter) {
    return "<r><value name='v'>" + ValueText(letter) + "</value></r>";
}

// Saves two texts in turn until it is killed, with hardly a moment outside a save. The parent
// learns by a byte that it has begun.
[[noreturn]] void SaveForever(const fs::path& file, int ready) {
    const std::string texts[] = {FileText('a'), FileText('b')};
    bool good = write(ready, "!", 1) == 1;
    for (std::size_t i = 0; good; ++i) {
        good = zvevent::ReplaceFileContents(file.c_str(), texts[i % 2]);
    }
    _exit(1);
}

TEST(ConfigSaveKill, LeavesAWholeFile) {
    const fs::path directory =
        fs::temp_directory_path() / ("zvcfg-kill-" + std::to_string(zvOSGetTimePTPNano()));
    ASSERT_TRUE(fs::create_directory(directory));
    const fs::path file = directory / "events.xml";
    std::ofstream(file) << FileText('a');

    std::minstd_rand random(1);
    std::uniform_int_distribution<long> nanoseconds(0, 3'000'000);
    for (int round = 0; round < 60; ++round) {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const pid_t child = fork();
        if (child == 0) SaveForever(file, ready[1]);
        close(ready[1]);
        char begun = 0;
        EXPECT_EQ(read(ready[0], &begun, 1), 1);
        const timespec moment{0, nanoseconds(random)};
        nanosleep(&moment, nullptr);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        close(ready[0]);
        ASSERT_TRUE(WIFSIGNALED(status)) << "a save failed in round " << round;

        zvCFGTree* const tree = zvCFGOpen(file.c_str(), 0);
        ASSERT_NE(tree, nullptr) << "round " << round;
        std::string text(FileText('a').size(), '\0');
        auto length = static_cast<std::uint32_t>(text.size());
        EXPECT_EQ(zvCFGValueString(tree, "", "v", text.data(), &length, 0), 0u);
        text.resize(length);
        EXPECT_TRUE(text == ValueText('a') || text == ValueText('b')) << "round " << round;
        zvCFGClose(tree, 1);
    }
    // The file and what the killed processes left, which kept none from the next save.
    const auto files = std::distance(fs::directory_iterator(directory), fs::directory_iterator());
    EXPECT_GT(files, 1) << "no kill fell into a save";
    fs::remove_all(directory);
}

}  // namespace
