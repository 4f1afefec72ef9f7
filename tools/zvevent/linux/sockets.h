// The system's sockets under names that both systems have.
#pragma once

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>

namespace zvevent::tool {

using Socket = int;
using SocketLength = socklen_t;
using BufferLength = std::size_t;
constexpr Socket kNoSocket = -1;

inline bool StartSockets() {
    return true;
}

inline void CloseSocket(Socket socket) {
    close(socket);
}

inline std::string SocketError() {
    return std::system_category().message(errno);
}

inline bool WaitReadable(Socket socket, int timeout_ms) {
    pollfd waiting{socket, POLLIN, 0};
    return poll(&waiting, 1, timeout_ms) > 0;
}

// A port that another program has is refused, and one that this program had a moment ago is not.
inline void TakePortAlone(Socket socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

}  // namespace zvevent::tool
