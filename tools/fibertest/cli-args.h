// Command-line arguments of the fibertest tool: what each option looks like, the
// parser, and the two errors a command can end with.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli {

// The arguments could not be understood: exit status 2.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The input could not be used (unreadable, malformed, inconsistent): exit
// status 1. The text is one line that says what failed and where.
class InputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct OptionSpec
{
    std::string longName;   // without the leading "--"
    char shortName = 0;     // 0 when the option has no short form
    std::string valueName;  // empty for a flag, else the placeholder in help ("FILE")
    std::string help;
    bool repeatable = false;
};

struct PositionalSpec
{
    std::string name;       // placeholder in help ("FILE")
    bool required = true;
    bool variadic = false;  // takes every remaining argument; only the last may be
};

// What the parser found, by option long name.
class ParsedArgs
{
public:
    [[nodiscard]] bool has(const std::string& option) const;
    // The last value given for the option, or `fallback` when it is absent.
    [[nodiscard]] std::string value(const std::string& option, const std::string& fallback = {}) const;
    // Every value given for a repeatable option, in order.
    [[nodiscard]] std::vector<std::string> values(const std::string& option) const;
    // A value that must be a whole number; a UsageError names the option otherwise.
    [[nodiscard]] long long integer(const std::string& option, long long fallback) const;
    // A value that must be a number.
    [[nodiscard]] double number(const std::string& option, double fallback) const;
    [[nodiscard]] const std::vector<std::string>& positional() const { return args; }

    void add(const std::string& option, const std::string& value);
    void addPositional(const std::string& value) { args.push_back(value); }

private:
    std::map<std::string, std::vector<std::string>> options;
    std::vector<std::string> args;
};

// Parses `argv` against the option and argument descriptions. Accepts "--name value",
// "--name=value", "-n value", flags, "--" ending the options, and "-" as a
// positional argument (standard input or output). Throws UsageError.
[[nodiscard]] ParsedArgs parseArgs(const std::vector<std::string>& argv,
                                   const std::vector<OptionSpec>& options,
                                   const std::vector<PositionalSpec>& positionals);

} // namespace cli
