// What tests need of the system's sockets, under names that both platforms have.
#pragma once

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace zvevent::test {

using Socket = int;
inline constexpr int kUnknownService = EAI_SERVICE;

inline void StartSockets() {}
inline void CloseSocket(Socket socket) {
    ::close(socket);
}
inline int LastSocketError() {
    return errno;
}

}  // namespace zvevent::test
