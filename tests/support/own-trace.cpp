#include "support/own-trace.h"

#include <cmath>
#include <cstdint>

#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"

namespace owntrace {

std::unique_ptr<TSorData> makeTrace(long n, const std::function<double(long)>& level, const Shape& shape)
{
    auto data = std::make_unique<TSorData>();
    data->GenParams->NW = 1550;
    auto& fxd = *data->FxdParams;
    fxd.SetTPW(1);
    fxd.PWU[0] = static_cast<std::int16_t>(shape.pulseNs);
    fxd.DS[0] = static_cast<std::int32_t>(shape.spacingOwt * 10000);
    fxd.NPPW[0] = static_cast<std::int32_t>(n);
    fxd.GI = 146820;
    fxd.BC = 810;
    fxd.AW = 15500;
    if (shape.rangeToLastPoint)
        fxd.AR = static_cast<std::int32_t>(shape.spacingOwt * n);
    fxd.SetNF(shape.noiseFloorDb);
    auto& raw = data->DataPts->GetSubBlock()->Points;
    raw.assign(static_cast<std::size_t>(n), 0);
    for (long i = 0; i < n; ++i) {
        const double r = std::round(-level(i) * 1000.0);
        raw[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>(r < 0 ? 0 : (r > 65535 ? 65535 : r));
    }
    data->DataPts->RebuildWholeCache();
    data->AUXParams->TYP = "RL";
    data->CalculateValues();
    if (shape.linear)
        data->SetLinf();
    return data;
}

} // namespace owntrace
