// Reflectance of a peak and the numbers of one key event from the trace and
// its five markers.
#include "ref/ref-event.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>

#include "ref/ref-auto.h"
#include "ref/ref-event-p.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-events.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-log-scale.h"

using namespace detail::refevent;

namespace {

// The exponent h/5 taken for a peak that is not above the backscatter, so
// that the logarithm stays finite.
constexpr double kFlatExponent = 0.0002;
// A peak within this of 0 dB has saturated the receiver.
constexpr double kSaturatedLevel = -0.2;

// The pulse (ns) and the backscatter coefficient (dB) for a peak at `owt`.
double realPulse(const TSorData* sd, double owt)
{
    return sd->GetRealNsPulse(owt);
}

// Reflectance and kind of a key event from its base B and the peak P at ML4;
// `h` the height the reflectance is taken from, `clear` the height compared
// with the noise margin.
void storeReflection(TSorData* sd, TSorBlockKeyEvents1E* event, double peak, double base, double h, double clear)
{
    const double r = RefEventReflection(sd, static_cast<double>(event->ML4), h);
    char kind = '0';
    if (peak >= kSaturatedLevel)
        kind = '2';
    else if (RefEventMinReflection(sd, base, 0.05) < clear)
        kind = '1';
    setCodeChar(event->EC, 0, kind);
    event->ER = truncSaturated<std::int32_t>(r * 1000.0);
}

// The peak level of an event: at ML4 when it is known, otherwise the
// highest point over EPT..ML2, which then becomes ML4.
double eventPeak(TSorData* sd, TSorBlockKeyEvents1E* event)
{
    if (event->ML4 != 0)
        return levelAt(sd, event->ML4);
    long owt = 0;
    const double peak = sd->GetMax(event->EPT, event->ML2, owt);
    event->ML4 = truncSaturated<std::int32_t>(static_cast<double>(owt));
    return peak;
}

// The value at EPT of the line fitted over ML0..ML1. An event with no
// section in front of it (the launch: ML0 = ML1 = 0) would take the level of
// its own peak as its base and read a reflectance of -90 dB or so; its base
// is the line behind it, ML2..ML3, brought back to EPT, the backscatter the
// peak stands on.
double baseBefore(TSorData* sd, const TSorBlockKeyEvents1E* event)
{
    double slope = 0.0;
    double intercept = 0.0;
    if (event->ML1 <= event->ML0 && event->ML3 > event->ML2)
        RefMathLSL(sd, event->ML2, event->ML3, slope, intercept, 1.0);
    else
        RefMathLSL(sd, event->ML0, event->ML1, slope, intercept, 1.0);
    return slope * event->EPT + intercept;
}

} // namespace

// ---- reflectance ----

double RefEventReflection(double h, double pulse, double bc)
{
    const double exponent = h <= 0.0 ? kFlatExponent : h / 5.0;
    return 10.0 * std::log10((std::pow(10.0, exponent) - 1.0) * pulse) + bc;
}

double RefEventReflectionPower(double r, double pulse, double bc)
{
    return 5.0 * std::log10(std::pow(10.0, (r - bc) / 10.0) / pulse + 1.0);
}

double RefEventLinAmplPulse(TSorData* sd, double owt)
{
    const double ns = nsAt(sd, owt);
    const double ratePerNs = RefAutoGetDbOnOwt(sd) / kNsPerOwt;
    const double stepNs = stepAtOwt(sd, owt) * kNsPerOwt;
    return RefMathAmplitudePulse(ns, ratePerNs, stepNs);
}

double RefEventReflection(TSorData* sd, double owt, double h)
{
    const double pulse = realPulse(sd, owt);
    const double bc = bcDb(sd);
    bool large = h > 0.2;
    if (h <= 0.0) {
        h = 0.001;
        large = false;
    }
    const std::vector<TAUXMeasurementMode>& modes = sd->AUXParams->MM;
    double share = 1.0;
    if (!modes.empty() && modes.front().BWU1 != 0)
        share = RefEventLinAmplPulse(sd, owt);
    // A share that is not a positive fraction (a receiver without a fall rate)
    // would scale the height by nothing or flip it: the peak is taken as seen.
    if (!(share > 0.0))
        share = 1.0;
    double corrected = h / share;
    if (large && share < 1.0) {
        // A large peak is corrected on the linear scale, where the missing
        // share of the amplitude applies.
        const double v = (std::pow(10.0, h / 5.0) - 1.0) / share;
        if (v + 1.0 <= 0.0)
            return RefEventReflection(0.0, pulse, bc);
        corrected = 5.0 * std::log10(v + 1.0);
    }
    return RefEventReflection(corrected, pulse, bc);
}

double RefEventReflectionPower(TSorData* sd, double owt, double r)
{
    return RefEventReflectionPower(r, realPulse(sd, owt), bcDb(sd));
}

double RefEventReflectionPower(TSorData* sd, double owt, double r, double slope)
{
    const double halfPulseKm = nsAt(sd, owt) / kNsPerOwt * kmPerOwt(sd) * 0.5;
    return RefEventReflectionPower(sd, owt, r) + halfPulseKm * slope;
}

double RefEventReflection1(TSorData* sd, double owt1, double owt2)
{
    return RefEventReflection(sd, owt2, levelAt(sd, owt2) - levelAt(sd, owt1));
}

double RefEventReflectionByMaxBetweenOWTs(TSorData* sd, double owt1, double owt2)
{
    const double from = std::min(owt1, owt2);
    const long first = owtToPin(sd, from);
    const long last = owtToPin(sd, std::max(owt1, owt2));
    long at = first;
    double highest = sd->NumToLevel(first);
    for (long i = first + 1; i <= last; ++i) {
        const double level = sd->NumToLevel(i);
        if (level > highest) {
            highest = level;
            at = i;
        }
    }
    if (at == first)
        return bcDb(sd);
    return RefEventReflection(sd, from, highest - sd->NumToLevel(first));
}

double RefEventReflection(TSorData* sd, long i, double y1, long j, double y2, double d)
{
    const double step = stepAtPin(sd, i);
    if (!(step > 0.0))
        return 0.0;
    // A pulse longer than the whole trace has nothing more to average over.
    const double pointsInPulse = nsAt(sd, sd->FxdParams->NumToOwt(i)) / kNsPerOwt / step + 0.5;
    const auto points = truncSaturated<std::int32_t>(std::min(pointsInPulse, static_cast<double>(sd->DataPts->GetPointsNum()) + 1.0));
    if (j <= i || points <= 1)
        return 0.0;
    // The line from (i, y1) to (j, y2) less the loss d, and the loss spread
    // over the pulse: the backscatter under the peak.
    const double fall = (y1 - y2 - d) / static_cast<double>(j - i);
    const double lossPerPoint = d / static_cast<double>(points);
    double sum = 0.0;
    for (long k = 1; k < points; ++k)
        sum += sd->NumToLevel(i + k) - y1 + (fall + lossPerPoint) * static_cast<double>(k);
    const double h = sum / static_cast<double>(points - 1);
    return RefEventReflection(sd, sd->FxdParams->NumToOwt(i), h);
}

double RefEventReflection(TSorData* sd, long i, double level, double s1, double s2, double step)
{
    const double s = stepAtPin(sd, i);
    const double rate = RefAutoGetDbOnOwt(sd);
    if (!(s > 0.0) || !(rate > 0.0))
        return 0.0;
    const double pulse = nsAt(sd, sd->FxdParams->NumToOwt(i)) / kNsPerOwt;
    const double width = pulse / s;
    const double first = 1.5 / (s * rate) + 1.0;
    const double points = static_cast<double>(sd->DataPts->GetPointsNum());
    if (!(width > first + 1.0) || static_cast<double>(i) + width >= points)
        return 0.0;
    // The receiver's own fall after the peak is left out: start where it has
    // fallen 1.5 dB, and further on while the trace still falls.
    auto k = static_cast<long>(first);
    while (static_cast<double>(k) < width / 2.0 && sd->NumToLevel(i + k + 1) < sd->NumToLevel(i + k))
        ++k;
    const double kmPerPoint = s * kmPerOwt(sd);
    double sum = 0.0;
    long count = 0;
    for (; static_cast<double>(k) <= width; ++k) {
        const double model = RefMathSplicePower(step, s1 * kmPerPoint, s2 * kmPerPoint, width, static_cast<double>(k));
        sum += std::pow(10.0, sd->NumToLevel(i + k) / 5.0) - std::pow(10.0, (level - model) / 5.0);
        ++count;
    }
    const double bc = bcDb(sd);
    const double mean = count > 0 ? sum / static_cast<double>(count) : 0.0;
    if (mean < 0.0)
        return bc;
    return bc + 10.0 * std::log10(realPulse(sd, sd->FxdParams->NumToOwt(i)) * mean / std::pow(10.0, level / 5.0));
}

double RefEventMinReflection(TSorData* sd, double floor, double margin)
{
    const double p = poww(floor - sd->FxdParams->GetNF());
    return 2.0 * (2.2 / (p + 0.5) + 0.01) + margin;
}

// ---- one key event ----

void RefEventRCalculate(TSorData* sd, TSorBlockKeyEvents1E* event)
{
    event->ER = 0;
    const double peak = eventPeak(sd, event);
    const double base = std::max(baseBefore(sd, event), sd->MinLevel);
    const double h = levelAt(sd, event->ML4) - base;
    storeReflection(sd, event, peak, base, h, peak - base);
}

void RefEventRCalculateNegSplice(TSorData* sd, TSorBlockKeyEvents1E* event, double loss)
{
    event->ER = 0;
    const double peak = eventPeak(sd, event);
    // A gainer lifts the trace behind it: the peak stands on that higher level.
    const double base = baseBefore(sd, event);
    const double h = levelAt(sd, event->ML4) - base + loss;
    storeReflection(sd, event, peak, base, h, peak - (base - loss));
}

void RefEventSCalculate(TSorData* sd, TSorBlockKeyEvents1E* event)
{
    event->EL = 0;
    event->FullLoss = 0;
    if (event->EPT == 0)
        return;
    double aL = 0.0;
    double bL = 0.0;
    RefMathLSL(sd, event->ML0, event->ML1, aL, bL, 1.0);
    double aR = 0.0;
    double bR = 0.0;
    const double nearEnd = sd->GetMaxOwt() - 10.0;
    if (isEndEvent(*event) && event->ML2 > nearEnd && event->ML3 > nearEnd)
        bR = sd->MinLevel;  // nothing behind the end: the floor of the scale
    else
        RefMathLSL(sd, event->ML2, event->ML3, aR, bR, 1.0);
    storeLoss(*event, event->EPT * (aL - aR) + bL - bR);
    event->LMT = "LS";
    RefEventACICalculate(sd, event);
}

void RefEventACICalculate(TSorData* sd, TSorBlockKeyEvents1E* event)
{
    const double km = kmPerOwt(sd);
    if (event->ML1 <= event->ML0 || !(km > 0.0)) {
        event->ACI = 0;
        return;
    }
    double slope = 0.0;
    double intercept = 0.0;
    RefMathLSL(sd, event->ML0, event->ML1, slope, intercept, 1.0);
    const double t = static_cast<double>(event->ML1) - event->ML0;
    event->ACI = truncSaturated<std::int16_t>((-slope * t) / (t * km) * 1000.0);
}

void RefEventECalculate(TSorData* sd, TSorBlockKeyEvents1E* event)
{
    event->ML4 = 0;
    event->ML2 = event->ML3 = truncSaturated<std::int32_t>(sd->GetMaxOwt());
    RefEventRCalculate(sd, event);
    RefEventSCalculate(sd, event);
    sd->KeyEvents->ELMP2 = event->EPT;
    RefEventSetEEL(sd);
    RefEventSetORL(sd);
}

void RefEventMarkerR(TSorData* sd, TSorBlockKeyEvents1E* event)
{
    // The event starts where the trace has risen half-way from its start to
    // the peak.
    const long start = owtToPin(sd, event->EPT);
    const long peak = owtToPin(sd, event->ML4);
    event->EPT = truncSaturated<std::int32_t>(sd->FxdParams->NumToOwt(RefAutoSearchRef(sd, start, peak)));
    const double tail = 1.5 * nsAt(sd, event->ML4) / kNsPerOwt + 3.0 * stepAtOwt(sd, event->ML4);
    event->ML2 = truncSaturated<std::int32_t>(event->ML4 + tail);
}

void RefEventRecalculate(TSorData* sd, TSorBlockKeyEvents1E* event, int i)
{
    std::int32_t upper = event->ML2;
    if (const TSorBlockKeyEvents1E* next = keyEvent(sd, i + 1); next != nullptr && next != event)
        upper = std::min(upper, next->EPT);
    long owt = 0;
    sd->GetMax(event->EPT, upper, owt);
    event->ML4 = truncSaturated<std::int32_t>(static_cast<double>(owt));
    if (isEndEvent(*event)) {
        RefEventECalculate(sd, event);
        return;
    }
    RefEventRCalculate(sd, event);
    RefEventSCalculate(sd, event);
    if (event->FullLoss < 0)
        RefEventRCalculateNegSplice(sd, event, event->FullLoss / 1000.0);
}

int RefEventRecalculate(TSorData* sd, TSorBlockKeyEvents* events, int once)
{
    for (int i = 0; i < events->Events.count; ++i) {
        RefEventRecalculate(sd, events->Events.data[i], i);
        if (once != 0)
            return 1;
    }
    return 0;
}

void RefEventRecalculate(TSorData* sd, TSorBlockAUXEvents1E* event)
{
    const double m0 = event->ML0;
    const double m1 = event->ML1;
    double loss = 0.0;
    if (event->LMT == "LS") {
        double slope = 0.0;
        double intercept = 0.0;
        RefMathLSL(sd, m0, m1, slope, intercept, 1.0);
        loss = (m0 - m1) * slope;
    } else {
        loss = levelAt(sd, m0) - levelAt(sd, m1);
    }
    event->EL = truncSaturated<std::int16_t>(loss * 1000.0);
}

int RefEventLossMeasurable(TSorData* sd, TSorBlockKeyEvents1E* Event)
{
    assert(sd);
    assert(Event);
    const double last = sd->GetMaxOwt();
    if (last - Event->EPT < 200.0)
        return 0;
    if (Event->ML2 == Event->ML3 && last - Event->ML2 < 100.0)
        return 0;
    // A short pulse far down a strong trace: the receiver has not recovered.
    const double launch = sd->AUXParams->begLevel * -0.01;
    if (sd->GetRealNsPulse(Event->EPT) < 7.0 && owtToKm(sd, Event->EPT) > 0.1 && launch - levelAt(sd, Event->EPT) > 8.0)
        return 0;
    double y1 = 0.0;
    double y2 = -65.0;
    if (Event->ML2 == Event->ML3)
        y1 = levelAt(sd, Event->ML2);
    else
        RefMathLSL2(sd, Event->ML2, Event->ML3, y1, y2);
    const double floor = std::min(sd->AUXParams->GetNoisePeak(), sd->FxdParams->GetNF()) - 2.0;
    return (y1 >= floor || y2 >= floor) ? 1 : 0;
}

int RefEventLossMeasurable(TSorData* sd, int n)
{
    TSorBlockKeyEvents1E* event = keyEvent(sd, n);
    return event != nullptr ? RefEventLossMeasurable(sd, event) : 0;
}

double RefEventGetMeasurableDistance(TSorData* sd, int& n)
{
    for (int i = 0; i < keyEventCount(sd); ++i)
        if (RefEventLossMeasurable(sd, i) == 0) {
            n = i;
            return owtToKm(sd, keyEvent(sd, i)->EPT);
        }
    return 0.0;
}

double RefEventTrusting(TSorData* sd, int n)
{
    const TSorBlockKeyEvents1E* event = keyEvent(sd, n);
    if (event == nullptr)
        return 0.0;
    const double nf = RefAutoReSetNF(sd);
    const double pulse = nsAt(sd, event->EPT) / kNsPerOwt;
    double step = stepAtOwt(sd, event->EPT);
    if (!(step > 0.0))
        step = 1.0;
    // The mean level of the section before the event against the noise.
    const long first = owtToPin(sd, event->ML0);
    const double section = RefMathPower(sd, first, owtToPin(sd, event->ML1) - first, 0);
    const double q = std::pow(10.0, (nf - section) / 10.0);
    // A reflective event is placed by its peak: the higher above the noise,
    // the better. A non-reflective one has no peak (ER 0 is no reflectance).
    const double height = event->ER != 0 ? RefEventReflectionPower(sd, event->EPT, event->ER / 1000.0) : 0.0;
    const double v = height / (10.0 * std::log10(q + 1.0));
    if (v > 1.5)
        return 2.0 / v + 1.0;
    if (q >= 0.9)
        return (static_cast<double>(event->ML1) - event->ML0) * 0.5 / step;
    // A splice is placed by its step: the larger against the noise, the better.
    const double u = -10.0 * std::log10(1.0 - q);
    const double e = std::fabs(static_cast<double>(event->FullLoss)) / 1000.0;
    if (u > e)
        return pulse / step + 1.0;
    return pulse * ((0.1 / std::sqrt(pulse) + u) / e) / step + 1.0;
}
