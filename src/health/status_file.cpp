#include "health/status_file.h"

#include "platform/process_id.h"
#include "zvutil/zvutil.h"

namespace zvevent {

void StatusFile::SetPath(std::string_view path) {
    path_ = WithProcessId(path);
}

bool StatusFile::Write(const LibraryStatus& status) {
    text_.clear();
    if (path_.ends_with(".prom")) {
        AppendStatusMetrics(text_, status);
    } else {
        AppendStatusJson(text_, status);
    }
    return zvOSFileReplace(path_.c_str(), text_.data(), static_cast<std::uint32_t>(text_.size())) ==
           0;
}

}  // namespace zvevent
