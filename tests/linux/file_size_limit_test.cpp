// A file that may not grow any further: the process lives on, and nothing is left over.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "config/config_loader.h"
#include "support/temp_directory.h"
#include "zvutil/zvutil.h"

namespace {

TEST(FileSizeLimit, AReplacementThatFailsLeavesTheFileAlone) {
    const zvevent::test::TempDirectory directory;
    const std::string file = directory.Write("c.xml", "<zvCFG/>");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit limit{100, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    zvEventConfig config;
    std::string error;
    const std::uint32_t loaded = zvEventLoadConfig(file.c_str(), &config, &error);
    const std::uint32_t replaced = zvOSFileReplace(file.c_str(), std::string(200, 'x').data(), 200);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(loaded, ZVEVENT_OK) << error;
    EXPECT_EQ(config.sinks.size(), 7U);
    EXPECT_NE(replaced, 0U);
    EXPECT_EQ(directory.Read("c.xml"), "<zvCFG/>");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.Path("")), {}), 1);
}

}  // namespace
