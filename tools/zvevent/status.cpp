// zvevent status: the status file that the library keeps when core\status_file is set, as a table.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "json_text.h"
#include "printable.h"
#include "subcommand.h"
#include "terminal.h"

namespace zvevent::tool {

namespace {

constexpr auto kLookPeriod = std::chrono::milliseconds(500);

struct Options {
    std::string path;
    bool watch = false;
};

// Rows of cells in columns; the first column and the last are texts, the others numbers.
class Table {
public:
    void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

    std::string Text() const {
        std::vector<std::size_t> widths(rows_.front().size());
        for (const auto& row : rows_)
            for (std::size_t i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], row[i].size());
        std::string text;
        for (const auto& row : rows_) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                const std::string gap(widths[i] - row[i].size(), ' ');
                const bool is_last = i + 1 == row.size();
                text += i == 0 ? row[i] + gap : is_last ? "  " + row[i] : "  " + gap + row[i];
            }
            text += '\n';
        }
        return text;
    }

private:
    std::vector<std::vector<std::string>> rows_;
};

std::string Number(const Json& object, const char* name) {
    return std::to_string(object.value(name, std::uint64_t{0}));
}

std::string String(const Json& object, const char* name) {
    return Printable(object.value(name, ""));
}

// "name 3, name 4", without those that are 0.
std::string Counts(const Json& object, std::initializer_list<const char*> names) {
    std::string text;
    for (const char* const name : names)
        if (object.value(name, std::uint64_t{0}) != 0)
            text.append(text.empty() ? "" : ", ")
                .append(name)
                .append(" ")
                .append(Number(object, name));
    return text.empty() ? "none" : text;
}

// The table, and whether something in it asks for attention.
struct Report {
    std::string text;
    bool is_good = true;
};

class StatusWriter {
public:
    // Throws Json's exceptions when members are missing or of another type.
    static Report Write(const Json& status, const Painter& paint) {
        StatusWriter writer(paint);
        writer.WriteProcess(status);
        writer.WriteConfiguration(status.at("config"));
        writer.WriteEvents(status);
        writer.WriteOutputs(status.at("outputs"));
        return std::move(writer.report_);
    }

private:
    explicit StatusWriter(const Painter& paint) : paint_(paint) {}

    void Line(const std::string& name, const std::string& text) {
        std::string label = name;
        label.resize(15, ' ');
        report_.text.append(label).append(text).append("\n");
    }

    void Warn(const std::string& name, const std::string& text) {
        Line(name, paint_(Colour::kRed, text));
        report_.is_good = false;
    }

    void WriteProcess(const Json& status) {
        Line("process", Number(status, "pid") + " on " + String(status, "host") + ", zvEvent " +
                            String(status, "version"));
        Line("started", String(status, "started"));
        Line("written", String(status, "written"));
        if (!status.at("initialized").get<bool>()) Line("state", "shut down");
    }

    void WriteConfiguration(const Json& config) {
        Line("configuration", String(config, "path") + ", " + Number(config, "reloads") +
                                  " reloads" +
                                  (config.value("enabled", true) ? "" : ", core\\enabled is off"));
        const std::string error = String(config, "last_error");
        if (!error.empty()) Warn("reload failed", error);
        for (const Json& key : config.at("unknown_keys"))
            Warn("unknown key", Printable(key.get<std::string>()));
    }

    void WriteEvents(const Json& status) {
        const Json& events = status.at("events");
        Line("events", Counts(events, {"received", "processed", "queued", "in_hand"}));
        Line("dropped", Counts(events.at("dropped"),
                               {"filtered", "full", "evicted", "purged", "suppressed", "memory"}));
        const Json& queue = status.at("queue");
        Line("queue", Number(queue, "depth") + " of " + Number(queue, "capacity") + ", at most " +
                          Number(queue, "high_water"));
        Line("active alerts", Number(status.at("alerts"), "active"));
    }

    // What an outbox keeps; empty: nothing, or there is none.
    static std::string Waiting(const Json& output) {
        if (!output.contains("outbox")) return {};
        const Json& outbox = output.at("outbox");
        if (Number(outbox, "pending") == "0") return {};
        return Number(outbox, "pending") + " wait in the outbox since " + String(outbox, "oldest");
    }

    void WriteOutputs(const Json& outputs) {
        Table table;
        table.Add({"output", "delivered", "below", "failed", "fallback", "state"});
        for (const Json& output : outputs) {
            const bool failing = output.value("failing", false);
            const std::string error = String(output, "last_error");
            const std::string waiting = Waiting(output);
            const std::string state =
                failing            ? paint_(Colour::kRed, "failing: " + error)
                : !waiting.empty() ? waiting + "; " + error
                : error.empty()    ? paint_(Colour::kGreen, "good")
                                   : "good again; " + String(output, "last_error_at") + " " + error;
            report_.is_good = report_.is_good && !failing;
            table.Add({String(output, "output"), Number(output, "delivered"),
                       Number(output, "below_severity"), Number(output, "failed"),
                       Number(output, "fallback"), state});
        }
        report_.text.append("\n").append(table.Text());
    }

    const Painter& paint_;
    Report report_;
};

Report Describe(const std::string& text, const Painter& paint) {
    Json status;
    const std::string error = ParseJson(text, status);
    if (!error.empty()) return {error + " (a file that ends in .prom is for Prometheus)\n", false};
    try {
        return StatusWriter::Write(status, paint);
    } catch (const Json::exception&) {
        return {"not a status file of the library\n", false};
    }
}

Report Look(const std::string& path, const Painter& paint) {
    // UTF-8 on every system.
    std::ifstream file(std::filesystem::path(std::u8string(path.begin(), path.end())),
                       std::ios::binary);
    if (!file) return {Printable(path) + " cannot be read\n", false};
    return Describe({std::istreambuf_iterator<char>(file), {}}, paint);
}

// Shows every change, on a terminal in place of what stands there. Ends with the process.
void Watch(const std::string& path, const Painter& paint) {
    const bool clears = IsTerminal(Stream::kOutput);
    for (std::string shown;; std::this_thread::sleep_for(kLookPeriod)) {
        const std::string text = Look(path, paint).text;
        if (text == shown) continue;
        std::cout << (clears ? "\x1b[H\x1b[2J" : shown.empty() ? "" : "\n") << text << std::flush;
        if (!std::cout) return;
        shown = text;
    }
}

int Run(const Options& options) {
    const Painter paint = Painter::ForOutput();
    if (options.watch) {
        Watch(options.path, paint);
        return kExitBad;
    }
    const Report report = Look(options.path, paint);
    std::cout << report.text;
    return report.is_good ? kExitGood : kExitBad;
}

}  // namespace

Subcommand::Run ConfigureStatus(CLI::App& command) {
    const auto options = std::make_shared<Options>();
    command.add_option("file", options->path, "what core\\status_file names")
        ->type_name("FILE")
        ->required();
    command.add_flag("--watch", options->watch, "show every change until Ctrl-C");
    command.footer(
        R"(The exit code is 1 when the file cannot be read, an output is failing, the last reload failed or the
configuration has unknown keys.

Examples:
  zvevent status /run/recorder/status.json
  zvevent status --watch status.json)");
    return [options] { return Run(*options); };
}

}  // namespace zvevent::tool
