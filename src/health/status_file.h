// The file that tells operators how the library is doing: replaced whole each time, so that a
// reader never sees half of it. One thread at a time: the owner locks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "format/status_document.h"

namespace zvevent {

class StatusFile {
public:
    // "{pid}" in `path` (UTF-8) stands for the number of this process. A name that ends in ".prom"
    // gets the Prometheus text format, every other one JSON. Empty: no file.
    void SetPath(std::string_view path);

    bool IsOn() const { return !path_.empty(); }

    // Returns false when the file could not be written; it is then as it was.
    bool Write(const LibraryStatus& status);

private:
    std::string path_;
    std::string text_;  // kept for its memory
};

}  // namespace zvevent
