#include "cli-app.h"

#include <algorithm>
#include <exception>
#include <ostream>
#include <sstream>

#include "util/version.h"

namespace cli {

namespace {

const OptionSpec helpOption{"help", 'h', "", "show this help and exit"};

std::string usageLine(const Command& c)
{
    std::string line = "fibertest " + c.name;
    if (!c.options.empty())
        line += " [options]";
    for (const auto& p : c.positionals) {
        std::string piece = p.name + (p.variadic ? "..." : "");
        line += " " + (p.required ? piece : "[" + piece + "]");
    }
    return line;
}

std::string optionLabel(const OptionSpec& o)
{
    std::string label = o.shortName ? std::string("-") + o.shortName + ", " : "    ";
    label += "--" + o.longName;
    if (!o.valueName.empty())
        label += " " + o.valueName;
    return label;
}

const Command* findCommand(const std::string& name)
{
    for (const auto& c : commands())
        if (c.name == name)
            return &c;
    return nullptr;
}

std::string tryHelpHint(const std::string& command)
{
    return command.empty() ? "Try 'fibertest --help'." : "Try 'fibertest " + command + " --help'.";
}

int usageError(Context& context, const std::string& command, const std::string& message)
{
    context.err << "fibertest: " << message << "\n" << tryHelpHint(command) << "\n";
    return ExitUsage;
}

int runCommand(const Command& command, const std::vector<std::string>& args, Context& context)
{
    std::vector<OptionSpec> options = command.options;
    options.push_back(helpOption);
    try {
        const auto optionsEnd = std::find(args.begin(), args.end(), "--");
        if (std::find(args.begin(), optionsEnd, "--help") != optionsEnd ||
            std::find(args.begin(), optionsEnd, "-h") != optionsEnd) {
            // Help wins over whatever else is on the line, even a mistake.
            context.out << commandHelp(command);
            return ExitDone;
        }
        const ParsedArgs parsed = parseArgs(args, options, command.positionals);
        return command.run(parsed, context);
    } catch (const UsageError& e) {
        return usageError(context, command.name, e.what());
    } catch (const InputError& e) {
        context.err << "fibertest " << command.name << ": " << e.what() << "\n";
        return ExitBadInput;
    } catch (const std::bad_alloc&) {
        context.err << "fibertest " << command.name << ": out of memory\n";
        return ExitBadInput;
    } catch (const std::exception& e) {
        // Anything else the library throws on hostile input is still an
        // input that could not be used, reported on one line.
        context.err << "fibertest " << command.name << ": " << e.what() << "\n";
        return ExitBadInput;
    }
}

} // namespace

std::string overallHelp()
{
    std::ostringstream s;
    s << "Usage: fibertest <command> [options] [arguments]\n"
         "\n"
         "Reads, writes, analyses and simulates OTDR traces (SR-4731 \"SOR\" files)\n"
         "and builds maps of fiber links from them.\n"
         "\n"
         "Commands:\n";
    std::size_t width = 0;
    for (const auto& c : commands())
        width = std::max(width, c.name.size());
    for (const auto& c : commands())
        s << "  " << c.name << std::string(width - c.name.size() + 3, ' ') << c.summary << "\n";
    s << "\n"
         "Options:\n"
         "  -h, --help     show this help (after a command: that command's help)\n"
         "      --version  print the version and exit\n"
         "\n"
         "Exit status: 0 done, 1 the input could not be used, 2 usage error.\n"
         "Run 'fibertest <command> --help' for the options of a command.\n";
    return s.str();
}

std::string commandHelp(const Command& command)
{
    std::ostringstream s;
    s << "Usage: " << usageLine(command) << "\n\n" << command.description << "\n";
    std::vector<OptionSpec> options = command.options;
    options.push_back(helpOption);
    std::size_t width = 0;
    for (const auto& o : options)
        width = std::max(width, optionLabel(o).size());
    s << "\nOptions:\n";
    for (const auto& o : options)
        s << "  " << optionLabel(o) << std::string(width - optionLabel(o).size() + 3, ' ') << o.help << "\n";
    return s.str();
}

int run(const std::vector<std::string>& args, Context& context)
{
    if (args.empty()) {
        context.err << overallHelp();
        return ExitUsage;
    }
    const std::string& first = args.front();
    if (first == "--help" || first == "-h") {
        context.out << overallHelp();
        return ExitDone;
    }
    if (first == "--version") {
        context.out << "fibertest " << FIBERTEST_VERSION << "\n";
        return ExitDone;
    }
    if (first == "help") {
        if (args.size() == 1) {
            context.out << overallHelp();
            return ExitDone;
        }
        const Command* command = findCommand(args[1]);
        if (command == nullptr)
            return usageError(context, "", "unknown command '" + args[1] + "'");
        context.out << commandHelp(*command);
        return ExitDone;
    }
    if (!first.empty() && first[0] == '-')
        return usageError(context, "", "unknown option '" + first + "'");
    const Command* command = findCommand(first);
    if (command == nullptr)
        return usageError(context, "", "unknown command '" + first + "'");
    return runCommand(*command, std::vector<std::string>(args.begin() + 1, args.end()), context);
}

} // namespace cli
