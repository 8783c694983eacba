// fibertest demo: shows what the library holds by using each part of it.
#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>

#include "commands.h"
#include "ref/ref-event.h"
#include "ref/ref-math.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-map.h"
#include "sor/sor-checksum.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"
#include "sim/sim-trace.h"
#include "util/base64.h"
#include "util/crc.h"
#include "util/gzip.h"
#include "util/ini-file.h"
#include "util/len-unit.h"
#include "util/md5.h"
#include "util/t-string.h"
#include "util/version.h"

namespace cli {

namespace {

std::string hex(const std::string& raw)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : raw) {
        out += digits[c >> 4];
        out += digits[c & 0xF];
    }
    return out;
}

void row(std::ostream& out, const std::string& what, const std::string& shown)
{
    out << "  " << what << std::string(what.size() < 22 ? 22 - what.size() : 1, ' ') << shown << "\n";
}

// A link made up here, shot by the simulator, and measured back with the
// trace mathematics: what the fits find against what the link is.
void showSimulatorAndMaths(std::ostream& out)
{
    out << "\nSimulator and trace mathematics\n";
    const char* const link = R"({
      "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 1.0, "range_km": 30,
               "launch_dB": -3.0, "noise_floor_dB": -32.0, "seed": 3},
      "link": [
        {"connector": {"loss_dB": 0.4, "reflectance_dB": -50}},
        {"fiber": {"km": 10.0, "dB_per_km": 0.20}},
        {"splice": {"loss_dB": 0.15}},
        {"fiber": {"km": 8.0, "dB_per_km": 0.21}},
        {"end": {"reflectance_dB": -14}}
      ]})";
    const std::string bytes = SimSynthesize(link, SimShotOptions{}, false);
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    TSorData trace;
    trace.Read(&file);
    row(out, "simulated shot", std::to_string(bytes.size()) + " bytes, " +
                                   std::to_string(trace.DataPts->GetPointsNum()) + " points, status " +
                                   std::to_string(file.Status) + (trace.Untrusted == 0 ? ", genuine" : ", untrusted"));

    // km of a one-way time, and the time of a km, on this trace.
    const double kmPerOwt = 299792.5 / (trace.FxdParams->GI * 1e-5) * 1e-10;
    auto owt = [&](double km) { return km / kmPerOwt; };
    double slope = 0;
    double intercept = 0;
    RefMathLSL(&trace, owt(1.0), owt(9.0), slope, intercept);
    char text[160];
    std::snprintf(text, sizeof text, "%.3f dB/km fitted over 1-9 km (the link: 0.200)", -slope / kmPerOwt);
    row(out, "attenuation", text);

    double before = 0;
    double after = 0;
    double unused = 0;
    RefMathLSL2(&trace, owt(8.0), owt(9.9), unused, before);
    RefMathLSL2(&trace, owt(10.1), owt(12.0), after, unused);
    const double step = before - after - 0.2 * 0.1 - 0.21 * 0.1;
    std::snprintf(text, sizeof text, "%.3f dB across the splice at 10 km (the link: 0.150)", step);
    row(out, "splice loss", text);

    const double height = RefEventReflectionPower(&trace, owt(18.0), -14.0);
    std::snprintf(text, sizeof text, "a -14 dB end stands %.1f dB above the backscatter at 100 ns", height);
    row(out, "reflection height", text);
}

int runDemo(const ParsedArgs&, Context& context)
{
    std::ostream& out = context.out;
    out << "fibertest " << FIBERTEST_VERSION << ": what the library holds\n\n";

    out << "Foundations\n";
    TString line("  1550 nm ; splice ; 0.08 dB  ");
    TLuArray<TString, TString*> pieces;
    line.Trim().Split(&pieces, ";");
    std::string shownPieces;
    for (int i = 0; i < pieces.count; ++i)
        shownPieces += std::string(i ? ", " : "") + "\"" + pieces[i]->Trim().data + "\"";
    row(out, "strings", "\"" + std::string(line.data) + "\" split at ';' = " + shownPieces);

    TIni ini;
    ini.SetDouble("Thresholds", "Splice", 0.05);
    ini.SetInt("Thresholds", "Reflection", -65);
    ini.SetString("Fiber", "Name", "F-017");
    TString iniText;
    ini.ToString(iniText);
    TIni back;
    back.FromString(iniText);
    row(out, "INI settings", std::to_string(back.GetSectionsNum() - 1) + " sections written with CR LF and read back, Splice = " +
                                 std::to_string(back.GetDouble("Thresholds", "Splice", 0.0)).substr(0, 4) + " dB");

    TLenUnit units(duFt);
    char formatted[TLenUnit::FormatBufSize];
    units.FormatLenStr(formatted, 12.3456);
    char rounded[TLenUnit::FormatBufSize];
    TLenUnit::FormatRoundValueStr(rounded, 1234.0);
    row(out, "units", "12.3456 km = " + std::string(formatted) + "; 1234 rounded for a scale = " + rounded);

    const std::string check = "123456789";
    unsigned short crc = 0xFFFF;
    TCRC().get_crc_ccitt(crc, check.data(), static_cast<int>(check.size()));
    char crcText[8];
    std::snprintf(crcText, sizeof crcText, "0x%04X", crc);
    row(out, "trace checksum", std::string("CRC-16/CCITT-FALSE of \"123456789\" = ") + crcText);
    row(out, "MD5", "of \"abc\" = " + hex(TMd5::GetStringMd5Hash("abc")));
    row(out, "base64", "\"fiber\" = \"" + base64_encode("fiber") + "\"");
    std::string text;
    while (text.size() < 100000)
        text += "splice 0.05 dB, connector 0.35 dB, reflectance -45 dB\n";
    const OptionalBuffer packed = compressToGzip(text.data(), text.size());
    row(out, "gzip", std::to_string(text.size()) + " bytes of event text -> " + std::to_string(packed.second.size()) +
                         " bytes");

    out << "\nTrace file model\n";
    // A short trace made here: a fiber with a splice, saved and loaded again.
    TSorData trace;
    trace.GenParams->CID = "DEMO-1";
    trace.GenParams->NW = 1550;
    trace.FxdParams->SetTPW(1);
    trace.FxdParams->PWU[0] = 100;
    trace.FxdParams->DS[0] = 50000;
    trace.FxdParams->NPPW[0] = 1000;
    trace.FxdParams->GI = 146820;
    auto& points = trace.DataPts->GetSubBlock()->Points;
    for (int n = 0; n < 1000; ++n)
        points.push_back(static_cast<std::uint16_t>(3000 + n / 10 + (n >= 600 ? 250 : 0)));
    trace.DataPts->RebuildWholeCache();
    auto* splice = new TSorBlockKeyEvents1E();
    splice->EPT = 600 * 5;
    splice->EL = 250;
    trace.KeyEvents->Events.AddData(splice);
    trace.KeyEvents->TNKE = 1;
    TSorFile saved("", "m");
    trace.Write(&saved);
    TSorData loaded;
    TSorFile reading(saved.GetData(), saved.GetDataSize());
    loaded.Read(&reading);
    std::string blocks;
    for (int i = 0; i < loaded.Map->Entries.count; ++i)
        blocks += std::string(i ? ", " : "") + loaded.Map->Entries.data[i]->ID.data;
    row(out, "saved and loaded", std::to_string(saved.GetDataSize()) + " bytes, status " +
                                     std::to_string(reading.Status) + ": " + blocks);
    row(out, "points", std::to_string(loaded.DataPts->GetPointsNum()) + ", level at point 700 " +
                           std::to_string(loaded.NumToLevel(700)).substr(0, 6) + " dB");
    const TSorChecksumCheck stored = CheckStoredChecksum(saved.GetData(), saved.GetDataSize());
    row(out, "checksum", DescribeChecksumConvention(stored.convention));
    row(out, "block errors", std::string("\"") + TSorException::Text(TSorException::NullPointer) + "\", \"" +
                                 TSorException::Text(TSorException::BadData) + "\", \"" +
                                 TSorException::Text(TSorException::IndexOutOfBounds) + "\"");
    showSimulatorAndMaths(out);
    out << "\nStill to come: automatic analysis, the link map, results, cloud, instrument access\n"
           "and the application shell.\n";
    return ExitDone;
}

} // namespace

Command demoCommand()
{
    Command c;
    c.name = "demo";
    c.summary = "show the library at work on built-in data";
    c.description = "Uses each part of the library on built-in data and prints what it did.";
    c.run = runDemo;
    return c;
}

} // namespace cli
