#include "platform/worker_thread.h"

#include <pthread.h>

namespace zvevent {

std::thread StartWorkerThread(void (*body)(void*), void* context) {
    std::thread thread(body, context);
    pthread_setname_np(thread.native_handle(), "zvEvent");
    return thread;
}

}  // namespace zvevent
