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
    auto data = std::make_unique<TSorData>();
    data->GenParams->NW = 1550;
    auto& fxd = *data->FxdParams;
    fxd.SetTPW(1);
    fxd.PWU[0] = static_cast<std::int16_t>(pulseNs);
    fxd.DS[0] = 5 * 10000;
    fxd.NPPW[0] = static_cast<std::int32_t>(n);
    fxd.GI = 146820;
    fxd.BC = 810;
    fxd.AW = 15500;
    fxd.AR = static_cast<std::int32_t>(5 * n);
    fxd.SetNF(noiseFloorDb);
    auto& raw = data->DataPts->GetSubBlock()->Points;
    raw.assign(static_cast<std::size_t>(n), 0);
    for (long i = 0; i < n; ++i) {
        const double r = std::round(-level(i) * 1000.0);
        raw[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>(r < 0 ? 0 : (r > 65535 ? 65535 : r));
    }
    data->DataPts->RebuildWholeCache();
    data->AUXParams->TYP = "RL";
    data->CalculateValues();
    data->SetLinf();
    return data;
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
