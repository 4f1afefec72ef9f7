#include "health/status_file.h"

#include "platform/process_id.h"
#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

constexpr std::string_view kProcessId = "{pid}";

}  // namespace

void StatusFile::SetPath(std::string_view path) {
    path_ = path;
    for (std::size_t at = path_.find(kProcessId); at != std::string::npos;
         at = path_.find(kProcessId, at)) {
        path_.replace(at, kProcessId.size(), std::to_string(ProcessId()));
    }
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
