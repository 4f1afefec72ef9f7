// What tests need of the system's sockets, under names that both platforms have.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

namespace zvevent::test {

using Socket = SOCKET;
inline constexpr int kUnknownService = WSATYPE_NOT_FOUND;

inline void StartSockets() {
    WSADATA data;
    ::WSAStartup(MAKEWORD(2, 2), &data);
}
inline void CloseSocket(Socket socket) {
    ::closesocket(socket);
}

}  // namespace zvevent::test
