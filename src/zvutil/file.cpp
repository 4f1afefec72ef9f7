#include <string_view>

#include "zvutil/replace_file.h"
#include "zvutil/zvutil.h"

std::uint32_t zvOSFileReplace(const char* path, const void* bytes, std::uint64_t length) noexcept {
    if (path == nullptr || (bytes == nullptr && length != 0)) return 1;
    try {
        const std::string_view contents(static_cast<const char*>(bytes), length);
        const bool done =
            zvevent::ReplaceFileContents(path, contents, zvevent::Replace::kAlsoCreates);
        return done ? 0 : 1;
    } catch (...) {
        return 1;
    }
}
