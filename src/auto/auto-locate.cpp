#include "auto/auto-locate.h"

#include <algorithm>
#include <cmath>

#include "auto/auto-lines-p.h"
#include "auto/event-line.h"
#include "ref/ref-auto.h"
#include "sor/sor-data.h"
#include "sor/sor-log-scale.h"

using autolines::KmPerOwt;
using autolines::KmToPoint;
using autolines::PointKm;

namespace {

constexpr double minStepDb = 0.03;

// The receiver's mean delay in OWT units: a single pole falls by
// 5 lg(e) dB (one-way scale) per time constant.
double receiverDelayOwt(TSorData* sor)
{
    const double rate = RefAutoGetDbOnOwt(sor);
    return rate > 0.0 ? 5.0 * std::log10(std::exp(1.0)) / rate : 0.0;
}

} // namespace

double LocateStepKm(TSorData* sor, const TEventLine& before, const TEventLine& after, double pulseOwt,
                    double fallback)
{
    const double kmPerOwt = KmPerOwt(sor);
    if (sor == nullptr || kmPerOwt <= 0.0 || pulseOwt <= 0.0)
        return fallback;
    const double pulseKm = pulseOwt * kmPerOwt;
    const double delayKm = receiverDelayOwt(sor) * kmPerOwt;
    // The lines' own ends may lie inside the fall (the walk sees a small step
    // late): the sum runs from a pulse in front of the step as found to the
    // end of its fall and the receiver's tail, over the lines' extensions,
    // but never beyond either line.
    const double from = std::max(before.L1, std::min(before.L2, fallback - pulseKm));
    const double to = std::min(after.L2, std::max(after.L1, fallback + pulseKm + 4.0 * delayKm));
    if (to - from < pulseKm)
        return fallback;
    const double slopeBefore = before.LossKm();
    const double slopeAfter = after.LossKm();
    const auto lineBefore = [&](double km) { return before.P2 - slopeBefore * (km - before.L2); };
    const auto lineAfter = [&](double km) { return after.P1 + slopeAfter * (after.L1 - km); };
    if (std::fabs(lineBefore(fallback) - lineAfter(fallback)) < minStepDb)
        return fallback;

    const long first = KmToPoint(sor, from);
    const long last = KmToPoint(sor, to);
    if (last - first < 2)
        return fallback;
    double sum = 0.0;
    for (long i = first; i < last; ++i) {
        const double km = PointKm(sor, i);
        const double pb = poww(lineBefore(km));
        const double pa = poww(lineAfter(km));
        const double f = (pb - poww(sor->NumToLevel(i))) / (pb - pa);
        sum += (1.0 - f) * (PointKm(sor, i + 1) - km);
    }
    // Each point stands for the half spacing on either side of it.
    const double centre = PointKm(sor, first) - 0.5 * (PointKm(sor, first + 1) - PointKm(sor, first)) + sum;
    const double start = centre - 0.5 * pulseKm - delayKm;
    if (start < from || start > fallback || fallback - start > pulseKm)
        return fallback;
    return start;
}
