// What tests need of the system's sockets, under names that both platforms have.
#pragma once

#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zvevent::test {

using Socket = int;
inline constexpr int kUnknownService = EAI_SERVICE;

inline void StartSockets() {}
inline void CloseSocket(Socket socket) {
    ::close(socket);
}

}  // namespace zvevent::test
