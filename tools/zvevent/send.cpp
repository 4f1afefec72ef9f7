// zvevent send: events from options or from JSON lines, submitted as an application submits them.
#include <atomic>
#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "printable.h"
#include "record_fields.h"
#include "subcommand.h"
#include "terminal.h"

namespace zvevent::tool {

namespace {

using Clock = std::chrono::steady_clock;

// After so many lines the queue is let run empty: it holds 1024 events by default, and what does
// not fit is dropped without a word.
constexpr std::uint64_t kLinesAtOnce = 100;
constexpr auto kProgressPeriod = std::chrono::milliseconds(200);

struct Options {
    std::string config;
    std::uint32_t timeout_s = 20;
    Event event;  // what the options say; the beginning of every line's event
};

// What reached the outputs. The library's own reports are none of ours.
std::atomic<std::uint64_t> delivered_events{0};
void CountDelivered(const zvEventRecord* event, void* /*unused*/) {
    if (!std::string_view(event->event_type).starts_with("zvevent.")) ++delivered_events;
}

std::string LastError() {
    char text[2048] = "";
    zvEventGetLastError(text, sizeof text);
    return text;
}

class Sender {
public:
    explicit Sender(const Options& options) : options_(options) {}

    int Run() {
        std::uint32_t callback = 0;
        zvEventRegisterCallback(CountDelivered, nullptr, &callback);
        if (!Succeeded(zvEventInitialize(options_.config.c_str()))) return kExitBad;
        if (options_.event.HasMessage())
            Submit(options_.event);
        else
            SubmitLines(std::cin);
        Flush();
        Succeeded(zvEventShutdown());
        Summarize();
        return good_ ? kExitGood : kExitBad;
    }

private:
    bool Succeeded(std::uint32_t result) {
        if (result != ZVEVENT_OK) Complain(LastError());
        return result == ZVEVENT_OK;
    }

    void Complain(const std::string& what) {
        good_ = false;
        EndProgress();
        std::cerr << "zvevent: ";
        if (lines_ != 0) std::cerr << "line " << lines_ << ": ";
        std::cerr << Printable(what) << '\n';
    }

    bool Flush() { return Succeeded(zvEventFlush(options_.timeout_s * 1000)); }

    void Submit(Event event) {
        if (Succeeded(zvEventSubmit(&event.Record())))
            ++submitted_;
        else
            ++refused_;
    }

    void SubmitLine(const std::string& line) {
        Event event = options_.event;
        Json object;
        std::string error = ParseJson(line, object);
        if (error.empty()) error = event.SetAll(object);
        if (error.empty()) return Submit(std::move(event));
        ++refused_;
        Complain(error);
    }

    // Ends early when a flush fails: what comes after it would only be dropped.
    void SubmitLines(std::istream& input) {
        for (std::string line; std::getline(input, line);) {
            ++lines_;
            if (line.find_first_not_of(" \t\r") != std::string::npos) SubmitLine(line);
            if (lines_ % kLinesAtOnce == 0 && !Flush()) break;
            ShowProgress();
        }
        EndProgress();
    }

    double Seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

    void ShowProgress() {
        if (!shows_progress_ || Clock::now() - shown_ < kProgressPeriod) return;
        shown_ = Clock::now();
        std::cerr << '\r' << submitted_ << " submitted, " << refused_ << " refused, "
                  << static_cast<std::uint64_t>(static_cast<double>(submitted_) / Seconds())
                  << " a second " << std::flush;
    }

    void EndProgress() {
        if (shown_ != Clock::time_point()) std::cerr << '\n';
        shown_ = {};
    }

    void Summarize() const {
        std::cout << "submitted " << submitted_ << ", refused " << refused_ << ", delivered "
                  << delivered_events;
        if (lines_ != 0)
            std::cout << ", "
                      << static_cast<std::uint64_t>(static_cast<double>(submitted_) / Seconds())
                      << " a second";
        std::cout << '\n';
        if (delivered_events < submitted_)
            std::cout
                << "what was not delivered was held back by a minimum_severity, the alert state "
                   "or a full queue\n";
    }

    const Options& options_;
    const bool shows_progress_ = IsTerminal(Stream::kError);
    const Clock::time_point start_ = Clock::now();
    Clock::time_point shown_{};
    std::uint64_t lines_ = 0;
    std::uint64_t submitted_ = 0;
    std::uint64_t refused_ = 0;
    bool good_ = true;
};

}  // namespace

Subcommand::Run ConfigureSend(CLI::App& command) {
    const auto options = std::make_shared<Options>();
    command.add_option("--config", options->config, "configuration file, as the library reads it")
        ->type_name("FILE")
        ->required();
    command.add_option("--timeout", options->timeout_s, "seconds to wait for the outputs")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    for (const RecordField& field : RecordFields())
        command
            .add_option_function<std::string>(
                "--" + std::string(field.option),
                [options, &field](const std::string& text) {
                    const std::string error = options->event.Set(field, text);
                    if (!error.empty()) throw CLI::ValidationError(error);
                },
                std::string(field.help))
            ->group("The event");
    command.footer(
        R"(Without --message the events come from the standard input, one JSON object a line;
options then hold for every line that does not say otherwise. The exit code is 0 when all were
accepted and flushed, 1 when not, 2 for a wrong command line.

Examples:
  zvevent send --config events.xml --severity warning --type temperature --source psu-1 \
      --action raise --message "Power supply 1 is too hot" --value 81.5 --threshold 75 --units C
  echo '{"type":"temperature","message":"Cool again","action":"clear"}' |
      zvevent send --config events.xml --source psu-1)");
    return [options] { return Sender(*options).Run(); };
}

}  // namespace zvevent::tool
