// A process killed at any moment of a save leaves the old configuration file or the new one.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <random>

#include "support/temp_directory.h"
#include "zvutil/replace_file.h"

namespace {

// Saves two texts in turn until it is killed, with hardly a moment outside a save. The parent
// learns by a byte that it has begun.
[[noreturn]] void SaveForever(const std::string& file, const std::string (&texts)[2], int ready) {
    bool good = write(ready, "!", 1) == 1;
    for (std::size_t i = 0; good; ++i)
        good = zvevent::ReplaceFileContents(file.c_str(), texts[i % 2],
                                            zvevent::Replace::kExistingSynced);
    _exit(1);
}

TEST(ConfigSaveKill, LeavesAWholeFile) {
    const zvevent::test::TempDirectory directory;
    const std::string texts[] = {std::string(200'000, 'a'), std::string(300'000, 'b')};
    const std::string file = directory.Write("c.xml", texts[0]);
    std::minstd_rand random(1);
    std::uniform_int_distribution<long> nanoseconds(0, 3'000'000);
    for (int round = 0; round < 60; ++round) {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const pid_t child = fork();
        if (child == 0) SaveForever(file, texts, ready[1]);
        close(ready[1]);
        char begun = 0;
        EXPECT_EQ(read(ready[0], &begun, 1), 1);
        close(ready[0]);
        const timespec moment{0, nanoseconds(random)};
        nanosleep(&moment, nullptr);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "a save failed in round " << round;
        const std::string text = directory.Read("c.xml");
        EXPECT_TRUE(text == texts[0] || text == texts[1]) << "round " << round;
    }
    // The file and what the killed processes left, which kept none from the next save.
    const std::filesystem::directory_iterator files(directory.Path(""));
    EXPECT_GT(std::distance(files, {}), 1) << "no kill fell into a save";
}

}  // namespace
