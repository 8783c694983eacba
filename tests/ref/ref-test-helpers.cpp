#include "ref-test-helpers.h"

#include <cmath>
#include <cstdint>

#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-supplier-parameters.h"

namespace reftest {

std::unique_ptr<TSorData> makeTrace(const std::vector<double>& levels, long spacingOwt, double noiseFloorDb)
{
    auto data = std::make_unique<TSorData>();
    data->GenParams->NW = 1550;
    data->SupParams->SN = "FiberTest";
    auto& fxd = *data->FxdParams;
    fxd.SetTPW(1);
    fxd.PWU[0] = kPulseNs;
    fxd.DS[0] = static_cast<std::int32_t>(spacingOwt * 10000);
    fxd.NPPW[0] = static_cast<std::int32_t>(levels.size());
    fxd.GI = kGroupIndex;
    fxd.BC = kBcTenths;
    fxd.AW = 15500;
    fxd.SetNF(noiseFloorDb);
    auto& raw = data->DataPts->GetSubBlock()->Points;
    raw.assign(levels.size(), 0);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const double r = std::round(-levels[i] * 1000.0);
        raw[i] = static_cast<std::uint16_t>(r < 0 ? 0 : (r > 65535 ? 65535 : r));
    }
    data->DataPts->RebuildWholeCache();
    data->AUXParams->TYP = "RL";
    data->CalculateValues();  // the level range a load would set
    return data;
}

std::vector<double> levelsOf(long n, const std::function<double(long)>& level)
{
    std::vector<double> out(static_cast<std::size_t>(n));
    for (long i = 0; i < n; ++i)
        out[static_cast<std::size_t>(i)] = level(i);
    return out;
}

std::vector<double> straightLine(long n, double start, double fallPerPoint)
{
    return levelsOf(n, [&](long i) { return start - fallPerPoint * static_cast<double>(i); });
}

double stored(double level)
{
    return -std::round(-level * 1000.0) / 1000.0;
}

} // namespace reftest
