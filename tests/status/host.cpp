// An application that does as its standard input says, a line a step, answers each with the result
// code, and prints the library's reports about itself as its callback receives them; of the other
// events, whose messages are numbers that count up, only after "number FIRST".
//
//     init PATH | number FIRST | submit COUNT SEVERITY | alerts COUNT SEVERITY | hold | release
//     | flush MS | reload | shutdown
//
// Of alerts every fourth event begins a new one, which the third after it ends.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include "zvEvent/zvEvent.h"

namespace {

std::mutex output_mutex;
std::atomic<bool> held{false};
std::atomic<std::uint32_t> next_number{0};
std::atomic<bool> prints_events{false};

void Say(const std::string& line) {
    const std::scoped_lock lock(output_mutex);
    std::cout << line << std::endl;
}

void OnEvent(const zvEventRecord* event, void*) {
    while (held.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::ostringstream line;
    if (!std::string_view(event->event_type).starts_with("zvevent.")) {
        if (!prints_events) return;
        line << "event\t" << event->message;
        return Say(line.str());
    }
    line << "report\t" << event->action << '\t' << event->event_type << '\t' << event->source_id
         << '\t' << event->severity << '\t' << event->message << '\t' << event->details_json;
    Say(line.str());
}

std::uint32_t Submit(std::uint32_t count, std::uint32_t severity, bool are_alerts) {
    static constexpr const char* kActions[] = {"raise", "update", "repeat", "clear"};
    std::uint32_t worst = ZVEVENT_OK;
    zvEventRecord record = zvEventRecordInit();
    record.event_type = "simple";
    record.source_name = "host";
    record.severity = severity;
    std::string source;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string message = std::to_string(next_number++);
        record.message = message.c_str();
        if (are_alerts) {
            if (i % 4 == 0) source = message;
            record.source_id = source.c_str();
            record.action = kActions[i % 4];
        }
        const std::uint32_t result = zvEventSubmit(&record);
        if (result != ZVEVENT_OK) worst = result;
    }
    return worst;
}

std::uint32_t Do(std::istringstream& step) {
    std::string word, path;
    std::uint32_t number = 0;
    std::uint32_t severity = 0;
    step >> word;
    if (word == "init") {
        std::uint32_t id = 0;
        std::getline(step >> std::ws, path);
        zvEventRegisterCallback(OnEvent, nullptr, &id);
        return zvEventInitialize(path.c_str());
    }
    if (word == "number" && step >> number) {
        next_number = number;
        prints_events = true;
        return ZVEVENT_OK;
    }
    if ((word == "submit" || word == "alerts") && step >> number >> severity)
        return Submit(number, severity, word == "alerts");
    if (word == "flush" && step >> number) return zvEventFlush(number);
    if (word == "reload") return zvEventReloadConfig(nullptr);
    if (word == "shutdown") return zvEventShutdown();
    held = word == "hold";
    return ZVEVENT_OK;
}

}  // namespace

int main() {
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream step(line);
        Say("done\t" + std::to_string(Do(step)));
    }
}
