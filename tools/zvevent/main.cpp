// zvevent, the command-line tool: reads the command line and runs the subcommand that it names.
#include <algorithm>
#include <exception>
#include <iostream>

#include "subcommand.h"
#include "terminal.h"

namespace zvevent::tool {
namespace {

constexpr Subcommand kSubcommands[] = {
    {"init", "write a configuration file with every setting, each explained", ConfigureInit},
    {"check", "tell what the library makes of a configuration file", ConfigureCheck},
    {"send", "submit events as an application does", ConfigureSend},
    {"listen", "receive and show what the network outputs send", ConfigureListen},
    {"outbox", "list, export, retry or drop what waits in an outbox", ConfigureOutbox},
    {"status", "show a status file as a table", ConfigureStatus},
};

int Run(std::vector<std::string> arguments) {
    CLI::App tool("Sends events through the zvEvent library and looks at what it does.", "zvevent");
    tool.set_version_flag("--version", ZVEVENT_TOOL_VERSION);
    tool.require_subcommand(1);
    tool.footer("zvevent SUBCOMMAND --help shows its options, with examples.");

    std::function<int()> run;
    for (const Subcommand& subcommand : kSubcommands) {
        CLI::App* const command = tool.add_subcommand(subcommand.name, subcommand.summary);
        command->callback([&run, chosen = subcommand.configure(*command)] { run = chosen; });
    }
    std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
    try {
        tool.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return tool.exit(error) == 0 ? kExitGood : kExitUsage;
    }
    return run();
}

}  // namespace
}  // namespace zvevent::tool

int main(int argc, char** argv) {
    try {
        return zvevent::tool::Run(zvevent::tool::BeginProcess(argc, argv));
    } catch (const std::exception& error) {
        std::cerr << "zvevent: " << error.what() << '\n';
        return zvevent::tool::kExitBad;
    }
}
