// What the configuration subcommands ask the system about a file. Paths are UTF-8.
#pragma once

#include <string>

namespace zvevent::tool {

// Creates an empty file where there is none; otherwise, and on a failure, returns why not.
std::string CreateEmptyFile(const std::string& path);

// Whether every user of the system may read the file. Never on Windows, where it is not looked at.
bool EveryoneMayRead(const std::string& path);

}  // namespace zvevent::tool
