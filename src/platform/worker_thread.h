// The library's own thread, run the way a guest in someone else's process should.
#pragma once

#include <memory>

namespace zvevent {

class WorkerThread {
public:
    WorkerThread() = default;
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;
    virtual ~WorkerThread() = default;

    // Waits until the body has returned, or the thread was ended by force. On Windows the thread
    // itself may still be on its way out, so that this can be called while the loader's lock is
    // held: by the destructor of a DLL's global object. Once.
    virtual void Join() = 0;
};

// Starts a thread that runs `body(context)`: named "zvEvent" in debuggers. On POSIX every signal is
// blocked there, so that the application's signals go to the application's threads, and it cannot
// be cancelled from outside. On Windows it keeps this library loaded until it has ended. Throws
// std::system_error when the system gives no thread.
std::unique_ptr<WorkerThread> StartWorkerThread(void (*body)(void*), void* context);

}  // namespace zvevent
