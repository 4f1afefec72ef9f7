// Files replaced whole: through the utility library's function, and by saves of a configuration.
#include <gtest/gtest.h>

#include <atomic>
#include <string_view>
#include <thread>

#include "support/temp_directory.h"
#include "zvutil/zvutil.h"

namespace {

namespace fs = std::filesystem;

bool Replace(const std::string& path, std::string_view bytes) {
    return zvOSFileReplace(path.c_str(), bytes.data(), bytes.size()) == 0;
}

TEST(ReplaceFile, CreatesReplacesOrFailsAndLeavesNothingBeside) {
    const zvevent::test::TempDirectory directory;
    std::error_code unsupported;
    fs::create_directory(directory.Path("folder"));
    fs::create_symlink("target", directory.Path("link"), unsupported);
    fs::create_symlink("nowhere", directory.Path("dangling"), unsupported);
    directory.Write("target", "before, and longer");
    for (const std::string name :
         {"\xC3\xA4\xE2\x82\xAC", "target", unsupported ? "target" : "link"}) {
        for (const std::string& bytes : {name + '\0' + '\n', std::string()}) {
            EXPECT_TRUE(Replace(directory.File(name), bytes)) << name;
            EXPECT_EQ(directory.Read(name), bytes) << name;
        }
    }
    for (const char* name :
         {"folder", "missing/file", "target/file", unsupported ? "folder" : "dangling"})
        EXPECT_FALSE(Replace(directory.File(name), "x")) << name;
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.Path("")), {}), unsupported ? 3 : 5);
    EXPECT_EQ(fs::is_symlink(directory.Path("link")), !unsupported);
}

// Readers that come and go keep no replacement from happening, and see a whole file each time.
TEST(ReplaceFile, SucceedsBesideReaders) {
    const zvevent::test::TempDirectory directory;
    const std::string texts[] = {"<a>" + std::string(100'000, 'a') + "</a>", "<b/>"};
    const std::string file = directory.Write("c.xml", texts[0]);
    std::atomic<int> read = 0, torn = 0;
    std::jthread reader([&](const std::stop_token& enough) {
        for (; !enough.stop_requested(); ++read) {
            const zvCFGHandle tree = zvCFGOpen(file.c_str(), 0);
            torn += tree == nullptr ? 1 : 0;
            zvCFGClose(tree, 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int i = 0; i < 100 || read < 20; ++i)
        EXPECT_TRUE(Replace(file, texts[i % 2])) << i;
    reader = {};
    EXPECT_EQ(torn, 0) << "of " << read;
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.Path("")), {}), 1);
}

}  // namespace
