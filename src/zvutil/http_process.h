// What the HTTP client needs of the process that it is a guest in, and what must not reach the
// application. Any thread.
#pragma once

#include <cstdint>
#include <functional>

namespace zvevent {

// Calls `start` if nobody has yet, here or in the process that this one was forked from, and
// returns what it returned. Until the end of the process then
// - a child is never forked while `start` runs, and calls `forget_connections` as its first act:
// they
//   are its parent's (POSIX);
// - the TLS library stays usable in the exit handlers of others (POSIX);
// - this library stays loaded, as a thread of libcurl's that looks up a name may outlive its
// request
//   (Windows; elsewhere it is linked to stay).
bool StartHttpInProcess(bool (*start)(), void (*forget_connections)());

// A file of trusted certificates that the environment names; null: the system's store.
const char* TrustedCertificatesOfProcess();

// A socket that programs started by the application do not inherit, or -1.
std::intptr_t OpenHttpSocket(int family, int type, int protocol);

// Runs `work` so that a connection whose other end is gone raises no signal.
void WithConnectionSignalsHeld(const std::function<void()>& work);

}  // namespace zvevent
