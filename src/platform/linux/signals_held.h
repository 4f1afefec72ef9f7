// Writing to a pipe or socket without a reader raises SIGPIPE, and a write beyond the process's
// file size limit SIGXFSZ: left alone, both would end the application. While one of these objects
// lives the given signals are held back on the calling thread, and what the work in between raised
// there is taken away.
#pragma once

#include <signal.h>

#include <cerrno>
#include <ctime>
#include <initializer_list>

namespace zvevent {

class SignalsHeld {
public:
    explicit SignalsHeld(std::initializer_list<int> signals) {
        sigset_t pending;
        sigpending(&pending);
        sigset_t held;
        sigemptyset(&held);
        sigemptyset(&ours_);
        for (const int signal : signals) {
            sigaddset(&held, signal);
            if (sigismember(&pending, signal) == 0) sigaddset(&ours_, signal);
        }
        pthread_sigmask(SIG_BLOCK, &held, &former_mask_);
    }
    ~SignalsHeld() {
        constexpr timespec kNoWait{};
        while (sigtimedwait(&ours_, nullptr, &kNoWait) > 0 || errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &former_mask_, nullptr);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t ours_;  // not pending before
    sigset_t former_mask_;
};

}  // namespace zvevent
