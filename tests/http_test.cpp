#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

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
    const std::tuple<std::string, bool, const char*> cases[] = {
        {"200 OK\r\nContent-Length: 2\r\n\r\nok", true, "ok"},
        {"204 No Content\r\n\r\n", true, ""},
        {"299 x\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\nX-T: 1\r\n\r\n", true, "ok"},
        {"200 OK\r\nConnection: close\r\n\r\nrest", true, "rest"},
        {"302 x\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n", false, ""},
        {"307 x\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n", false, ""},
        {"401 x\r\nWWW-Authenticate: Basic\r\nContent-Length: 0\r\n\r\n", false, ""},
        {"404 x\r\nContent-Length: 4\r\n\r\nnone", false, "none"},
        {"200 OK\r\nContent-Length: 9\r\n\r\nhalf", false, "half"},
        {"garbage\r\n\r\n", false, ""},
    };
    for (const auto& [answer, good, body] : cases) {
        TcpServer server(AnsweringOnce("HTTP/1.1 " + answer));
        const Outcome outcome = Post(server.Url() + "/path?q=1");
        EXPECT_EQ(outcome.good, good) << answer;
        EXPECT_EQ(outcome.body, body) << answer;
        for (const std::string& request : server.Requests()) {
            EXPECT_TRUE(request.starts_with("POST /path?q=1 HTTP/1.1\r\n")) << answer;
        }
    }
}

TEST(Http, SendsTheGivenLinesAndNoOther) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"", {"POST / HTTP/1.1"}},
        {"Content-Type: application/json; charset=utf-8|User-Agent: zvEvent/1.0|"
         "X-zvEvent-TLS-Verify: 0|X-zvEvent-Connect-Timeout-Ms: 250|X-Empty:|"
         "Authorization: Bearer a|Authorization: Basic Yg==|x-zvevent-tls-verify: 1",
         {"POST / HTTP/1.1", "Content-Type: application/json; charset=utf-8",
          "User-Agent: zvEvent/1.0", "X-Empty:", "Authorization: Bearer a",
          "Authorization: Basic Yg=="}},
        {"Z: 1|| A: b:c;|no header|: no name|content-length: 9|Transfer-Encoding: x|Z: 2|",
         {"POST / HTTP/1.1", "Z: 1", "A: b:c;", "Z: 2"}},
    };
    const std::string body("{\0\xA7}", 4);
    for (const auto& [headers, lines] : cases) {
        TcpServer server(Answering(kOk));
        ASSERT_TRUE(Post(server.Url(), headers, 20000, body).good);
        const std::string request = server.Requests().at(0);
        EXPECT_EQ(GivenLines(request), lines) << request;
        EXPECT_TRUE(request.ends_with("\r\n\r\n" + body)) << request;
    }
}

TEST(Http, RefusesBeforeSending) {
    TcpServer server(Answering(kOk));
    const std::string url = server.Url();
    for (const char* headers : {"A: b\rC: d", "A: b\nC: d", "A: b\r\n\r\nGET /", "A: b\x01"}) {
        EXPECT_FALSE(Post(url, headers).good) << headers;
    }
    for (const std::string& bad :
         {server.Url("ftp"), std::string("file:///etc/passwd"), url + "/a b", url + "/\r\nA: b",
          server.Url("http://user:word@").erase(17, 3), std::string("http://"), std::string()}) {
        EXPECT_FALSE(Post(bad).good) << bad;
    }
    EXPECT_EQ(zvOSHTTPCommand(url.c_str(), "GET / HTTP/1.1\r\nA:", "", "", 0, nullptr, nullptr, 1),
              0u);
    EXPECT_EQ(zvOSHTTPCommand(nullptr, "GET", "", "", 0, nullptr, nullptr, 1), 0u);
    EXPECT_EQ(server.Connections(), 0);
    EXPECT_TRUE(Post(server.Url("HTTP")).good);
}

TEST(Http, TimeoutsHold) {
    const auto drops = [](const char* start) {
        return [start](Peer& peer) {
            for (peer.Send(start); !peer.ClosedWithin(20);)
                peer.Send("x");
        };
    };
    const std::tuple<const char*, const char*, std::uint32_t, TcpServer::Script> cases[] = {
        {"http", "", 400, &Peer::WaitForClose},
        {"http", "", 400, drops("HTTP/1.1 200 OK\r\nX: ")},
        {"http", "", 400, drops("HTTP/1.1 200 OK\r\n\r\n")},
        {"https", "X-zvEvent-TLS-Verify: 0\xA7X-zvEvent-Connect-Timeout-Ms: 400", 30000,
         &Peer::WaitForClose},
    };
    for (const auto& [scheme, headers, timeout_ms, script] : cases) {
        TcpServer server(script);
        const Outcome outcome = Post(server.Url(scheme), headers, timeout_ms);
        EXPECT_FALSE(outcome.good);
        EXPECT_GE(outcome.ms, 380);
        EXPECT_LT(outcome.ms, 3000);
    }
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
    TcpServer closing(AnsweringOnce(kOk));
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(Post(keeping.Url()).good);
        EXPECT_TRUE(Post(closing.Url()).good);
    }
    EXPECT_EQ(keeping.Connections(), 1);
    EXPECT_EQ(closing.Requests().size(), 20u);
}

}  // namespace
}  // namespace zvevent::test
