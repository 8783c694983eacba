// Simulated traces with their true events for the filter tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/own-trace.h"
#include "sim/sim-link.h"
#include "sim/sim-shot.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"

namespace filtertest {

struct SimCase
{
    std::unique_ptr<TSorData> sor;
    SimShot shot;
    double kmPerPoint = 0.0;
};

inline std::string readScenario(const std::string& name)
{
    std::ifstream in(std::string(FIBERTEST_SCENARIOS_DIR) + "/" + name);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The trace of a link (JSON text) without its key events, and the shot
// with the true events.
inline SimCase simulate(const std::string& linkJson, int nm = 0, unsigned seed = 0)
{
    SimShotOptions options;
    if (nm != 0)
        options.wavelengthNm = nm;
    if (seed != 0)
        options.seed = seed;
    SimCase c;
    c.shot = SimResolveShot(SimParseLink(linkJson), options);
    const std::string bytes = SimSynthesize(linkJson, options, false);
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    c.sor = std::make_unique<TSorData>();
    c.sor->Read(&file);
    c.kmPerPoint = c.shot.stepOwt() / c.shot.owtPerKm;
    return c;
}

inline long pointOfKm(const SimCase& c, double km)
{
    return static_cast<long>(km / c.kmPerPoint + 0.5);
}

// A trace of our own from levels in dB (stored to 0.001 dB): one pulse of
// `pulseNs`, 5 x 100 ps a point, 1550 nm, with its linear companion.
inline std::unique_ptr<TSorData> makeTrace(long n, const std::function<double(long)>& level, double pulseNs = 100,
                                           double noiseFloorDb = -30.0)
{
    owntrace::Shape shape;
    shape.pulseNs = pulseNs;
    shape.noiseFloorDb = noiseFloorDb;
    shape.rangeToLastPoint = true;
    shape.linear = true;
    return owntrace::makeTrace(n, level, shape);
}

// Every level of the working points.
inline std::vector<float> levels(const TSorData& sor)
{
    std::vector<float> out;
    for (long i = 0; i < sor.DataPts->GetPointsNum(); ++i)
        out.push_back(sor.DataPts->numTofLevel(i));
    return out;
}

} // namespace filtertest
