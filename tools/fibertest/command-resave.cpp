// fibertest resave and fibertest edit: load a trace and save it again,
// changing at most its descriptive fields.
#include <ostream>
#include <string>

#include "commands.h"
#include "sor/sor-block-general-parameters.h"
#include "trace-file.h"

namespace cli {

namespace {

// A text field goes out NUL-terminated and comes back read to at most 1024
// bytes, so longer values would not survive the next load.
constexpr std::size_t maxTextBytes = 1023;

LoadedTrace loadWhole(const std::string& path)
{
    LoadedTrace trace = loadTrace(path);
    if (trace.truncated)
        throw InputError("'" + path + "' ends early; not saving a copy of a truncated trace");
    return trace;
}

int runResave(const ParsedArgs& args, Context&)
{
    LoadedTrace trace = loadWhole(args.positional()[0]);
    saveTrace(*trace.data, args.positional()[1]);
    return ExitDone;
}

struct EditField
{
    const char* option;
    TString TSorBlockGeneralParameters::*field;
    const char* help;
};

const EditField editFields[] = {
    {"cable-id", &TSorBlockGeneralParameters::CID, "cable ID"},
    {"fiber-id", &TSorBlockGeneralParameters::FID, "fiber ID"},
    {"origin", &TSorBlockGeneralParameters::OL, "originating location"},
    {"terminus", &TSorBlockGeneralParameters::TL, "terminating location"},
    {"operator", &TSorBlockGeneralParameters::OP, "operator"},
    {"comment", &TSorBlockGeneralParameters::CMT, "comment"},
};

int runEdit(const ParsedArgs& args, Context&)
{
    bool any = false;
    for (const EditField& f : editFields) {
        if (!args.has(f.option))
            continue;
        any = true;
        if (args.value(f.option).size() > maxTextBytes)
            throw UsageError(std::string("option '--") + f.option + "' takes at most " +
                             std::to_string(maxTextBytes) + " bytes");
    }
    if (!any)
        throw UsageError("nothing to change: give at least one of --cable-id, --fiber-id, --origin, --terminus, "
                         "--operator, --comment");
    LoadedTrace trace = loadWhole(args.positional()[0]);
    for (const EditField& f : editFields)
        if (args.has(f.option))
            (*trace.data->GenParams).*(f.field) = TString(args.value(f.option).c_str());
    saveTrace(*trace.data, args.positional()[1]);
    return ExitDone;
}

} // namespace

Command resaveCommand()
{
    Command c;
    c.name = "resave";
    c.summary = "load a trace and save it again";
    c.description =
        "Loads IN and saves it as OUT, and nothing else: blocks in this library's order, foreign blocks\n"
        "unchanged, a fresh Map and checksum. OUT is written through a temporary file, so a failure\n"
        "leaves nothing half-written. IN and OUT may be the same file.";
    c.positionals = {{"IN"}, {"OUT"}};
    c.run = runResave;
    return c;
}

Command editCommand()
{
    Command c;
    c.name = "edit";
    c.summary = "change the cable, fiber, route, operator or comment of a trace";
    c.description =
        "Loads IN, changes the descriptive fields given, and saves the result as OUT (which may be IN).\n"
        "The measurement itself is not touched. At least one option is needed.";
    for (const EditField& f : editFields)
        c.options.push_back({f.option, 0, "TEXT", std::string("new ") + f.help});
    c.positionals = {{"IN"}, {"OUT"}};
    c.run = runEdit;
    return c;
}

} // namespace cli
