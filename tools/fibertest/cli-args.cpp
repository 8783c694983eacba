#include "cli-args.h"

#include <cerrno>
#include <cstdlib>

namespace cli {

bool ParsedArgs::has(const std::string& option) const
{
    return options.count(option) != 0;
}

std::string ParsedArgs::value(const std::string& option, const std::string& fallback) const
{
    const auto it = options.find(option);
    return it == options.end() ? fallback : it->second.back();
}

std::vector<std::string> ParsedArgs::values(const std::string& option) const
{
    const auto it = options.find(option);
    return it == options.end() ? std::vector<std::string>{} : it->second;
}

long long ParsedArgs::integer(const std::string& option, long long fallback) const
{
    if (!has(option))
        return fallback;
    const std::string text = value(option);
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno == ERANGE)
        throw UsageError("option '--" + option + "' needs a whole number, not '" + text + "'");
    return v;
}

double ParsedArgs::number(const std::string& option, double fallback) const
{
    if (!has(option))
        return fallback;
    const std::string text = value(option);
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE)
        throw UsageError("option '--" + option + "' needs a number, not '" + text + "'");
    return v;
}

void ParsedArgs::add(const std::string& option, const std::string& value)
{
    options[option].push_back(value);
}

namespace {

const OptionSpec* findLong(const std::vector<OptionSpec>& options, const std::string& name)
{
    for (const auto& o : options)
        if (o.longName == name)
            return &o;
    return nullptr;
}

const OptionSpec* findShort(const std::vector<OptionSpec>& options, char name)
{
    for (const auto& o : options)
        if (o.shortName != 0 && o.shortName == name)
            return &o;
    return nullptr;
}

void checkPositionals(const std::vector<std::string>& given, const std::vector<PositionalSpec>& specs)
{
    std::size_t required = 0;
    bool variadic = false;
    for (const auto& p : specs) {
        if (p.required)
            ++required;
        variadic = variadic || p.variadic;
    }
    if (given.size() < required) {
        for (std::size_t i = given.size(); i < specs.size(); ++i)
            if (specs[i].required)
                throw UsageError("missing argument " + specs[i].name);
    }
    if (!variadic && given.size() > specs.size())
        throw UsageError("unexpected argument '" + given[specs.size()] + "'");
}

} // namespace

ParsedArgs parseArgs(const std::vector<std::string>& argv, const std::vector<OptionSpec>& options,
                     const std::vector<PositionalSpec>& positionals)
{
    ParsedArgs parsed;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < argv.size(); ++i) {
        const std::string& arg = argv[i];
        if (optionsEnded || arg == "-" || arg.empty() || arg[0] != '-') {
            parsed.addPositional(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const OptionSpec* spec = nullptr;
        std::string inlineValue;
        bool hasInlineValue = false;
        std::string shown;
        if (arg.compare(0, 2, "--") == 0) {
            std::string name = arg.substr(2);
            const auto eq = name.find('=');
            if (eq != std::string::npos) {
                inlineValue = name.substr(eq + 1);
                hasInlineValue = true;
                name.resize(eq);
            }
            spec = findLong(options, name);
            shown = "--" + name;
        } else if (arg.size() == 2) {
            spec = findShort(options, arg[1]);
            shown = arg;
        } else {
            // Short options are not bundled: "-o" takes its value separately.
            shown = arg;
        }
        if (spec == nullptr)
            throw UsageError("unknown option '" + shown + "'");
        if (spec->valueName.empty()) {
            if (hasInlineValue)
                throw UsageError("option '" + shown + "' takes no value");
            parsed.add(spec->longName, "");
            continue;
        }
        if (!spec->repeatable && parsed.has(spec->longName))
            throw UsageError("option '" + shown + "' is given more than once");
        if (!hasInlineValue) {
            if (i + 1 >= argv.size())
                throw UsageError("option '" + shown + "' needs a value " + spec->valueName);
            inlineValue = argv[++i];
        }
        parsed.add(spec->longName, inlineValue);
    }
    checkPositionals(parsed.positional(), positionals);
    return parsed;
}

} // namespace cli
