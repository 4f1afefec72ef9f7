#include "health/config_watch.h"

#include <utility>

#include "config/config_keys.h"
#include "zvutil/zvutil.h"

namespace zvevent {

void ConfigWatch::Follow(const std::string& path, const FileStamp& seen) {
    path_ = path;
    followed_ = seen;
    last_ = seen;
}

ConfigWatch::Look ConfigWatch::LookAtFile() {
    const FileStamp now = StampOf(path_);
    const FileStamp before = std::exchange(last_, now);
    if (now == followed_) return Look::kUnchanged;
    return now == before ? Look::kChanged : Look::kChanging;
}

bool HoldsConfiguration(const std::string& path) {
    const zvCFGHandle tree = zvCFGOpen(path.c_str(), 0);
    if (tree == nullptr) return false;
    const bool holds = zvCFGKeyExists(tree, std::string(kRootKey).c_str()) != 0;
    zvCFGClose(tree, 1);
    return holds;
}

}  // namespace zvevent
