// A configuration tree that is open for the time of a scope. One thread.
#pragma once

#include "zvutil/zvutil.h"

namespace zvevent {

class OpenTree {
public:
    explicit OpenTree(const char* path) : handle_(zvCFGOpen(path, 0)) {}
    ~OpenTree() {
        if (handle_ != nullptr) zvCFGClose(handle_, 1);
    }
    OpenTree(const OpenTree&) = delete;
    OpenTree& operator=(const OpenTree&) = delete;

    // Null when the file could not be opened.
    zvCFGHandle handle() const { return handle_; }

private:
    zvCFGHandle handle_;
};

}  // namespace zvevent
