// The fibertest tool's frame: its commands, help, version and exit status.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "cli-args.h"

namespace cli {

// Exit status of the tool.
enum ExitStatus {
    ExitDone = 0,
    ExitBadInput = 1,  // the input could not be used; one line on standard error
    ExitUsage = 2      // the command line could not be understood
};

// What a command writes to. `progress` is true when standard error is a
// terminal, so that long work may show how far it has come.
struct Context
{
    std::ostream& out;
    std::ostream& err;
    bool progress = false;
};

struct Command
{
    std::string name;
    std::string summary;      // one line, shown in the list of commands
    std::string description;  // shown by the command's own --help
    std::vector<OptionSpec> options;
    std::vector<PositionalSpec> positionals;
    // Returns the exit status; throws InputError or UsageError to end with one.
    std::function<int(const ParsedArgs&, Context&)> run;
};

// Every command of the tool, in the order the help lists them.
[[nodiscard]] const std::vector<Command>& commands();

[[nodiscard]] std::string overallHelp();
[[nodiscard]] std::string commandHelp(const Command& command);

// Runs the tool on its arguments (without the program name) and returns the
// exit status; never throws.
[[nodiscard]] int run(const std::vector<std::string>& args, Context& context);

} // namespace cli
