// fibertest info: a summary of a trace for people.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <ostream>
#include <string>

#include "commands.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-checksum.h"
#include "trace-file.h"

namespace cli {

namespace {

std::string format(const char* fmt, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, fmt, value);
    return text;
}

std::string trimmed(const TString& text)
{
    return std::string(text.Trim().data);
}

void line(std::ostream& out, const std::string& label, const std::string& value)
{
    if (value.empty())
        return;
    out << label << std::string(label.size() < 14 ? 14 - label.size() : 1, ' ') << value << "\n";
}

std::string joined(std::initializer_list<std::pair<const char*, std::string>> parts)
{
    std::string text;
    for (const auto& [label, value] : parts) {
        if (value.empty())
            continue;
        if (!text.empty())
            text += ", ";
        text += label[0] != '\0' ? std::string(label) + " " + value : value;
    }
    return text;
}

std::string utcTime(std::int32_t seconds)
{
    if (seconds <= 0)
        return "";
    const std::time_t t = seconds;
    std::tm parts{};
    if (gmtime_r(&t, &parts) == nullptr)
        return "";
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
    return text;
}

// Metres of fiber per one-way time unit of 100 ps.
double metresPerOwt(const TSorBlockFixedParameters& fxd)
{
    const double gi = fxd.GI * 1e-5;
    return gi > 0 ? (299792.5 / gi) * 1e-10 * 1000.0 : 0.0;
}

void printEvents(std::ostream& out, const TSorData& data)
{
    const TSorBlockKeyEvents& events = *data.KeyEvents;
    out << "\nKey events: " << events.Events.count;
    if (events.Events.count > 0)
        out << ", end-to-end loss " << format("%.3f", events.EEL / 1000.0) << " dB, ORL "
            << format("%.3f", events.ORL / 1000.0) << " dB";
    out << "\n";
    if (events.Events.count == 0)
        return;
    out << "   #  code      km          loss dB   refl dB   att dB/km  total dB\n";
    double total = 0.0;
    for (int i = 0; i < events.Events.count; ++i) {
        const TSorBlockKeyEvents1E& e = *events.Events.data[i];
        total += e.EL / 1000.0;
        char row[160];
        // Makers write 0 or a far-out value (such as the lowest int32) for "no reflectance".
        const bool reflective = e.ER < 0 && e.ER > -100000;
        const std::string reflectance = reflective ? format("%8.3f", e.ER / 1000.0) : std::string("       -");
        std::snprintf(row, sizeof row, "%4d  %-6s  %10.5f  %8.3f  %s  %9.3f  %8.3f\n", e.EN, e.EC.data,
                      owtToKm(data, e.EPT), e.EL / 1000.0, reflectance.c_str(), e.ACI / 1000.0, total);
        out << row;
    }
}

int runInfo(const ParsedArgs& args, Context& context)
{
    const LoadedTrace trace = loadTrace(args.positional()[0]);
    const TSorData& data = *trace.data;
    const auto& gen = *data.GenParams;
    const auto& sup = *data.SupParams;
    const auto& fxd = *data.FxdParams;
    std::ostream& out = context.out;
    if (trace.truncated)
        context.err << "fibertest info: warning: '" << trace.path << "' ends early; showing what there is\n";

    line(out, "File", trace.path + " (" + std::to_string(trace.bytes.size()) + " bytes, revision " +
                          std::to_string(data.RevisionNo) + (data.RevisionNo < 200 ? ", first edition)" : ")"));
    line(out, "Maker", trimmed(sup.SN));
    line(out, "Instrument", joined({{"", trimmed(sup.OTDR)}, {"mainframe", trimmed(sup.MFID)},
                                    {"module", trimmed(sup.OMID)}, {"serial", trimmed(sup.OMSN)},
                                    {"software", trimmed(sup.SR)}}));
    line(out, "Measured", utcTime(fxd.DTS));
    line(out, "Cable / fiber", joined({{"cable", trimmed(gen.CID)}, {"fiber", trimmed(gen.FID)}}));
    if (!trimmed(gen.OL).empty() || !trimmed(gen.TL).empty())
        line(out, "Route", trimmed(gen.OL) + " -> " + trimmed(gen.TL));
    line(out, "Operator", trimmed(gen.OP));
    line(out, "Comment", trimmed(gen.CMT));

    std::string wavelength = std::to_string(gen.NW) + " nm";
    if (fxd.AW != 0)
        wavelength += " (actual " + format("%.1f", fxd.AW / 10.0) + " nm)";
    line(out, "Wavelength", wavelength);
    const double perOwt = metresPerOwt(fxd);
    std::string pulses;
    std::string spacing;
    const std::size_t segments = std::min({fxd.PWU.size(), fxd.DS.size(), fxd.NPPW.size()});
    for (std::size_t s = 0; s < segments; ++s) {
        const std::string sep = s > 0 ? "; " : "";
        pulses += sep + std::to_string(fxd.PWU[s]) + " ns";
        spacing += sep + format("%.4f m", fxd.DS[s] / 10000.0 * perOwt) + " (" + std::to_string(fxd.NPPW[s]) +
                   " points)";
    }
    line(out, "Pulse", pulses);
    line(out, "Spacing", spacing);
    if (fxd.AR > 0)
        line(out, "Range", format("%.3f km", fxd.AR * perOwt / 1000.0));
    const long points = data.DataPts->GetPointsNum();
    const long declared = static_cast<long>(fxd.GetTotalPinPW());
    line(out, "Points", std::to_string(points) + (declared != points ? " (the fixed parameters say " +
                                                                           std::to_string(declared) + ")"
                                                                     : std::string()));
    if (points > 0)
        line(out, "Length", format("%.3f km", owtToKm(data, data.GetMaxOwt())));
    line(out, "Group index", format("%.6f", fxd.GI * 1e-5));
    line(out, "Backscatter", format("%.1f dB", -fxd.BC / 10.0));
    if (fxd.NAV > 0)
        line(out, "Averages", std::to_string(fxd.NAV) + (fxd.AT > 0 ? ", " + std::to_string(fxd.AT) + " s" : ""));

    const TSorChecksumCheck check =
        CheckStoredChecksum(trace.bytes.data(), static_cast<unsigned long>(trace.bytes.size()));
    char stored[16];
    std::snprintf(stored, sizeof stored, "0x%04X", check.stored);
    line(out, "Checksum", check.convention == TSorChecksumConvention::NotFound
                              ? std::string(DescribeChecksumConvention(check.convention))
                              : std::string(stored) + ", " + DescribeChecksumConvention(check.convention));
    printEvents(out, data);
    return ExitDone;
}

} // namespace

Command infoCommand()
{
    Command c;
    c.name = "info";
    c.summary = "summarise a trace: maker, wavelength, pulse, range, events";
    c.description =
        "Prints what a trace file says about its measurement: maker and instrument, cable and fiber,\n"
        "wavelength, pulse, range, point spacing and count, fiber length, whether the stored checksum\n"
        "is valid and under which convention, and the key-event table in km and dB.";
    c.positionals = {{"FILE"}};
    c.run = runInfo;
    return c;
}

} // namespace cli
