#include "exit/process.h"

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>

namespace zvevent::test {

const int kHandlesLeftByRuntime = 0;

void ExitProcessNow(int code) {
    std::exit(code);
}

bool EndThread() {
    pthread_exit(nullptr);
}

int ForkAndExit(int code) {
    const pid_t child = fork();
    if (child == 0) std::exit(code);
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int OpenHandles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<int>(std::distance(begin(files), end(files)));
}

}  // namespace zvevent::test
