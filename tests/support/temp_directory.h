// A directory of its own for one test, removed with everything in it.
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zvevent::test {

class TempDirectory {
public:
    TempDirectory() {
        static std::atomic<int> count{0};
        const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
        path_ = std::filesystem::temp_directory_path() /
                ("zvevent-test-" + std::to_string(stamp) + "-" + std::to_string(++count));
        std::filesystem::create_directories(path_);
    }
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    // The path of a file in it, UTF-8, as the library takes paths.
    std::string File(const std::string& name) const {
        const std::u8string path = Path(name).u8string();
        return {path.begin(), path.end()};
    }

    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(Path(name), std::ios::binary) << bytes;
        return File(name);
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path Path(const std::string& name) const {
        return path_ / std::u8string(name.begin(), name.end());
    }

    std::filesystem::path path_;
};

}  // namespace zvevent::test
