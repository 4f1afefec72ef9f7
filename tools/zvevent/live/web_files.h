// The files of the live page, compiled in from web/ at build time. Never changes, any thread.
#pragma once

#include <span>
#include <string_view>

namespace zvevent::tool {

struct WebFile {
    std::string_view name;  // without folders: "page.html"
    std::string_view bytes;
};

std::span<const WebFile> WebFiles();

}  // namespace zvevent::tool
