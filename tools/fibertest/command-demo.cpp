// fibertest demo: the main job of the library on built-in data. A link is
// shot by the simulator at two wavelengths, with two pulses, from both ends;
// each trace is analysed, and the eight make one typed map of the link.
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <system_error>
#include <vector>

#include "auto/auto.h"
#include "commands.h"
#include "event-table.h"
#include "link-map-table.h"
#include "link/link-map-builder.h"
#include "link/link-map-json.h"
#include "link/sor-data-group.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "trace-file.h"
#include "util/version.h"

namespace cli {

namespace {

// A small FTTH link: the central office's connector, a feeder with a splice
// and a macrobend, a patch panel, a 1:8 splitter, a drop to the subscriber.
// The PON end threshold keeps the analysis going past the splitter's loss.
const char* const demoLink = R"({
  "otdr": {"wavelength_nm": 1310, "pulse_ns": 30, "spacing_m": 0.5, "range_km": 20,
           "launch_dB": -3.0, "noise_floor_dB": -36.0, "seed": 2026, "end_threshold_dB": 20.0},
  "link": [
    {"connector": {"loss_dB": 0.3, "reflectance_dB": -50}},
    {"fiber": {"km": 4.2}},
    {"splice": {"loss_dB": 0.15}},
    {"fiber": {"km": 2.6}},
    {"bend": {"loss_dB": {"1310": 0.1, "1550": 1.6}}},
    {"fiber": {"km": 1.7}},
    {"connector": {"loss_dB": 0.4, "reflectance_dB": -47}},
    {"fiber": {"km": 0.9}},
    {"splitter": {"ratio": 8, "excess_dB": 0.7, "reflectance_dB": -62}},
    {"fiber": {"km": 1.1}},
    {"end": {"reflectance_dB": -40}}
  ]
})";

// What the map should show, for the reader to compare.
const char* const demoTruth =
    "  start connector 0.3 dB at 0 km; splice 0.15 dB at 4.2 km; macrobend at 6.8 km (0.1 dB at 1310 nm,\n"
    "  1.6 dB at 1550 nm); connector 0.4 dB at 8.5 km; 1:8 splitter (9.7 dB) at 9.4 km; end at 10.5 km.\n";

const unsigned demoWavelengths[] = {1310, 1550};
const double demoPulsesNs[] = {30.0, 300.0};

std::filesystem::path demoFolder(const ParsedArgs& args)
{
    std::error_code ec;
    if (!args.positional().empty()) {
        const std::filesystem::path dir = args.positional()[0];
        std::filesystem::create_directories(dir, ec);
        if (ec)
            throw InputError("cannot create the folder '" + dir.string() + "': " + ec.message());
        return dir;
    }
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/fibertest-demo-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw InputError("cannot create a temporary folder from '" + pattern + "'");
    return pattern;
}

struct DemoTrace
{
    std::string name;
    std::unique_ptr<TSorData> data;
    TSorDataGroup::Direction direction = TSorDataGroup::forward;
};

DemoTrace shoot(unsigned wavelength, double pulseNs, TSorDataGroup::Direction direction)
{
    SimShotOptions options;
    options.wavelengthNm = static_cast<int>(wavelength);
    options.pulseNs = pulseNs;
    options.direction = direction == TSorDataGroup::forward ? SimDirection::Forward : SimDirection::Backward;
    const std::string bytes = SimSynthesize(demoLink, options, false);
    DemoTrace trace;
    trace.direction = direction;
    trace.name = "demo-" + std::to_string(wavelength) + "nm-" + std::to_string(static_cast<int>(pulseNs)) + "ns-" +
                 (direction == TSorDataGroup::forward ? "forward" : "backward") + ".sor";
    trace.data = std::make_unique<TSorData>();
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    trace.data->Read(&file);
    return trace;
}

int runDemo(const ParsedArgs& args, Context& context)
{
    std::ostream& out = context.out;
    const std::filesystem::path dir = demoFolder(args);
    out << "fibertest " << FIBERTEST_VERSION << " demo: one link, two wavelengths, two pulses, both ends\n\n"
        << "The link as built:\n"
        << demoTruth;

    std::vector<DemoTrace> traces;
    for (const auto direction : {TSorDataGroup::forward, TSorDataGroup::backward})
        for (const unsigned wavelength : demoWavelengths)
            for (const double pulse : demoPulsesNs) {
                DemoTrace trace = shoot(wavelength, pulse, direction);
                TAuto analysis;
                if (analysis.Automat(trace.data.get(), 0) == 0)
                    context.err << "fibertest demo: warning: the analysis did not complete on " << trace.name << "\n";
                saveTrace(*trace.data, (dir / trace.name).string());
                out << "\n" << trace.name << " (" << trace.data->DataPts->GetPointsNum() << " points)\n";
                printEventTable(out, summariseEvents(*trace.data));
                traces.push_back(std::move(trace));
            }

    TSorDataGroup group;
    for (const DemoTrace& trace : traces)
        group.AddTrace(trace.data.get(), trace.direction, trace.name);
    const TLinkMap built = BuildLinkMap(group, CalcDefaultMaxEventDispersionThreshold(group));
    const TLinkMap map(FilterOutUnknownNodes(built.GetNodes()), built.GetParameters(), built.GetSourceTraces(),
                       built.GetExtras());
    const std::filesystem::path mapFile = dir / "link-map.luscout";
    saveFile(SerializeLinkMapToJson(map), mapFile.string());

    out << "\nThe link map of the " << traces.size() << " traces\n";
    printLinkMap(out, map);
    out << "\nWritten to " << dir.string() << ": the analysed traces and " << mapFile.filename().string() << "\n";
    return ExitDone;
}

} // namespace

Command demoCommand()
{
    Command c;
    c.name = "demo";
    c.summary = "map a built-in link from simulated traces";
    c.description =
        "Simulates a built-in link at 1310 and 1550 nm, with a 30 ns and a 300 ns pulse, from both ends;\n"
        "analyses each of the eight traces and prints its event table; builds the typed map of the link\n"
        "from them and prints it. The traces and the map (link-map.luscout) are written to DIR, or to a\n"
        "new temporary folder when DIR is not given.";
    c.positionals = {{"DIR", false}};
    c.run = runDemo;
    return c;
}

} // namespace cli
