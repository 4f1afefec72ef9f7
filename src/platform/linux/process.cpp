#include "platform/process.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "platform/linux/signals_held.h"

namespace zvevent {

namespace {

void (*registered_drain)() = nullptr;
// Not that of a child which was made without the library's knowledge and has no worker.
std::atomic<pid_t> registered_pid{0};

void RunDrain() {
    if (getpid() == registered_pid) registered_drain();
}

}  // namespace

void DrainAtExit(void (*drain)()) {
    registered_pid = getpid();
    if (registered_drain != nullptr) return;
    registered_drain = drain;
    if (std::atexit(RunDrain) == 0) return;
    registered_drain = nullptr;
    throw std::bad_alloc();
}

void InChildAfterFork(void (*renew)()) {
    if (pthread_atfork(nullptr, nullptr, renew) != 0) throw std::bad_alloc();
}

void AroundFork(void (*before)(), void (*in_parent)(), void (*in_child)()) {
    if (pthread_atfork(before, in_parent, in_child) != 0) throw std::bad_alloc();
}

void WithFileSignalsHeld(const std::function<void()>& work) {
    const SignalsHeld held({SIGXFSZ});
    work();
}

bool ProcessEnds() {
    return false;
}

void ReleaseAtUnload(void (*)()) {}

}  // namespace zvevent
