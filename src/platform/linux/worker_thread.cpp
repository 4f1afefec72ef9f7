#include "platform/worker_thread.h"

#include <pthread.h>
#include <signal.h>

#include <thread>

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

class Thread final : public WorkerThread {
public:
    Thread(void (*body)(void*), void* context) {
        const SignalsBlocked blocked;
        thread_ = std::thread([body, context] {
            const CancellationShield shield;
            body(context);
        });
        pthread_setname_np(thread_.native_handle(), "zvEvent");
    }
    void Join() override { thread_.join(); }

private:
    std::thread thread_;
};

}  // namespace

std::unique_ptr<WorkerThread> StartWorkerThread(void (*body)(void*), void* context) {
    return std::make_unique<Thread>(body, context);
}

}  // namespace zvevent
