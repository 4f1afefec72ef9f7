// zvevent listen: receives what the library's network outputs send, and shows it.
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "listen/decode.h"
#include "listen/describe.h"
#include "listen/receivers.h"
#include "live/server.h"
#include "subcommand.h"
#include "terminal.h"

namespace zvevent::tool {

namespace {

struct Options {
    std::string address = "127.0.0.1";
    std::optional<std::uint16_t> syslog, snmp, http;
    std::uint64_t count = 0;  // 0: until told to end
    bool json = false;
    std::optional<std::uint16_t> web;
    std::string status_path;
};

class Listener {
public:
    explicit Listener(const Options& options) : options_(options) {}

    int Run() {
        if (!options_.syslog && !options_.snmp && !options_.http) {
            std::cerr << "zvevent: one of --syslog, --snmp and --http is required\n";
            return kExitUsage;
        }
        OnInterrupt([inbox = inbox_] { inbox->Close(); });
        try {
            Open(Protocol::kSyslog, options_.syslog);
            Open(Protocol::kSnmp, options_.snmp);
            Open(Protocol::kHttp, options_.http);
            OpenPage();
        } catch (const BindError& error) {
            std::cerr << "zvevent: " << error.what() << '\n';
            return kExitBad;
        }
        Show();
        receivers_.clear();
        page_.reset();
        if (inbox_->Forgotten() == 0) return std::cout.good() ? kExitGood : kExitBad;
        std::cerr << "zvevent: " << inbox_->Forgotten()
                  << " messages came faster than they were shown\n";
        return kExitBad;
    }

private:
    // Binds the port and says so: a script that asked for a free one reads which it became.
    void Open(Protocol protocol, std::optional<std::uint16_t> port) {
        if (!port) return;
        receivers_.push_back(protocol == Protocol::kHttp
                                 ? ReceiveHttp(options_.address, *port, *inbox_)
                                 : ReceiveUdp(protocol, options_.address, *port, *inbox_));
        const std::uint16_t bound = receivers_.back()->Port();
        const std::string name = ProtocolName(protocol);
        if (options_.json)
            std::cout << JsonLine(
                             {{"protocol", name}, {"listening", options_.address}, {"port", bound}})
                      << std::endl;
        else
            std::cout << "listening for " << name << " on " << options_.address << " port " << bound
                      << std::endl;
    }

    // Behind the receivers, so that who reads its address can send.
    void OpenPage() {
        if (!options_.web) return;
        page_ = ServeLive({options_.address, *options_.web, options_.status_path}, store_);
        const bool is_v6 = options_.address.find(':') != std::string::npos;
        const std::string url = "http://" +
                                (is_v6 ? "[" + options_.address + "]" : options_.address) + ":" +
                                std::to_string(page_->Port()) + "/";
        if (options_.json)
            std::cout << JsonLine({{"protocol", "web"}, {"page", url}, {"port", page_->Port()}})
                      << std::endl;
        else
            std::cout << "the live page is " << url << std::endl;
    }

    void Show() {
        for (std::uint64_t shown = 0; options_.count == 0 || shown < options_.count; ++shown) {
            const std::optional<Received> received = inbox_->Take();
            if (!received) return;
            Json message = Decode(*received);
            if (options_.json)
                std::cout << JsonLine(message) << '\n';
            else if (!page_)
                std::cout << Describe(message, paint_);
            if (page_) {
                store_.SetLost(inbox_->Forgotten());
                store_.Add(std::move(message));
            }
            if (!inbox_->HasMore()) std::cout.flush();
            if (!std::cout) return;  // nobody reads any more
        }
        std::cout.flush();
    }

    const Options& options_;
    const Painter paint_ = Painter::ForOutput();
    // Outlives this object, since the wish to end may come at any time.
    const std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
    std::vector<std::unique_ptr<Receiver>> receivers_;
    LiveStore store_;
    std::unique_ptr<LiveServer> page_;  // instead of lines for people
};

}  // namespace

Subcommand::Run ConfigureListen(CLI::App& command) {
    const auto options = std::make_shared<Options>();
    const auto add_port = [&](const char* name, std::optional<std::uint16_t>& port,
                              const char* what) {
        command.add_option(name, port, what)->type_name("PORT")->group("Ports, at least one");
    };
    add_port("--syslog", options->syslog, "receive syslog (RFC 5424) on this UDP port");
    add_port("--snmp", options->snmp, "receive SNMP v2c traps on this UDP port");
    add_port("--http", options->http, "receive posted documents on this TCP port");
    command.add_option("--bind", options->address, "address to listen on, IPv4 or IPv6")
        ->type_name("ADDRESS")
        ->capture_default_str();
    command.add_option("--count", options->count, "end after so many messages")->type_name("N");
    command.add_flag("--json", options->json, "one JSON object a line, for scripts");
    command
        .add_option("--web", options->web,
                    "show it in the browser: serve the live page on this TCP port (8090)")
        ->type_name("PORT")
        ->expected(0, 1)
        ->default_str("8090")
        ->group("Live page");
    command
        .add_option("--status", options->status_path,
                    "with --web: a status file to show (core\\status_file)")
        ->type_name("FILE")
        ->group("Live page");
    command.footer(
        R"(Port 0 takes a free one; the first lines say which. Ctrl-C ends. The exit code is 1 when a port
could not be had or messages were lost here, 2 for a wrong command line.

Examples:
  zvevent listen --syslog 5140 --snmp 1162 --http 8080
  zvevent listen --syslog 5140 --json --count 10 | jq .event.message
  zvevent listen --syslog 5140 --bind ::
  zvevent listen --syslog 5140 --snmp 1162 --http 8080 --web)");
    return [options] { return Listener(*options).Run(); };
}

}  // namespace zvevent::tool
