// Where lines go that are meant for whoever is looking: to an attached debugger on Windows,
// elsewhere to the standard error. Called on the worker.
#pragma once

#include <string>

namespace zvevent {

// `line` ends with a line feed.
//
// On Linux it goes to whatever is the standard error at that moment, if that is meant for lines: a
// terminal or another character device, a pipe, a local socket, or a file that is open for writing
// only. Anything else that has taken the number, such as a network connection or a file that can be
// read as well, is left alone. A reader that has stopped reading loses lines instead of holding the
// worker.
void WriteDebugOutput(const std::string& line) noexcept;

}  // namespace zvevent
