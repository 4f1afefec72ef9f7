#include "platform/append_file.h"

#include <chrono>
#include <thread>

namespace zvevent {

namespace {

// Who is alone writes a header or looks at the last row, and then shares: milliseconds, unless its
// process was stopped amid that.
constexpr int kTries = 250;
constexpr std::chrono::milliseconds kPause{1};

}  // namespace

void AppendFile::WaitForLock() {
    alone_ = false;
    Locked locked = Locked::kTaken;
    for (int i = 0; IsOpen() && locked == Locked::kTaken && i < kTries; ++i) {
        if (i != 0) std::this_thread::sleep_for(kPause);
        locked = TryLock();
    }
    alone_ = locked == Locked::kAlone;
}

}  // namespace zvevent
