// What a request leaves behind in the process, and answers that Wine's WinHTTP reads otherwise than
// the real one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "support/http_post.h"

namespace zvevent::test {
namespace {

std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(HttpProcess, InformationIsPassedOverAndCutAnswersFail) {
    TcpServer informing(
        AnsweringOnce("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 x\r\nLink: </>\r\n\r\n" + kOk));
    EXPECT_EQ(Post(informing.Url()).body, "ok");
    for (const char* answer : {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nhalf",
                               "HTTP/1.1 200 OK\r\nContent-Le"}) {
        TcpServer server(AnsweringOnce(answer));
        EXPECT_FALSE(Post(server.Url()).good) << answer;
    }
}

TEST(HttpProcess, FailingRequestsLeaveNoDescriptorBehind) {
    TcpServer failing(AnsweringOnce("HTTP/1.1 500 x\r\nContent-Length: 9\r\n\r\n"));
    TcpServer closing([](TcpServer::Peer&) {});
    const std::string refusing = TcpServer([](TcpServer::Peer&) {}).Url();
    std::ptrdiff_t before = 0;
    for (int i = 0; i < 250; ++i) {
        for (const std::string& url : {failing.Url(), closing.Url("https"), refusing})
            EXPECT_FALSE(Post(url, "X-zvEvent-TLS-Verify: 0", 2000).good);
        if (i == 0) before = OpenDescriptors();
    }
    EXPECT_LE(OpenDescriptors(), before + 2);  // the server may be closing its last ones
}

TEST(HttpProcess, ClosedConnectionsRaiseNoSignal) {
    const auto former = signal(SIGPIPE, SIG_DFL);  // would end the process
    TcpServer server([](TcpServer::Peer&) {});
    const std::string large(4 << 20, 'x');
    for (int i = 0; i < 20; ++i)
        EXPECT_FALSE(Post(server.Url(), "", 5000, large).good);
    signal(SIGPIPE, former);
}

TEST(HttpProcess, ForkedChildUsesConnectionsOfItsOwnAndNoneOutlivesExec) {
    TcpServer server(Answering(kOk));
    ASSERT_TRUE(Post(server.Url()).good);
    const pid_t child = fork();
    if (child == 0) _exit(Post(server.Url()).good && Post(server.Url()).good ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(Post(server.Url()).good);
    EXPECT_EQ(server.Connections(), 2);

    int found = 0;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
            server.Url().ends_with(std::to_string(ntohs(peer.sin_port)))) {
            EXPECT_TRUE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
            ++found;
        }
    }
    EXPECT_EQ(found, 1);
}

}  // namespace
}  // namespace zvevent::test
