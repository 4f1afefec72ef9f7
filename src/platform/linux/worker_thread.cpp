#include "platform/worker_thread.h"

#include <pthread.h>
#include <signal.h>

#include "platform/cancellation_shield.h"

namespace zvevent {

namespace {

// A new thread inherits the mask of the one that starts it: blocks everything for that moment.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
            sigdelset(&all, fault);  // a fault on the worker is to be seen, not to be lost
        }
        pthread_sigmask(SIG_SETMASK, &all, &former_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t former_;
};

}  // namespace

std::thread StartWorkerThread(void (*body)(void*), void* context) {
    const SignalsBlocked blocked;
    std::thread thread([body, context] {
        const CancellationShield shield;
        body(context);
    });
    pthread_setname_np(thread.native_handle(), "zvEvent");
    return thread;
}

}  // namespace zvevent
