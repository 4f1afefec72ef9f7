// Where lines go that are meant for whoever is looking: to an attached debugger on Windows,
// elsewhere to the standard error. Called on the worker.
#pragma once

#include <string>

namespace zvevent {

// `line` ends with a line feed.
//
// On POSIX only what was the standard error when the library was loaded is written to: once the
// process has closed it, or has put another file in its place, lines are dropped, since that file
// may be anything. A reader that has stopped reading loses lines instead of holding the worker.
void WriteDebugOutput(const std::string& line) noexcept;

}  // namespace zvevent
