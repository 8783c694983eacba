// fibertest linkmap: the typed map of a link from its analysed traces.
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "auto/auto.h"
#include "commands.h"
#include "link-map-table.h"
#include "link/link-map-builder.h"
#include "link/link-map-json.h"
#include "link/sor-data-group.h"
#include "sor/sor-block-key-events.h"
#include "trace-file.h"

namespace cli {

namespace {

// The file name a link map gets inside a results folder.
const char* const linkMapFileName = "link-map.luscout";

std::string outputPath(const std::string& given)
{
    std::error_code ec;
    if (std::filesystem::is_directory(given, ec))
        return (std::filesystem::path(given) / linkMapFileName).string();
    return given;
}

int runLinkMap(const ParsedArgs& args, Context& context)
{
    const std::vector<std::string> forward = args.values("forward");
    const std::vector<std::string> backward = args.values("backward");
    if (forward.empty() && backward.empty())
        throw UsageError("give at least one trace with -f or -b");
    if (!args.has("output"))
        throw UsageError("missing option '--output' (-o): where to write the link map");
    const double threshold = args.number("macrobend", 1.0);
    if (!(threshold > 0.0))
        throw UsageError("option '--macrobend' needs a loss difference above 0 dB");

    std::vector<LoadedTrace> traces;
    TSorDataGroup group;
    const auto add = [&](const std::string& path, TSorDataGroup::Direction direction) {
        traces.push_back(loadTrace(path));
        TSorData& data = *traces.back().data;
        if (args.has("analyze")) {
            TAuto analysis;
            if (analysis.Automat(&data, 0) == 0)
                context.err << "fibertest linkmap: warning: the analysis did not complete on '" << path
                            << "'; its own events are used\n";
        }
        if (data.KeyEvents->Events.count == 0)
            throw InputError("'" + path + "' has no events: analyse it first (fibertest analyze -o, or --analyze)");
        group.AddTrace(&data, direction, std::filesystem::path(path).filename().string());
    };
    for (const std::string& path : forward)
        add(path, TSorDataGroup::forward);
    for (const std::string& path : backward)
        add(path, TSorDataGroup::backward);

    TLinkMap map = BuildLinkMap(group, threshold);
    if (!args.has("keep-unknown"))
        map = TLinkMap(FilterOutUnknownNodes(map.GetNodes()), map.GetParameters(), map.GetSourceTraces(),
                       map.GetExtras());
    if (map.GetNodesNum() == 0)
        throw InputError("no events to map: backward traces need the span end their events give");
    const std::string json = SerializeLinkMapToJson(map);
    saveFile(json, outputPath(args.value("output")));
    if (args.has("json"))
        context.out << json << "\n";
    else
        printLinkMap(context.out, map);
    return ExitDone;
}

} // namespace

Command linkMapCommand()
{
    Command c;
    c.name = "linkmap";
    c.summary = "build the typed map of a link from its traces";
    c.description =
        "Groups the analysed traces of one link (several wavelengths and pulses, from both ends) into one\n"
        "map of typed nodes: link start, connectors, APC connectors, splices, macrobends, splitters, link\n"
        "end. Writes the map to OUT (a file, or \"link-map.luscout\" in OUT when it is a folder) and prints\n"
        "the node table with the loss and reflectance at each wavelength, then length, total loss and ORL\n"
        "per wavelength; --json prints the map file instead. Nodes of no known type are left out (their\n"
        "losses still count) unless --keep-unknown is given.";
    c.options = {
        {"forward", 'f', "FORWARD.sor", "a trace shot from the start of the link", true},
        {"backward", 'b', "BACKWARD.sor", "a trace shot from its far end", true},
        {"output", 'o', "OUT", "where to write the link map"},
        {"analyze", 0, "", "run the automatic analysis on each trace first"},
        {"macrobend", 0, "DB", "loss difference between wavelengths that makes a macrobend (1.0)"},
        {"keep-unknown", 0, "", "keep nodes of no known type"},
        {"json", 0, "", "print the link-map file"},
    };
    c.run = runLinkMap;
    return c;
}

} // namespace cli
