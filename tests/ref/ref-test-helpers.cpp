#include "ref-test-helpers.h"

#include <cmath>

#include "support/own-trace.h"
#include "sor/sor-block-supplier-parameters.h"

namespace reftest {

std::unique_ptr<TSorData> makeTrace(const std::vector<double>& levels, long spacingOwt, double noiseFloorDb)
{
    owntrace::Shape shape;
    shape.pulseNs = kPulseNs;
    shape.spacingOwt = spacingOwt;
    shape.noiseFloorDb = noiseFloorDb;
    auto data = owntrace::makeTrace(static_cast<long>(levels.size()),
                                    [&](long i) { return levels[static_cast<std::size_t>(i)]; }, shape);
    data->SupParams->SN = "FiberTest";
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
