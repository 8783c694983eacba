// fibertest evaluate: how well the events of an analysed simulated trace match
// the true ones.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>

#include "commands.h"
#include "json-writer.h"
#include "sim/sim-evaluate.h"
#include "sim/sim-link.h"
#include "trace-file.h"

namespace cli {

namespace {

// A truth file lists at most some thousands of events; refuse anything far larger unread.
constexpr long long maxTruthBytes = 64LL << 20;

std::string format(const char* fmt, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, fmt, value);
    return text;
}

std::string percent(double ratio)
{
    return std::isnan(ratio) ? std::string("-") : format("%.1f %%", 100.0 * ratio);
}

std::string optional(const char* fmt, const std::optional<double>& v)
{
    return v ? format(fmt, *v) : std::string("-");
}

const char* verdictName(SimFoundVerdict v)
{
    switch (v) {
    case SimFoundVerdict::Hit:
        return "hit";
    case SimFoundVerdict::Undetectable:
        return "not required";
    case SimFoundVerdict::False:
        break;
    }
    return "false";
}

void stats(std::ostream& out, const char* label, const SimErrorStats& s, const char* fmt, const char* unit)
{
    out << label << std::string(13 - std::strlen(label), ' ');
    if (s.count == 0) {
        out << "no events\n";
        return;
    }
    out << "95 % within " << format(fmt, s.p95Abs) << unit << ", mean " << format(fmt, s.meanAbs) << unit
        << ", max " << format(fmt, s.maxAbs) << unit << " (" << s.count << (s.count == 1 ? " event)\n" : " events)\n");
}

void printText(std::ostream& out, const SimTruth& truth, const SimEvaluation& r)
{
    out << "Tolerance    " << format("%.5f km", r.toleranceKm) << " (pulse length "
        << format("%.5f km", r.pulseLengthKm) << ")\n";
    out << "Recall       " << percent(r.recall) << " (" << r.hits << " of " << r.detectable
        << " detectable events found)\n";
    out << "Precision    " << percent(r.precision) << " (" << r.found.size() << " found: " << r.hits << " hits, "
        << r.falseEvents << " false, " << r.matchedUndetectable << " at events not required)\n";
    stats(out, "Location", r.location, "%.5f", " km");
    stats(out, "Loss", r.loss, "%.3f", " dB");
    stats(out, "Reflectance", r.reflectance, "%.2f", " dB");
    if (r.reflectanceMissing > 0)
        out << "             " << r.reflectanceMissing << " reflective events reported as non-reflective\n";
    if (r.reflectanceSaturated > 0)
        out << "             " << r.reflectanceSaturated << " saturated peaks, their reflectance a lower bound\n";
    if (r.endFound)
        out << "End          " << format("%.5f km", r.endKm) << ", error " << format("%+.5f km", r.endErrorKm)
            << (r.endWithinTolerance ? ", within" : ", outside") << " the tolerance\n";
    else
        out << "End          not found\n";
    out << "Beyond end   " << r.beyondEnd << (r.beyondEnd == 1 ? " event\n" : " events\n");

    out << "\nTrue events:\n   #  kind        km          loss dB   refl dB  over noise  found  error km  detectable\n";
    for (std::size_t t = 0; t < truth.events.size(); ++t) {
        const SimTruthEvent& e = truth.events[t];
        const SimTrueEventResult& v = r.trueEvents[t];
        const std::string found =
            v.matchedFound >= 0 ? std::to_string(r.found[static_cast<std::size_t>(v.matchedFound)].number) : "-";
        char row[200];
        std::snprintf(row, sizeof row, "%4zu  %-10s  %10.5f  %8s  %8s  %10.1f  %5s  %8s  %s\n", t + 1,
                      e.kind.substr(0, 10).c_str(), e.km, optional("%.3f", e.lossDb).c_str(),
                      optional("%.2f", e.reflectanceDb).c_str(), v.levelAboveNoiseDb, found.c_str(),
                      optional("%+.5f", v.locationErrorKm).c_str(), v.detectable ? "yes" : v.whyNot.c_str());
        out << row;
    }
    out << "\nFound events:\n   #  km          loss dB   refl dB  verdict\n";
    for (const SimFoundEvent& f : r.found) {
        char row[160];
        std::snprintf(row, sizeof row, "%4d  %10.5f  %8.3f  %8s  %s%s\n", f.number, f.km, f.lossDb,
                      optional("%.2f", f.reflectanceDb).c_str(), verdictName(f.verdict),
                      f.beyondEnd ? ", beyond the end" : "");
        out << row;
    }
}

void optionalMember(JsonWriter& json, const char* key, const std::optional<double>& v)
{
    if (v)
        json.member(key, *v);
    else
        json.nullMember(key);
}

void statsMember(JsonWriter& json, const char* key, const SimErrorStats& s)
{
    json.key(key);
    json.beginObject();
    json.member("count", std::int64_t{s.count});
    json.member("mean_abs", s.meanAbs);
    json.member("p95_abs", s.p95Abs);
    json.member("max_abs", s.maxAbs);
    json.endObject();
}

void printJson(std::ostream& out, const SimTruth& truth, const SimEvaluation& r)
{
    JsonWriter json(out);
    json.beginObject();
    json.member("tolerance_km", r.toleranceKm);
    json.member("pulse_length_km", r.pulseLengthKm);
    json.member("true_events", static_cast<std::int64_t>(truth.events.size()));
    json.member("detectable", std::int64_t{r.detectable});
    json.member("found", static_cast<std::int64_t>(r.found.size()));
    json.member("hits", std::int64_t{r.hits});
    json.member("matched_not_required", std::int64_t{r.matchedUndetectable});
    json.member("false", std::int64_t{r.falseEvents});
    json.member("beyond_end", std::int64_t{r.beyondEnd});
    json.member("reflectance_missing", std::int64_t{r.reflectanceMissing});
    json.member("reflectance_saturated", std::int64_t{r.reflectanceSaturated});
    json.member("recall", r.recall);  // NaN goes out as null
    json.member("precision", r.precision);
    statsMember(json, "location_error_km", r.location);
    statsMember(json, "loss_error_dB", r.loss);
    statsMember(json, "reflectance_error_dB", r.reflectance);
    json.key("end");
    json.beginObject();
    json.member("found", r.endFound);
    json.member("km", r.endFound ? r.endKm : std::nan(""));
    json.member("error_km", r.endFound ? r.endErrorKm : std::nan(""));
    json.member("within_tolerance", r.endWithinTolerance);
    json.member("true_km", truth.fiberEndKm);
    json.endObject();

    json.key("true");
    json.beginArray();
    for (std::size_t t = 0; t < truth.events.size(); ++t) {
        const SimTruthEvent& e = truth.events[t];
        const SimTrueEventResult& v = r.trueEvents[t];
        json.beginObject();
        json.member("km", e.km);
        json.member("kind", e.kind);
        optionalMember(json, "loss_dB", e.lossDb);
        optionalMember(json, "reflectance_dB", e.reflectanceDb);
        json.member("above_noise_dB", v.levelAboveNoiseDb);
        json.member("detectable", v.detectable);
        if (v.detectable)
            json.nullMember("why_not");
        else
            json.member("why_not", v.whyNot);
        if (v.matchedFound >= 0)
            json.member("found", std::int64_t{r.found[static_cast<std::size_t>(v.matchedFound)].number});
        else
            json.nullMember("found");
        optionalMember(json, "location_error_km", v.locationErrorKm);
        optionalMember(json, "loss_error_dB", v.lossErrorDb);
        optionalMember(json, "reflectance_error_dB", v.reflectanceErrorDb);
        json.endObject();
    }
    json.endArray();

    json.key("found_events");
    json.beginArray();
    for (const SimFoundEvent& f : r.found) {
        json.beginObject();
        json.member("number", std::int64_t{f.number});
        json.member("km", f.km);
        json.member("loss_dB", f.lossDb);
        optionalMember(json, "reflectance_dB", f.reflectanceDb);
        json.member("verdict", verdictName(f.verdict));
        json.member("beyond_end", f.beyondEnd);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    out << "\n";
}

int runEvaluate(const ParsedArgs& args, Context& context)
{
    const std::string truthPath = args.positional()[0];
    const std::string text = readTextFile(truthPath, maxTruthBytes, "a truth file");
    const LoadedTrace trace = loadTrace(args.positional()[1]);
    if (trace.truncated)
        context.err << "fibertest evaluate: warning: '" << trace.path << "' ends early; evaluating what there is\n";
    SimTruth truth;
    try {
        truth = SimParseTruth(text);
    } catch (const SimError& e) {
        throw InputError("'" + truthPath + "': " + e.what());
    }
    SimEvaluation result;
    try {
        result = SimEvaluate(truth, *trace.data);
    } catch (const SimError& e) {
        throw InputError("'" + trace.path + "': " + e.what());
    }
    if (args.has("json"))
        printJson(context.out, truth, result);
    else
        printText(context.out, truth, result);
    return ExitDone;
}

} // namespace

Command evaluateCommand()
{
    Command c;
    c.name = "evaluate";
    c.summary = "score the events of an analysed simulated trace against its truth";
    c.description =
        "Matches the key events of ANALYSED.sor to the true events that `fibertest synth --truth` wrote to\n"
        "TRUTH.json, within 2 point spacings plus half a pulse length, one to one and nearest first, and\n"
        "reports the recall of the detectable events, the precision, the errors of location, loss and\n"
        "reflectance, the end of the fiber and the events reported beyond it (see docs/cli.md for the\n"
        "rules). With --json the figures and both event lists go out as JSON.";
    c.options = {
        {"json", 0, "", "print JSON"},
    };
    c.positionals = {{"TRUTH.json"}, {"ANALYSED.sor"}};
    c.run = runEvaluate;
    return c;
}

} // namespace cli
