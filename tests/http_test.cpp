#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "support/http_post.h"

namespace zvevent::test {
namespace {

using Peer = TcpServer::Peer;

// The header lines but those that the transport adds by itself.
std::vector<std::string> GivenLines(const std::string& request) {
    std::vector<std::string> lines;
    std::istringstream text(request.substr(0, request.find("\r\n\r\n")));
    for (std::string line; std::getline(text, line);) {
        line.erase(line.find_last_not_of(" \r") + 1);
        if (!line.starts_with("Host: ") && !line.starts_with("Content-Length: ") &&
            line != "Connection: Keep-Alive") {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(Http, StatusAndCompletenessDecide) {
    const struct {
        const char* name;
        const char* answer;
        bool good;
        const char* body;
    } cases[] = {
        {"200", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", true, "ok"},
        {"204", "HTTP/1.1 204 No Content\r\n\r\n", true, ""},
        {"299, chunked",
         "HTTP/1.1 299 x\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\nX-T: 1\r\n\r\n", true,
         "ok"},
        {"to the end", "HTTP/1.0 200 OK\r\n\r\nrest", true, "rest"},
        {"302", "HTTP/1.1 302 x\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n", false, ""},
        {"307", "HTTP/1.1 307 x\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n", false, ""},
        {"401", "HTTP/1.1 401 x\r\nWWW-Authenticate: Basic\r\nContent-Length: 0\r\n\r\n", false,
         ""},
        {"404", "HTTP/1.1 404 x\r\nContent-Length: 4\r\n\r\nnone", false, "none"},
        {"503", "HTTP/1.1 503 x\r\nContent-Length: 0\r\n\r\n", false, ""},
        {"half a body", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", false, "half"},
        {"nothing", "", false, ""},
        {"garbage", "\x01\x02\x03 garbage\r\n\r\n", false, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TcpServer server(AnsweringOnce(c.answer));
        const Outcome outcome = Post(server.Url() + "/path?q=1");
        EXPECT_EQ(outcome.good, c.good);
        EXPECT_EQ(outcome.body, c.body);
        for (const std::string& request : server.Requests()) {
            EXPECT_TRUE(request.starts_with("POST /path?q=1 HTTP/1.1\r\n"));
        }
    }
}

TEST(Http, SendsTheGivenLinesAndNoOther) {
    const struct {
        std::string headers;
        std::vector<std::string> lines;
    } cases[] = {
        {"", {}},
        {"Content-Type: application/json; charset=utf-8|"
         "Accept: application/json|User-Agent: zvEvent/1.0|X-zvEvent-TLS-Verify: 0|"
         "X-zvEvent-Connect-Timeout-Ms: 250|X-Empty:|Authorization: Bearer a|"
         "Authorization: Basic Yg==|x-zvevent-tls-verify: 1",
         {"Content-Type: application/json; charset=utf-8", "Accept: application/json",
          "User-Agent: zvEvent/1.0", "X-Empty:", "Authorization: Bearer a",
          "Authorization: Basic Yg=="}},
        {"Z: 1|| A: b:c;|no header|: no name|"
         "content-length: 9|Transfer-Encoding: x|Z: 2|",
         {"Z: 1", "A: b:c;", "Z: 2"}},
    };
    const std::string body("{\0\xA7}", 4);
    for (const auto& c : cases) {
        TcpServer server(Answering(kOk));
        ASSERT_TRUE(Post(server.Url(), c.headers, 20000, body).good);
        const std::string request = server.Requests().at(0);
        std::vector<std::string> expected = c.lines;
        expected.insert(expected.begin(), "POST / HTTP/1.1");
        EXPECT_EQ(GivenLines(request), expected) << request;
        EXPECT_TRUE(request.ends_with("\r\n\r\n" + body)) << request;
    }
}

TEST(Http, RefusesBeforeSending) {
    TcpServer server(Answering(kOk));
    const std::string url = server.Url();
    for (const char* headers : {"A: b\rC: d", "A: b\nC: d", "A: b\r\n\r\nGET /", "A: b\x01"}) {
        EXPECT_FALSE(Post(url, headers).good) << headers;
    }
    for (const std::string& bad : std::vector<std::string>{
             std::string("ftp").append(url, 4), "file:///etc/passwd", url + "/a b",
             url + "/\r\nA: b", std::string("http://user:word@").append(url, 7), "http://", ""}) {
        EXPECT_FALSE(Post(bad).good) << bad;
    }
    EXPECT_EQ(zvOSHTTPCommand(url.c_str(), "GET / HTTP/1.1\r\nA:", "", "", 0, nullptr, nullptr, 1),
              0u);
    EXPECT_EQ(zvOSHTTPCommand(nullptr, "GET", "", "", 0, nullptr, nullptr, 1), 0u);
    EXPECT_EQ(server.Connections(), 0);
    EXPECT_TRUE(Post(std::string("HTTP").append(url, 4)).good);
}

TEST(Http, TimeoutsHold) {
    const struct {
        const char* name;
        const char* scheme;
        const char* headers;
        std::uint32_t timeout_ms;
        TcpServer::Script script;
    } cases[] = {
        {"no answer", "http", "", 400, [](Peer& peer) { peer.WaitForClose(); }},
        {"header in drops", "http", "", 400,
         [](Peer& peer) {
             for (peer.Send("HTTP/1.1 200 OK\r\nX: "); !peer.ClosedWithin(20);)
                 peer.Send("x");
         }},
        {"body in drops", "http", "", 400,
         [](Peer& peer) {
             for (peer.Send("HTTP/1.1 200 OK\r\n\r\n"); !peer.ClosedWithin(20);)
                 peer.Send("x");
         }},
        {"no handshake", "https", "X-zvEvent-Connect-Timeout-Ms: 400", 30000,
         [](Peer& peer) { peer.WaitForClose(); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TcpServer server(c.script);
        const Outcome outcome = Post(server.Url(c.scheme), c.headers, c.timeout_ms);
        EXPECT_FALSE(outcome.good);
        EXPECT_GE(outcome.ms, 380);
        EXPECT_LT(outcome.ms, 3000);
    }
    TcpServer slow([](Peer& peer) {
        peer.ReadRequest();
        if (!peer.ClosedWithin(300)) peer.Send(kOk);
    });
    EXPECT_TRUE(Post(slow.Url()).good);
}

TEST(Http, KeepsNoMoreThanItsBoundOfAnEndlessAnswer) {
    for (const bool good : {true, false}) {
        TcpServer server([good](Peer& peer) {
            const std::string block(65536, 'x');
            peer.ReadRequest();
            peer.Send(good ? "HTTP/1.1 200 OK\r\n\r\n" : "HTTP/1.1 500 x\r\n\r\n");
            while (peer.Send(block)) {
            }
        });
        const Outcome outcome = Post(server.Url());
        EXPECT_EQ(outcome.good, good);
        EXPECT_EQ(outcome.body, std::string(1024 * 1024, 'x'));
    }
}

TEST(Http, KeepsConnectionsAndReplacesClosedOnes) {
    TcpServer keeping(Answering(kOk));
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(Post(keeping.Url()).good);
    EXPECT_EQ(keeping.Connections(), 1);

    TcpServer closing(AnsweringOnce(kOk));
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(Post(closing.Url()).good);
    EXPECT_EQ(closing.Requests().size(), 20u);
}

TEST(Http, ServesManyThreads) {
    TcpServer server(Answering(kOk));
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 12; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10; ++i)
                good += Post(server.Url()).body == "ok";
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(good, 120);
}

}  // namespace
}  // namespace zvevent::test
