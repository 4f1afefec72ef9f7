// A directory of its own for one test, removed with everything in it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace zvevent::test {

class TempDirectory {
public:
    TempDirectory() { std::filesystem::create_directories(path_); }
    TempDirectory(const TempDirectory&) = delete;
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    // The path of a file in it, as the library takes paths in UTF-8.
    std::filesystem::path Path(const std::string& name) const {
        return path_ / std::u8string(name.begin(), name.end());
    }
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
    const std::filesystem::path path_ = std::filesystem::temp_directory_path() /
                                        ("zvevent-test-" + std::to_string(std::random_device()()) +
                                         std::to_string(std::random_device()()));
};

}  // namespace zvevent::test
