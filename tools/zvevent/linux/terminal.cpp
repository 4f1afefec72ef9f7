#include "terminal.h"

#include <unistd.h>

namespace zvevent::tool {

std::vector<std::string> BeginProcess(int argc, char** argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

bool IsTerminal(Stream stream) {
    constexpr int kDescriptors[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    return isatty(kDescriptors[static_cast<int>(stream)]) != 0;
}

}  // namespace zvevent::tool
