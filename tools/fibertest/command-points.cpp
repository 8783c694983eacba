// fibertest points: the trace as CSV, one row a point.
#include <cstdio>
#include <ostream>

#include "commands.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "trace-file.h"

namespace cli {

namespace {

int runPoints(const ParsedArgs& args, Context& context)
{
    const LoadedTrace trace = loadTrace(args.positional()[0], true);
    if (trace.truncated)
        context.err << "fibertest points: warning: '" << trace.path << "' ends early; showing what there is\n";
    const TSorData& data = *trace.data;
    std::ostream& out = context.out;
    out << "km,dB\n";
    const long points = data.DataPts->GetPointsNum();
    char row[64];
    for (long n = 0; n < points; ++n) {
        const int length = std::snprintf(row, sizeof row, "%.6f,%.3f\n", owtToKm(data, data.FxdParams->NumToOwt(n)),
                                         data.NumToLevel(n));
        out.write(row, length);
    }
    return ExitDone;
}

} // namespace

Command pointsCommand()
{
    Command c;
    c.name = "points";
    c.summary = "print the trace as CSV: km,dB";
    c.description =
        "Prints the trace's points as CSV on standard output: a header line \"km,dB\", then one row a\n"
        "point with its distance from the user offset in km and its level in dB.";
    c.positionals = {{"FILE"}};
    c.run = runPoints;
    return c;
}

} // namespace cli
