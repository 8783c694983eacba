// fibertest synth: a simulated trace of a described link, with its truth.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "commands.h"
#include "sim/sim-link.h"
#include "sim/sim-trace.h"
#include "trace-file.h"

namespace cli {

namespace {

// No link description comes near this; refuse before reading it into memory.
constexpr long long maxLinkBytes = 16LL << 20;

SimShotOptions shotOptions(const ParsedArgs& args)
{
    SimShotOptions options;
    if (args.has("seed")) {
        const long long seed = args.integer("seed", 0);
        if (seed < 0)
            throw UsageError("option '--seed' needs a whole number of 0 or more, not '" + args.value("seed") + "'");
        options.seed = static_cast<std::uint64_t>(seed);
    }
    if (args.has("wavelength")) {
        const long long nm = args.integer("wavelength", 0);
        if (nm < 600 || nm > 1700)
            throw UsageError("option '--wavelength' needs a wavelength in nm from 600 to 1700, not '" +
                             args.value("wavelength") + "'");
        options.wavelengthNm = static_cast<int>(nm);
    }
    if (args.has("pulse")) {
        const double ns = args.number("pulse", 0.0);
        if (!(ns >= 1.0 && ns <= 20000.0))
            throw UsageError("option '--pulse' needs a pulse in ns from 1 to 20000, not '" + args.value("pulse") +
                             "'");
        options.pulseNs = ns;
    }
    const std::string direction = args.value("direction", "forward");
    if (direction == "backward")
        options.direction = SimDirection::Backward;
    else if (direction != "forward")
        throw UsageError("option '--direction' needs 'forward' or 'backward', not '" + direction + "'");
    return options;
}

int runSynth(const ParsedArgs& args, Context&)
{
    if (!args.has("output"))
        throw UsageError("missing option '--output' (-o): where to write the trace");
    const SimShotOptions options = shotOptions(args);
    const std::string linkPath = args.positional()[0];
    const std::string text = readTextFile(linkPath, maxLinkBytes, "a link description");
    std::string truth;
    std::string trace;
    try {
        trace = SimSynthesize(text, options, args.has("with-events"), args.has("truth") ? &truth : nullptr);
    } catch (const SimError& e) {
        throw InputError("'" + linkPath + "': " + e.what());
    }
    const std::string output = args.value("output");
    saveFile(trace, output);
    if (args.has("truth")) {
        try {
            saveFile(truth, args.value("truth"));
        } catch (const InputError&) {
            // Both files or neither.
            std::remove(output.c_str());
            throw;
        }
    }
    return ExitDone;
}

} // namespace

Command synthCommand()
{
    Command c;
    c.name = "synth";
    c.summary = "simulate a trace of a described link";
    c.description =
        "Simulates an OTDR shot on the link that LINK.json describes (see docs/simulator.md) and saves the\n"
        "trace as OUT. The options override the link file's settings. The same input and seed give the\n"
        "same bytes. With --truth the true events go to a JSON file as well; with --with-events they are\n"
        "also written into the trace's key-event table.";
    c.options = {
        {"output", 'o', "OUT.sor", "where to write the trace"},
        {"truth", 0, "TRUTH.json", "where to write the true events"},
        {"seed", 0, "N", "seed of the noise"},
        {"wavelength", 0, "NM", "wavelength in nm"},
        {"pulse", 0, "NS", "pulse width in ns"},
        {"direction", 0, "forward|backward", "measure from the near end (forward) or the far end"},
        {"with-events", 0, "", "write the true events into the key-event table"},
    };
    c.positionals = {{"LINK.json"}};
    c.run = runSynth;
    return c;
}

} // namespace cli
