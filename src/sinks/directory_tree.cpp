#include "sinks/directory_tree.h"

#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::uint32_t kDirectoryMode = 0775;

std::string_view WithoutTrailingSeparators(std::string_view path) {
    const auto is_drive_root = [](std::string_view text) {
        return text.size() == 3 && text[1] == ':';
    };
    while (path.size() >= 2 && kSeparators.find(path.back()) != std::string_view::npos &&
           !is_drive_root(path)) {
        path.remove_suffix(1);
    }
    return path;
}

}  // namespace

std::string_view DirectoryPart(std::string_view path) {
    path = WithoutTrailingSeparators(path);
    const std::size_t separator = path.find_last_of(kSeparators);
    if (separator == std::string_view::npos) return {};
    return WithoutTrailingSeparators(path.substr(0, separator));
}

bool EnsureDirectory(std::string_view path) {
    path = WithoutTrailingSeparators(path);
    const std::string text(path);
    if (path.empty() || path == "." || zvOSFileIsDir(text.c_str()) != 0) return true;
    if (!EnsureDirectory(DirectoryPart(path))) return false;
    // It may have been created by someone else meanwhile: what counts is that it is there.
    static_cast<void>(zvOSMakeDir(text.c_str(), kDirectoryMode));
    return zvOSFileIsDir(text.c_str()) != 0;
}

}  // namespace zvevent
