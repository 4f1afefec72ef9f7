// The process's surroundings: its arguments and its standard streams. Called from the main thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zvevent::tool {

// The arguments without the program's name, as UTF-8 on Windows and as the bytes they are
// elsewhere. Also lets the standard streams carry UTF-8 and colours where they are a Windows
// console, and line feeds alone where they are not.
std::vector<std::string> BeginProcess(int argc, char** argv);

enum class Stream { kInput, kOutput, kError };

// Whether a person sits at the other end.
bool IsTerminal(Stream stream);

// From now on the user's wish to end (Ctrl-C, and SIGTERM where there is one) calls `stop`, on a
// thread of its own, instead of ending the process. To be called before any other thread is
// started, once.
void OnInterrupt(std::function<void()> stop);

}  // namespace zvevent::tool
