// Starts the library's own thread the way a guest in someone else's process should.
#pragma once

#include <thread>

namespace zvevent {

// Starts a thread that runs `body(context)`: named "zvEvent" in debuggers, and on POSIX with every
// signal blocked, so that the application's signals go to the application's threads, and not to be
// cancelled from outside. Throws std::system_error when the system gives no thread.
std::thread StartWorkerThread(void (*body)(void*), void* context);

}  // namespace zvevent
