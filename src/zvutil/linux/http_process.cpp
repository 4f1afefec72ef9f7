#include "zvutil/http_process.h"

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <mutex>

#include "platform/linux/signals_held.h"

namespace zvevent {
namespace {

// Held while libcurl starts, and over every fork: a child that began in the middle of the start
// could never finish it. Requests take it too, for a moment.
std::mutex start_mutex;
// Written once, under start_mutex:
void (*forget_in_child)() = nullptr;  // null before the start
bool started = false;
const char* certificates = nullptr;

void HoldStart() {
    start_mutex.lock();
}

void ReleaseStart() {
    start_mutex.unlock();
}

void ReleaseStartInChild() {
    ReleaseStart();
    if (forget_in_child != nullptr) forget_in_child();
}

// When the library is loaded: registered by the first request, a fork beside it would come too
// early.
[[maybe_unused]] const int fork_handlers =
    pthread_atfork(HoldStart, ReleaseStart, ReleaseStartInChild);

// OpenSSL would take itself down in an exit handler, which runs before earlier ones that still send
// and beside threads that do. libcurl may have been built with another TLS library: then there is
// no such function.
void KeepTlsUntilTheEnd() {
    constexpr std::uint64_t kNoExitHandler = 0x00080000;  // OPENSSL_INIT_NO_ATEXIT
    using InitCrypto = int (*)(std::uint64_t options, const void* settings);
    void* const symbol = dlsym(RTLD_DEFAULT, "OPENSSL_init_crypto");
    if (symbol != nullptr) reinterpret_cast<InitCrypto>(symbol)(kNoExitHandler, nullptr);
}

}  // namespace

bool StartHttpInProcess(bool (*start)(), void (*forget_connections)()) {
    const std::scoped_lock lock(start_mutex);
    if (forget_in_child == nullptr) {
        KeepTlsUntilTheEnd();
        started = start();
        const char* const file = secure_getenv("SSL_CERT_FILE");
        if (file != nullptr && *file != '\0') certificates = strdup(file);
        forget_in_child = forget_connections;
    }
    return started;
}

const char* TrustedCertificatesOfProcess() {
    return certificates;
}

std::intptr_t OpenHttpSocket(int family, int type, int protocol) {
    return socket(family, type | SOCK_CLOEXEC, protocol);
}

void WithConnectionSignalsHeld(const std::function<void()>& work) {
    const SignalsHeld held({SIGPIPE});
    work();
}

}  // namespace zvevent
