#include "exit/host.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

namespace zvevent::test {

namespace {
void* library = nullptr;
}

void OpenLibrary(const char* path) {
    library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void* Find(const char* name) {
    return dlsym(library, name);
}

void CloseLibrary() {
    dlclose(library);
}

int ForkAndRun(int (*child)()) {
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(20);  // waits at exit have limits of seconds each
        std::exit(child());
    }
    int status = -1;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ExitInSignalHandler(const std::atomic<int>& count, int from) {
    std::signal(SIGUSR1, [](int) { std::exit(7); });
    std::thread([&count, from, interrupted = pthread_self()] {
        while (count < from)
            std::this_thread::yield();
        pthread_kill(interrupted, SIGUSR1);
    }).detach();
}

void End(const char* way, int code) {
    if (way == std::string_view("thread")) pthread_exit(nullptr);
    if (way == std::string_view("quick")) std::quick_exit(code);
    execl("/bin/sh", "sh", "-c", ("exit " + std::to_string(code)).c_str(), nullptr);
    std::abort();
}

int OpenHandles() {
    return static_cast<int>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

const int kHandlesLeftByRuntime = 0;

const std::uint32_t kShutdownAtProcessEnd = 0;
const bool kEndsBeforeEarlierHandlers = true;

}  // namespace zvevent::test
