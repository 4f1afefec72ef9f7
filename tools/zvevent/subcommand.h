// What a subcommand of the tool is made of. A subcommand's file defines one function of the type
// Subcommand::Configure, which is declared here and stands in the table of main.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace zvevent::tool {

// Exit codes of every subcommand.
constexpr int kExitGood = 0;
constexpr int kExitBad = 1;    // it ran and something was wrong
constexpr int kExitUsage = 2;  // the command line is wrong; nothing was done

struct Subcommand {
    using Run = std::function<int()>;

    // Adds options, examples (the footer) and checks to `command`, and returns what runs it once
    // the command line has been read: its result is the exit code. What the options are read into
    // lives as long as that function.
    using Configure = Run (*)(CLI::App& command);

    const char* name;
    const char* summary;  // one line, no full stop
    Configure configure;
};

Subcommand::Run ConfigureCheck(CLI::App& command);
Subcommand::Run ConfigureInit(CLI::App& command);
Subcommand::Run ConfigureSend(CLI::App& command);
Subcommand::Run ConfigureListen(CLI::App& command);
Subcommand::Run ConfigureOutbox(CLI::App& command);
Subcommand::Run ConfigureStatus(CLI::App& command);

}  // namespace zvevent::tool
