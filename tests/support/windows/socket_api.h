// The socket calls under the names that the tests' servers use. The one for POSIX is beside it.
#pragma once

#include <winsock2.h>

#include <ws2tcpip.h>

#include <string_view>

namespace zvevent::test {

using Socket = SOCKET;
inline constexpr Socket kNoSocket = INVALID_SOCKET;

inline void StartSockets() {
    WSADATA data;
    static const int started = WSAStartup(MAKEWORD(2, 2), &data);
    static_cast<void>(started);
}
inline void CloseSocket(Socket socket) {
    closesocket(socket);
}
// Bytes sent, or not more than 0.
inline auto SendSome(Socket socket, std::string_view bytes) {
    return send(socket, bytes.data(), static_cast<int>(bytes.size()), 0);
}

}  // namespace zvevent::test
