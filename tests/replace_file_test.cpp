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
    const struct {
        const char* name;
        const char* written_to;  // null when it must fail
    } cases[] = {
        {"\xC3\xA4\xE2\x82\xAC", "\xC3\xA4\xE2\x82\xAC"},
        {"target", "target"},
        {"link", "target"},
        {"folder", nullptr},
        {"dangling", nullptr},
        {"missing/file", nullptr},
        {"target/file", nullptr},
    };
    for (const auto& [name, written_to] : cases) {
        if (unsupported && std::string_view("link dangling").find(name) != std::string::npos)
            continue;
        for (const std::string& bytes : {std::string(name) + '\0' + '\n', std::string()}) {
            EXPECT_EQ(Replace(directory.File(name), bytes), written_to != nullptr) << name;
            if (written_to == nullptr) continue;
            EXPECT_EQ(directory.Read(written_to), bytes) << name;
        }
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.Path("")), {}), unsupported ? 3 : 5);
    EXPECT_EQ(fs::is_symlink(directory.Path("link")), !unsupported);
}

// Readers that come and go keep no replacement from happening, and see a whole file each time.
TEST(ReplaceFile, SucceedsBesideReaders) {
    const zvevent::test::TempDirectory directory;
    const std::string texts[] = {"<a>" + std::string(100'000, 'a') + "</a>", "<b/>"};
    const std::string file = directory.Write("c.xml", texts[0]);
    std::atomic<bool> done{false};
    std::atomic<int> read{0}, torn{0};
    std::thread reader([&] {
        for (; !done; ++read) {
            const zvCFGHandle tree = zvCFGOpen(file.c_str(), 0);
            if (tree == nullptr) ++torn;
            zvCFGClose(tree, 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    int failed = 0;
    for (int i = 0; i < 100 || read < 20; ++i)
        failed += Replace(file, texts[i % 2]) ? 0 : 1;
    done = true;
    reader.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(torn, 0) << "of " << read;
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.Path("")), {}), 1);
}

}  // namespace
