// The system's sockets under names that both systems have.
#pragma once

#include <winsock2.h>
// After winsock2.h, which it needs.
#include <ws2tcpip.h>

#include <string>
#include <system_error>

namespace zvevent::tool {

using Socket = SOCKET;
using SocketLength = int;
using BufferLength = int;
constexpr Socket kNoSocket = INVALID_SOCKET;

inline bool StartSockets() {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

inline void CloseSocket(Socket socket) {
    closesocket(socket);
}

inline std::string SocketError() {
    return std::system_category().message(WSAGetLastError());
}

inline bool WaitReadable(Socket socket, int timeout_ms) {
    WSAPOLLFD waiting{socket, POLLRDNORM, 0};
    return WSAPoll(&waiting, 1, timeout_ms) > 0;
}

// A port that another program has is refused, even one that shares its own.
inline void TakePortAlone(Socket socket) {
    const char on[sizeof(int)] = {1};
    setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, on, sizeof on);
}

}  // namespace zvevent::tool
