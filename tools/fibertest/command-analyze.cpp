// fibertest analyze: the automatic analysis of a trace, its event table and summary.
#include <cstdio>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "auto/auto.h"
#include "auto/thresholds.h"
#include "commands.h"
#include "event-table.h"
#include "json-writer.h"
#include "sor/sor-block-key-events.h"
#include "trace-file.h"

namespace cli {

namespace {

// The thresholds of the INI file's section; a missing file or section is an input error, so that a typing
// mistake never runs the analysis on defaults unnoticed.
TTH thresholdsFrom(const std::string& path, const std::string& section)
{
    if (!std::ifstream(path))
        throw InputError("cannot read thresholds from '" + path + "'");
    TTH th(path.c_str());
    const char* name = section.empty() ? nullptr : section.c_str();
    if (!th.HasSection(name != nullptr ? name : "NON"))
        throw InputError("'" + path + "' has no section '" + (name != nullptr ? section : std::string("NON")) + "'");
    if (th.IniTH(name, "r") == 0)
        throw InputError("cannot read thresholds from '" + path + "'");
    return th;
}

int runAnalyze(const ParsedArgs& args, Context& context)
{
    if (args.has("section") && !args.has("ini"))
        throw UsageError("option '--section' needs '--ini'");
    std::optional<TTH> thresholds;
    if (args.has("ini"))
        thresholds = thresholdsFrom(args.value("ini"), args.value("section"));
    const LoadedTrace trace = loadTrace(args.positional()[0]);
    if (trace.truncated)
        context.err << "fibertest analyze: warning: '" << trace.path << "' ends early; analysing what there is\n";
    TSorData& data = *trace.data;

    TAuto analysis;
    const int done = thresholds ? analysis.AnalysisSorData(&data, &*thresholds) : analysis.Automat(&data, 0);
    if (done == 0)
        context.err << "fibertest analyze: warning: the analysis did not complete on '" << trace.path
                    << "'; the events shown are those it kept\n";
    if (args.has("output"))
        saveTrace(data, args.value("output"));

    const EventSummary summary = summariseEvents(data);
    if (args.has("json"))
        printEventTableJson(context.out, summary);
    else
        printEventTable(context.out, summary);
    return ExitDone;
}

} // namespace

Command analyzeCommand()
{
    Command c;
    c.name = "analyze";
    c.summary = "find the events of a trace automatically";
    c.description =
        "Runs the automatic analysis on the trace IN and prints the event table (number, code, km, loss,\n"
        "reflectance, attenuation of the fiber before the event, cumulative loss) and the summary (fiber\n"
        "length, total loss, ORL). The thresholds are the trace's own unless --ini names a thresholds file\n"
        "(with --section the section to read; \"NON\" without). -o saves the analysed trace.";
    c.options = {
        {"output", 'o', "OUT.sor", "where to save the analysed trace"},
        {"ini", 0, "FILE", "thresholds file"},
        {"section", 0, "NAME", "section of the thresholds file"},
        {"json", 0, "", "print JSON"},
    };
    c.positionals = {{"IN"}};
    c.run = runAnalyze;
    return c;
}

} // namespace cli
