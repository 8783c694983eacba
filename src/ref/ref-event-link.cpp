// The link as a whole: optical return loss, launch quality, and the group
// index and backscatter coefficient changed after the analysis.
#include <algorithm>
#include <cmath>

#include "ref/ref-auto.h"
#include "ref/ref-event-p.h"
#include "ref/ref-event.h"
#include "ref/ref-math.h"
#include "sor/sor-block-data-points.h"

using namespace detail::refevent;

namespace {

// Pulse length in OWT units at `owt`; 1 where the trace has no pulse, so
// that a mean over it stays finite.
double pulseOwt(const TSorData* sd, double owt)
{
    const double units = nsAt(sd, owt) / kNsPerOwt;
    return units > 0.0 ? units : 1.0;
}

} // namespace

double RefEventORL(TSorData* sd, double owt1, double owt2)
{
    if (!(owt1 < owt2))
        return 0.0;
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const TSorBlockAUXParameters& aux = *sd->AUXParams;
    const long n1 = owtToPin(sd, owt1);
    const long n2 = owtToPin(sd, owt2);
    // Each point stands for the time up to the next one.
    double sum = 0.0;
    for (long i = n1; i < n2; ++i)
        sum += aux.Log5ToLin(sd->NumToLevel(i), 0) * (fxd.NumToOwt(i + 1) - fxd.NumToOwt(i));
    if (owt2 > fxd.NumToOwt(n2))
        sum += aux.Log5ToLin(sd->NumToLevel(n2), 0) * (owt2 - fxd.NumToOwt(n2));
    return aux.LinToLog5(sum / pulseOwt(sd, fxd.NumToOwt(n1)));
}

double RefEventCalcORL(TSorData* sd, double owt1, double owt2)
{
    const int count = keyEventCount(sd);
    if (count == 0)
        return 0.0;
    const TSorBlockAUXParameters& aux = *sd->AUXParams;
    const TSorBlockKeyEvents1E* first = keyEvent(sd, 0);
    const TSorBlockKeyEvents1E* last = keyEvent(sd, count - 1);
    const double pulse = pulseOwt(sd, owt1);
    double energy = 0.0;  // linear
    double launch = 0.0;  // dB
    if (first->EPT == 0 && owt1 < pulse) {
        // The near-end connector lies inside the range: its peak counts in
        // full and the launch level is read behind it.
        long at = 0;
        energy = aux.Log5ToLin(sd->GetMax(0, first->ML2, at), 0);
        owt1 = first->ML2;
        launch = sd->OwtToLevel(owt1, 0);
    } else {
        // The mean over half a pulse from owt1; never more points than the
        // trace has, which only a broken spacing could ask for.
        const long n = owtToPin(sd, owt1);
        const long points = truncSaturated<std::int32_t>(sd->FxdParams->dOwtTodNum(n, pulse / 2.0)) + 1L;
        launch = RefMathPower(sd, n, std::min(points, sd->DataPts->GetPointsNum() + 1), 0);
    }
    if (count > 1) {
        double tail = 0.0;
        if (owt2 >= last->EPT) {
            owt2 = last->EPT;
            tail = nsAt(sd, owt2) / kNsPerOwt;
        }
        energy += aux.Log5ToLin(RefEventORL(sd, owt1, owt2 + tail), 0);
        // Back to 0 km along the first section.
        launch += keyEvent(sd, 1)->ACI / 1000.0 * owtToKm(sd, first->ML2);
    }
    // The backscatter a 1 ns pulse would give, less the integral of the whole
    // return; twice because the trace's scale is one-way.
    const double backscatter = bcDb(sd) * 0.5 + 5.0 * std::log10(sd->GetRealNsPulse(owt1));
    return 2.0 * (launch - backscatter - aux.LinToLog5(energy));
}

void RefEventSetORL(TSorData* sd)
{
    if (temperatureOnly(sd))
        return;
    TSorBlockKeyEvents& events = *sd->KeyEvents;
    events.ORL = truncSaturated<std::uint16_t>(RefEventCalcORL(sd, events.ELMP1, events.ELMP2) * 1000.0);
    events.RLMP1 = events.ELMP1;
    events.RLMP2 = events.ELMP2;
}

void RefEventSetEEL(TSorData* /*sd*/)
{
    // The end-to-end loss is the analysis' figure between its markers; there
    // is nothing to recompute when one event changes.
}

namespace {

// The level at 0 km reconstructed from the fall of the backscatter behind the
// near-end reflection, for a caller that does not take the peak as it is.
// `lossPerKm` in dB/km; `p` is kept when no rule applies.
double launchFromFall(TSorData* sd, long e, double h, double rate, double step, double lossPerKm, double p)
{
    double reach = 2.0 * std::fabs(h) / rate / step;
    if (h > 10.0)
        reach *= 2.0;
    const long from = e + truncSaturated<std::int32_t>(reach);
    const long to = from + 2 + truncSaturated<std::int32_t>(5000.0 / step);
    float deviation = 0.0f;
    float yFirst = 0.0f;
    float yLast = 0.0f;
    if (RefMathSQO(sd, from, to, deviation, yFirst, yLast) == 0)
        return p;
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const auto km = [&](long n) { return owtToKm(sd, fxd.NumToOwt(n)); };
    const double fall = static_cast<double>(yFirst) - yLast;
    const double expected = lossPerKm * (km(to) - km(from));
    if (fall < 2.0 * expected)
        return yFirst + lossPerKm * km(from);
    if (h < 0.2) {
        const long middle = from + (to - from) / 2;
        const double mean = (static_cast<double>(yFirst) + yLast) * 0.5 + lossPerKm * km(middle);
        float highest = 0.0f;
        const long at = RefAutoGetMax(sd, from, to, highest, -1);
        return std::max(mean, highest + lossPerKm * km(at));
    }
    if (std::fabs(fall) < 0.1 && yLast > yFirst) {
        float highest = 0.0f;
        const long at = RefAutoGetMax(sd, from, to, highest, -1);
        return highest + lossPerKm * km(at);
    }
    return p;
}

} // namespace

int RefEventLinkQuality(TSorData* sd, float& quality, float& p, float loss, float level, float bw)
{
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const double step = stepAtPin(sd, 0);
    const double pulse = nsAt(sd, 0.0) / kNsPerOwt;
    const double realPulse = sd->GetRealNsPulse(0.0);
    if (!(step > 0.0) || !(pulse > 0.0))
        return 0;
    if (sd->GetMinOwt() > std::trunc(pulse / step + 0.5) / 2.0 + 1.0 || step > 2.0 * pulse || realPulse < 1.0)
        return 0;
    const double rate = RefAutoGetDbOnOwt(sd);
    if (!(rate > 0.0))
        return 0;
    const double lossPerKm = loss != 0.0f ? loss : RefAutoGetLoss(sd);
    const double kmPer = kmPerOwt(sd);

    // The near-end reflection: the highest point within a pulse and the
    // receiver's recovery from 0 km.
    const long n = truncSaturated<std::int32_t>(fxd.OwtTofNum(sd->GenParams->UO) + 0.5);
    const long e = std::min(n + truncSaturated<std::int32_t>((pulse + 0.8 / rate) / step + 2.0), sd->DataPts->GetPointsNum());
    float peakLevel = 0.0f;
    const long k = RefAutoGetMax(sd, n, e, peakLevel, -1);
    const double m = peakLevel;

    // The backscatter level at 0 km: from the internal fibre when it is long
    // enough, else the stored launch level, else the level behind the peak.
    const double internal = sd->AUXParams->IntFiber;
    const double launchStored = sd->AUXParams->begLevel;
    double ref = launchStored * -0.01;
    if (internal == 0.0 && launchStored == 0.0) {
        ref = sd->NumToLevel(e);
        if (ref > m)
            return 0;
    } else if (internal > 10.1 * pulse) {
        const double span = (internal - pulse) * 0.9;
        ref = RefMathPower(sd, -span, -span + span * 0.95, 0) - lossPerKm * (0.525 * span * kmPer);
    }
    if (level < 0.0f)
        ref = level;
    const double kmAtPeak = owtToKm(sd, fxd.NumToOwt(k));
    double h = m - (ref - lossPerKm * kmAtPeak);
    if (bw == 0.0f) {
        ref = launchFromFall(sd, e, h, rate, step, lossPerKm, ref);
        h = m - (ref - lossPerKm * kmAtPeak);
    }

    const double bc = bcDb(sd);
    const double g = RefEventReflection(h, realPulse, bc);
    double q = std::pow(10.0, (g - bc) / 10.0 - 3.0) / pulse * lossPerKm;
    p = static_cast<float>(ref);
    if (m > sd->MaxLevel) {
        quality = static_cast<float>(q * 2.0);
        return 1;
    }
    q = std::max(q, ref - sd->NumToLevel(e));
    quality = static_cast<float>(q);
    return 2;
}

void RefEventSetNewRI(TSorData* sd, double ri)
{
    TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const double old = fxd.GI * 1e-5;
    if (old > 0.0)
        for (int i = 0; i < keyEventCount(sd); ++i) {
            TSorBlockKeyEvents1E* event = keyEvent(sd, i);
            event->ACI = truncSaturated<std::int16_t>(ri * (event->ACI / 1000.0 / old) * 1000.0);
        }
    fxd.GI = truncSaturated<std::int32_t>(ri / 1e-5 + 0.5);
    RefEventSetORL(sd);
}

void RefEventSetNewBC(TSorData* sd, double bc)
{
    if (temperatureOnly(sd))
        return;
    TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const double oldBc = -fxd.BC;
    for (int i = 0; i < keyEventCount(sd); ++i) {
        TSorBlockKeyEvents1E* event = keyEvent(sd, i);
        if (event->ER != 0)
            event->ER = truncSaturated<std::int32_t>((bc + event->ER / 1000.0 - oldBc * 0.1) * 1000.0);
    }
    fxd.BC = truncSaturated<std::int16_t>(bc / -0.1 + 0.5);
    RefEventSetORL(sd);
}
