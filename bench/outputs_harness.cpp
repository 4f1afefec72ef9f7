// Events a second by output, and what the same bytes cost without the library. Prints one JSON
// object with the nanoseconds an event.
//
//     PROGRAM syslog | snmp | webhook     the library, from the first submit to the end of a flush
//     PROGRAM sendto_syslog | sendto_snmp | curl    a bare loop that sends the same bytes
//     PROGRAM net_snmp                    the same traps by Net-SNMP's library
//     PROGRAM csv_floor                   rows of the same event on one thread, in 64 KiB blocks
//     PROGRAM write                       only the writing of those blocks
#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "config_text.h"
#include "format/csv_row.h"
#include "format/json_event.h"
#include "format/snmp_trap.h"
#include "format/syslog_message.h"
#include "net_snmp_loop.h"
#include "sample_record.h"
#include "temporary_path.h"
#include "zvEvent/zvEvent.h"

namespace {

using namespace zvevent::bench;
using Clock = std::chrono::steady_clock;

constexpr int kDatagrams = 100'000;
constexpr int kPosts = 10'000;
constexpr int kRows = 200'000;

// A socket on loopback that counts what arrives, on a thread of its own.
class Receiver {
public:
    explicit Receiver(int type) : socket_(::socket(AF_INET, type, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        constexpr int kBuffer = 64 << 20;
        setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &kBuffer, sizeof kBuffer);
        if (bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0) std::abort();
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        if (type == SOCK_STREAM && listen(socket_, 4) != 0) std::abort();
        std::thread(type == SOCK_STREAM ? &Receiver::Serve : &Receiver::Count, this).detach();
    }

    std::string port() const { return std::to_string(port_); }
    int arrived() const { return arrived_.load(); }

private:
    void Count() {
        char datagram[65536];
        while (recv(socket_, datagram, sizeof datagram, 0) >= 0)
            ++arrived_;
    }

    // Answers every request on one kept connection.
    void Serve() {
        static constexpr char kAnswer[] = "HTTP/1.1 204 No Content\r\n\r\n";
        for (;;) {
            const int connection = accept(socket_, nullptr, nullptr);
            std::string bytes;
            char piece[65536];
            for (ssize_t got; (got = recv(connection, piece, sizeof piece, 0)) > 0;) {
                bytes.append(piece, static_cast<std::size_t>(got));
                const std::size_t head = bytes.find("\r\n\r\n");
                const std::size_t length = bytes.find("Content-Length: ");
                if (head == std::string::npos || length == std::string::npos) continue;
                const auto body = static_cast<std::size_t>(std::atoi(&bytes[length + 16]));
                if (bytes.size() < head + 4 + body) continue;
                bytes.erase(0, head + 4 + body);
                ++arrived_;
                if (send(connection, kAnswer, sizeof kAnswer - 1, MSG_NOSIGNAL) < 0) break;
            }
            close(connection);
        }
    }

    int socket_;
    std::uint16_t port_ = 0;
    std::atomic<int> arrived_{0};
};

void Print(Clock::duration time, int events, int arrived) {
    std::printf("{\"median\":%.1f,\"submitted\":%d,\"dropped\":%d}\n",
                static_cast<double>(std::chrono::nanoseconds(time).count()) / events, events,
                events - arrived);
}

// `arrived` may lag behind a little.
int Settled(const Receiver& receiver, int expected) {
    for (int i = 0; i < 1000 && receiver.arrived() < expected; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return receiver.arrived();
}

void ThroughLibrary(const std::string& sinks, const Receiver& receiver, int events) {
    const auto path = TemporaryPath("outputs.xml");
    std::ofstream(path) << ConfigText(static_cast<unsigned>(events), sinks);
    if (zvEventInitialize(path.string().c_str()) != ZVEVENT_OK) std::abort();
    std::filesystem::remove(path);
    const zvEventRecord record = SampleRecord();
    const auto start = Clock::now();
    for (int i = 0; i < events; ++i)
        zvEventSubmit(&record);
    zvEventFlush(0);
    const auto time = Clock::now() - start;
    Print(time, events, Settled(receiver, events));
    zvEventShutdown();
}

std::string UdpSink(const std::string& kind, const std::string& name, const Receiver& receiver) {
    return Key(kind, Key(name, Key("main", Value("enabled", "1") + Value("host", "127.0.0.1") +
                                               Value("port", receiver.port()))));
}

void SendTo(const std::string& datagram, const Receiver& receiver) {
    const int sender = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(static_cast<std::uint16_t>(std::stoi(receiver.port())));
    const auto start = Clock::now();
    for (int i = 0; i < kDatagrams; ++i)
        sendto(sender, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&to),
               sizeof to);
    const auto time = Clock::now() - start;
    close(sender);
    Print(time, kDatagrams, Settled(receiver, kDatagrams));
}

void Syslog() {
    const Receiver receiver(SOCK_DGRAM);
    ThroughLibrary(UdpSink("syslog", "udp", receiver), receiver, kDatagrams);
}

void Snmp() {
    const Receiver receiver(SOCK_DGRAM);
    ThroughLibrary(UdpSink("snmp", "trap", receiver), receiver, kDatagrams);
}

void SendToSyslog() {
    std::string message;
    zvevent::SyslogOrigin(16, "host", "bench", "1").Format(SampleEvent(), message);
    SendTo(message, Receiver(SOCK_DGRAM));
}

void SendToSnmp() {
    std::string message;
    std::string error;
    zvevent::SnmpTrapFormatter("public", "1.3.6.1.4.1.32473", "1.3.6.1.4.1.32473.0.1")
        .Format(SampleEvent(), 1, message, error);
    SendTo(message, Receiver(SOCK_DGRAM));
}

#ifdef ZVEVENT_NET_SNMP
void NetSnmp() {
    const Receiver receiver(SOCK_DGRAM);
    const auto start = Clock::now();
    SendTrapsByNetSnmp(receiver.port(), kDatagrams);
    const auto time = Clock::now() - start;
    Print(time, kDatagrams, Settled(receiver, kDatagrams));
}
#endif

void Webhook() {
    const Receiver receiver(SOCK_STREAM);
    const std::string url = "http://127.0.0.1:" + receiver.port() + "/";
    ThroughLibrary(Key("webhook", Key("http", Key("main", Value("enabled", "1") +
                                                              Value("endpoint_url", url)))),
                   receiver, kPosts);
}

void Curl() {
    const Receiver receiver(SOCK_STREAM);
    const std::string body = zvevent::BuildNativeEventJson(SampleEvent());
    CURL* curl = curl_easy_init();
    curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    curl_easy_setopt(curl, CURLOPT_URL, ("http://127.0.0.1:" + receiver.port() + "/").c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    const auto start = Clock::now();
    for (int i = 0; i < kPosts; ++i) {
        if (curl_easy_perform(curl) != CURLE_OK) std::abort();
    }
    const auto time = Clock::now() - start;
    Print(time, kPosts, receiver.arrived());
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
}

// Writes kRows rows to a file, 64 KiB at a time; next_row(rows) appends one.
template <typename NextRow>
void WriteRows(NextRow&& next_row) {
    constexpr std::size_t kBlock = 64 * 1024;
    const auto path = TemporaryPath("rows.csv");
    const int file = open(path.string().c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (file < 0) std::abort();
    std::string rows;
    const auto write_rows = [&] {
        if (write(file, rows.data(), rows.size()) < 0) std::abort();
        rows.clear();
    };
    const auto start = Clock::now();
    for (int i = 0; i < kRows; ++i) {
        next_row(rows);
        if (rows.size() >= kBlock) write_rows();
    }
    write_rows();
    const auto time = Clock::now() - start;
    close(file);
    std::filesystem::remove(path);
    Print(time, kRows, kRows);
}

void CsvFloor() {
    zvEventNormalizedEvent event = SampleEvent();
    WriteRows([&](std::string& rows) {
        ++event.event_id;
        ++event.utc_ns;
        zvevent::AppendCsvRow(rows, event);
    });
}

void BareWrite() {
    std::string row;
    zvevent::AppendCsvRow(row, SampleEvent());
    WriteRows([&](std::string& rows) { rows += row; });
}

}  // namespace

int main(int argc, char** argv) {
    const std::map<std::string, std::function<void()>> scenarios = {
#ifdef ZVEVENT_NET_SNMP
        {"net_snmp", NetSnmp},
#endif
        {"syslog", Syslog},      {"sendto_syslog", SendToSyslog},
        {"snmp", Snmp},          {"sendto_snmp", SendToSnmp},
        {"webhook", Webhook},    {"curl", Curl},
        {"csv_floor", CsvFloor}, {"write", BareWrite}};
    const auto found = scenarios.find(argc == 2 ? argv[1] : "");
    if (found == scenarios.end()) return 2;
    found->second();
    // The receivers' threads end with the process.
    std::fflush(stdout);
    std::_Exit(0);
}
