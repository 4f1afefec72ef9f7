// zvevent outbox: what is in the file of an outbox that no process uses, and what to do with it.
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "base/severity.h"
#include "format/text.h"
#include "json_text.h"
#include "printable.h"
#include "sinks/outbox_store.h"
#include "subcommand.h"

namespace zvevent::tool {

namespace {

struct Options {
    std::string path;
    std::string drop;  // "refused", "pending" or "all"; empty: nothing
    bool retry = false;
    bool bodies = false;
    bool json = false;
};

std::string Time(std::uint64_t utc_ns) {
    constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;
    std::string text;
    if (utc_ns != 0) AppendUtcIso8601(text, utc_ns / kNanosPerSecond * kNanosPerSecond);
    return text;
}

nlohmann::ordered_json AsJson(const OutboxEvent& event) {
    nlohmann::ordered_json line = {{"id", event.id},
                                   {"severity", SeverityName(event.severity, "?")},
                                   {"put", Time(event.put_ns)}};
    if (event.status != 0) {
        line["status"] = event.status;
        line["refused"] = Time(event.refused_ns);
    }
    Json body;
    line["body"] = ParseJson(event.body, body).empty() ? body : Json(event.body);
    return line;
}

// In one line, for people.
std::string AsText(const OutboxEvent& event) {
    Json body;
    std::string message;
    if (ParseJson(event.body, body).empty() && body.is_object()) {
        const Json& document = body.contains("data") ? body["data"] : body;
        if (document.is_object() && document.contains("message") &&
            document["message"].is_string()) {
            message = document["message"].get<std::string>();
        }
    }
    std::string line = std::to_string(event.id) + "  " + Time(event.put_ns) + "  " +
                       std::string(SeverityName(event.severity, "?")) + "  ";
    line += event.status == 0
                ? "pending"
                : "refused with " + std::to_string(event.status) + " at " + Time(event.refused_ns);
    return line + "  " + Printable(message);
}

int Failed(const std::string& trouble) {
    std::cerr << "zvevent outbox: " << Printable(trouble) << '\n';
    return kExitBad;
}

int List(OutboxStore& store, const Options& options) {
    std::string trouble;
    const bool listed = store.ForEach(
        [&](const OutboxEvent& event) {
            if (options.bodies) {
                std::cout << event.body << '\n';
            } else if (options.json) {
                std::cout << AsJson(event).dump(-1, ' ', true, Json::error_handler_t::replace)
                          << '\n';
            } else {
                std::cout << AsText(event) << '\n';
            }
        },
        trouble);
    if (!listed) return Failed(trouble);
    if (!options.bodies && !options.json) {
        std::cout << store.counts().pending << " pending, " << store.counts().refused
                  << " refused\n";
    }
    return kExitGood;
}

int Run(const Options& options) {
    OutboxStore store;
    std::string trouble;
    if (!OutboxStore::IsBuiltIn()) return Failed("this build has no outbox");
    if (!store.OpenExisting(options.path, trouble)) return Failed(trouble);
    const OutboxCounts before = store.counts();
    if (options.retry) {
        if (!store.RetryRefused(trouble)) return Failed(trouble);
        std::cout << before.refused << " refused events are pending again\n";
        return kExitGood;
    }
    if (options.drop.empty()) return List(store, options);
    const bool pending = options.drop != "refused";
    const bool refused = options.drop != "pending";
    if (!store.Drop(pending, refused, trouble)) return Failed(trouble);
    std::cout << (pending ? before.pending : 0) << " pending and " << (refused ? before.refused : 0)
              << " refused events are gone\n";
    return kExitGood;
}

}  // namespace

Subcommand::Run ConfigureOutbox(CLI::App& command) {
    const auto options = std::make_shared<Options>();
    command.add_option("file", options->path, "the file that an output's setting outbox names")
        ->required();
    CLI::Option* const actions[] = {
        command.add_flag("--json", options->json, "list the events as JSON, an object a line"),
        command.add_flag("--export", options->bodies, "print their bodies, one a line"),
        command.add_flag("--retry", options->retry, "have the refused events sent again"),
        command.add_option("--drop", options->drop, "delete events: refused, pending or all")
            ->check(CLI::IsMember({"refused", "pending", "all"}))};
    for (CLI::Option* const one : actions)
        for (CLI::Option* const other : actions)
            if (one != other) one->excludes(other);
    command.footer(
        "The file must not be in use: stop the process that sends from it first.\n\n"
        "Examples:\n"
        "  zvevent outbox /var/lib/recorder/events.outbox\n"
        "  zvevent outbox events.outbox --export > left-behind.jsonl\n"
        "  zvevent outbox events.outbox --retry");
    return [options] { return Run(*options); };
}

}  // namespace zvevent::tool
