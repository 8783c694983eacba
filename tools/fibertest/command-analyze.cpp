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
#include "json-writer.h"
#include "sor/sor-block-key-events.h"
#include "trace-file.h"

namespace cli {

namespace {

// One row of the table, in the units people read.
struct EventRow
{
    int number = 0;
    std::string code;
    double km = 0.0;
    std::optional<double> lossDb;          // none at the end of the fiber
    std::optional<double> reflectanceDb;   // none when non-reflective
    std::optional<double> attenuation;     // dB/km of the fiber before it; none ahead of the first event
    double cumulativeDb = 0.0;             // fiber and events from the start to just behind it
};

struct Summary
{
    std::vector<EventRow> rows;
    std::optional<double> lengthKm;
    std::optional<double> totalLossDb;
    std::optional<double> orlDb;
};

bool marksEnd(const TSorBlockKeyEvents1E& e)
{
    return e.EC.length >= 2 && e.EC.data[1] == 'E';
}

Summary summarise(const TSorData& data)
{
    Summary s;
    const TSorBlockKeyEvents& table = *data.KeyEvents;
    double cumulative = 0.0;
    double previousKm = 0.0;
    for (int i = 0; i < table.Events.count; ++i) {
        const TSorBlockKeyEvents1E& e = *table.Events.data[i];
        EventRow row;
        row.number = e.EN;
        row.code = std::string(e.EC.data);
        row.km = owtToKm(data, e.EPT);
        if (!marksEnd(e))
            row.lossDb = (e.FullLoss != 0 ? e.FullLoss : e.EL) / 1000.0;
        // A code of kind "0" is non-reflective whatever ER holds; makers also write 0 or a far-out
        // value (such as the lowest int32) for "no reflectance".
        const bool codedFlat = e.EC.length >= 1 && e.EC.data[0] == '0';
        if (!codedFlat && e.ER < 0 && e.ER > -100000)
            row.reflectanceDb = e.ER / 1000.0;
        if (i > 0 || e.ACI != 0) {
            row.attenuation = e.ACI / 1000.0;
            cumulative += *row.attenuation * (row.km - previousKm);
        }
        cumulative += row.lossDb.value_or(0.0);
        row.cumulativeDb = cumulative;
        previousKm = row.km;
        s.rows.push_back(row);
        if (marksEnd(e) && !s.lengthKm)
            s.lengthKm = row.km;
    }
    if (!s.rows.empty()) {
        if (!s.lengthKm)
            s.lengthKm = s.rows.back().km;
        s.totalLossDb = table.EEL / 1000.0;
        s.orlDb = table.ORL / 1000.0;
    }
    return s;
}

std::string cell(const char* fmt, const std::optional<double>& v, int width)
{
    char text[64];
    if (v)
        std::snprintf(text, sizeof text, fmt, *v);
    else
        std::snprintf(text, sizeof text, "%*s", width, "-");
    return text;
}

void printText(std::ostream& out, const Summary& s)
{
    out << "   #  code        km        loss dB   refl dB  att dB/km  total dB\n";
    for (const EventRow& r : s.rows) {
        char row[200];
        std::snprintf(row, sizeof row, "%4d  %-6s  %10.5f  %8s  %8s  %9s  %8.3f\n", r.number, r.code.c_str(), r.km,
                      cell("%8.3f", r.lossDb, 8).c_str(), cell("%8.3f", r.reflectanceDb, 8).c_str(),
                      cell("%9.3f", r.attenuation, 9).c_str(), r.cumulativeDb);
        out << row;
    }
    out << "\nFiber length  " << cell("%.5f km", s.lengthKm, 1) << "\nTotal loss    "
        << cell("%.3f dB", s.totalLossDb, 1) << "\nORL           " << cell("%.3f dB", s.orlDb, 1) << "\n";
}

void optionalMember(JsonWriter& json, const char* key, const std::optional<double>& v)
{
    if (v)
        json.member(key, *v);
    else
        json.nullMember(key);
}

void printJson(std::ostream& out, const Summary& s)
{
    JsonWriter json(out);
    json.beginObject();
    optionalMember(json, "length_km", s.lengthKm);
    optionalMember(json, "total_loss_dB", s.totalLossDb);
    optionalMember(json, "orl_dB", s.orlDb);
    json.key("events");
    json.beginArray();
    for (const EventRow& r : s.rows) {
        json.beginObject();
        json.member("number", std::int64_t{r.number});
        json.member("code", r.code);
        json.member("km", r.km);
        optionalMember(json, "loss_dB", r.lossDb);
        optionalMember(json, "reflectance_dB", r.reflectanceDb);
        optionalMember(json, "attenuation_dB_per_km", r.attenuation);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    out << "\n";
}

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

    const Summary summary = summarise(data);
    if (args.has("json"))
        printJson(context.out, summary);
    else
        printText(context.out, summary);
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
