#include "terminal.h"

#include <signal.h>
#include <unistd.h>

#include <thread>
#include <utility>

namespace zvevent::tool {

std::vector<std::string> BeginProcess(int argc, char** argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

bool IsTerminal(Stream stream) {
    constexpr int kDescriptors[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    return isatty(kDescriptors[static_cast<int>(stream)]) != 0;
}

// The signals are held in every thread but the one that waits for them.
void OnInterrupt(std::function<void()> stop) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals, stop = std::move(stop)] {
        int signal = 0;
        sigwait(&signals, &signal);
        stop();
    }).detach();
}

}  // namespace zvevent::tool
