// RefMath: least-squares lines over pins (float, for the searches' inner
// loops) and over one-way time (double, for reported results), the block
// fit of noisy stretches and the deviation of a stretch from its own fit.
#include <algorithm>
#include <cmath>

#include "ref/ref-math-p.h"
#include "ref/ref-math.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"

using refmath::detail::clampPin;
using refmath::detail::LevelReader;
using refmath::detail::truncPin;

namespace {

// Running sums of a fit whose x counts points backwards from its last pin:
// the point at `last` has x = 0, the one a stride before it x = 1, ...
struct BackwardSums
{
    long n = 0;
    float sy = 0.0f;
    float sxy = 0.0f;

    void add(float y)
    {
        sy += y;
        sxy += y * static_cast<float>(n);
        ++n;
    }
};

// Adds the levels at last, last - stride, ... down to `first`. The stretch
// inside the trace is read from the cache without a check a point; only the
// parts beyond either end take the outside level.
void sumBackwards(const LevelReader& levels, long first, long last, long stride, BackwardSums& sums)
{
    const float outside = TSorBlockDataPoints::OutsideLevel;
    long i = last;
    for (; i >= first && i >= levels.count(); i -= stride)
        sums.add(outside);
    if (i >= first && i >= 0) {
        const long low = std::max(first, 0L);
        const float* cache = levels.span(0, levels.count());
        for (; i >= low; i -= stride)
            sums.add(cache[i]);
    }
    for (; i >= first; i -= stride)
        sums.add(outside);
}

// Slope (fall per point, divided by the stride) and offset (the level at x
// = 0) of the sums, in float. The x sums are closed forms: Sx = n(n-1)/2,
// Sxx = Sx(2n-1)/3, both whole numbers. A singular fit (fewer than two
// points) gives slope 1.0 and offset 0.
void closeBackwardFit(const BackwardSums& sums, long stride, float& slope, float& offset)
{
    const double n = static_cast<double>(sums.n);
    const double sxWhole = n * (n - 1.0) / 2.0;
    const auto sx = static_cast<float>(sxWhole);
    const auto sxx = static_cast<float>(sxWhole * (2.0 * n - 1.0) / 3.0);
    const auto fn = static_cast<float>(sums.n);
    const float d = sx * sx - fn * sxx;
    if (d == 0.0f) {
        slope = 1.0f;
        offset = 0.0f;
        return;
    }
    slope = (sx * sums.sy - fn * sums.sxy) / d / static_cast<float>(stride);
    offset = (sx * sums.sxy - sums.sy * sxx) / d;
}

// The pins of a stretch given in one-way time, as the double fits take them;
// `outside` when the whole stretch lies off the trace on one side.
struct PinRange
{
    long n1;
    long n2;
    bool outside;
};

// The pins are held to the points the trace holds: a file whose fixed
// parameters promise billions of points it does not have, or markers far
// beyond its end, would otherwise send the fit over millions of points that
// all read the outside level, which tell nothing about the line.
PinRange pinsOf(const TSorData* sd, double owt1, double owt2)
{
    const long count = LevelReader(sd).count();
    const long last = std::max(count - 1, 0L);
    const long p1 = truncPin(sd->FxdParams->OwtTofNum(owt1));
    const long p2 = truncPin(sd->FxdParams->OwtTofNum(owt2));
    const bool outside = (p1 < 0 && p2 < 0) || (p1 >= count && p2 >= count);
    return {std::clamp(p1, 0L, last), std::clamp(p2, 0L, last), outside};
}

} // namespace

// ---- fits over pins, float ----

void RefMathLSLf(TSorData* sd, long first, long last, float& slope, float& offset)
{
    const LevelReader levels(sd);
    if (first == last) {
        slope = 0.0f;
        offset = levels.at(first);
        return;
    }
    first = clampPin(first, levels.count());
    last = clampPin(last, levels.count());
    // A very long stretch takes every second point: half the work, and the
    // line of so many points hardly moves.
    const long stride = (last - first < 30001) ? 1 : 2;
    BackwardSums sums;
    sumBackwards(levels, first, last, stride, sums);
    closeBackwardFit(sums, stride, slope, offset);
}

void RefMathLSL2f(TSorData* sd, long first, long last, float& yFirst, float& yLast)
{
    const long count = static_cast<long>(sd->DataPts->Levels.size());
    first = clampPin(first, count);
    last = clampPin(last, count);
    float slope = 0.0f;
    float offset = 0.0f;
    RefMathLSLf(sd, first, last, slope, offset);
    yFirst = static_cast<float>(last - first) * slope + offset;
    yLast = offset;
}

float RefMathLSL4f(TSorData* sd, long a, long b)
{
    const LevelReader levels(sd);
    a = clampPin(a, levels.count());
    b = clampPin(b, levels.count());
    const auto third = static_cast<float>(static_cast<double>(b - a) / 3.0);
    const float y0 = levels.at(a);
    const float y1 = levels.at(a + static_cast<long>(third));
    const float y2 = levels.at(a + static_cast<long>(2.0f * third + 0.5f));
    const float y3 = levels.at(b);
    // On a straight line y1 - y2 is a third of the fall and y0 - y3 all of
    // it: (1/3 + 3) x 0.3 = 1.
    return static_cast<float>((y1 + (y0 - y3) * 3.0f - y2) * 0.3);
}

long RefMathGetPinWithLsp(TSorData* sd, long lowest, long start, long end, float target, float& yAtBest, float& yEnd,
                          float& relError)
{
    const LevelReader levels(sd);
    if (start == end) {
        yAtBest = levels.at(start);
        yEnd = yAtBest;
        return start;
    }
    lowest = clampPin(lowest, levels.count());
    start = clampPin(start, levels.count());
    end = clampPin(end, levels.count());

    BackwardSums sums;
    sumBackwards(levels, start, end, 1, sums);
    float slope = 0.0f;
    float offset = 0.0f;
    closeBackwardFit(sums, 1, slope, offset);
    long best = start;
    float bestSlope = slope;
    float err = slope - target;
    // Every pin down to `lowest` is tried: a slope that drifts away from the
    // target may come back nearer further on.
    for (long i = start - 1; i >= lowest; --i) {
        sums.add(levels.at(i));
        float grownSlope = 0.0f;
        float grownOffset = 0.0f;
        closeBackwardFit(sums, 1, grownSlope, grownOffset);
        const float e = grownSlope - target;
        if (std::fabs(e) < std::fabs(err)) {
            best = i;
            bestSlope = grownSlope;
            offset = grownOffset;
            err = e;
        }
    }
    yEnd = offset;
    yAtBest = static_cast<float>(end - best) * bestSlope + offset;
    relError = err / target;
    return best;
}

// ---- fits over one-way time, double ----

void RefMathLSL_Simple(TSorData* sd, double owt1, double owt2, double& slope, double& intercept, double weight)
{
    const LevelReader levels(sd);
    const auto [n1, n2, outside] = pinsOf(sd, owt1, owt2);
    // Off the trace every level reads the outside level: a flat line there.
    if (n1 == n2 || (outside && n1 <= n2)) {
        slope = 0.0;
        intercept = weight * static_cast<double>(outside ? TSorBlockDataPoints::OutsideLevel : levels.at(n1));
        return;
    }
    // A weight within 1e-5 of one is one: the plain levels keep the fit exact.
    const bool weighted = std::fabs(weight - 1.0) > 1e-5;
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    double n = 0.0;
    double sx = 0.0;
    double sxx = 0.0;
    double sy = 0.0;
    double sxy = 0.0;
    for (long i = n1; i <= n2; ++i) {
        const double x = fxd.NumToOwt(i);
        double y = levels.at(i);
        if (weighted)
            y *= weight;
        n += 1.0;
        sx += x;
        sxx += x * x;
        sy += y;
        sxy += x * y;
    }
    const double d = sx * sx - n * sxx;
    if (n1 > n2 || d == 0.0) {
        slope = 1.0;
        intercept = 0.0;
        return;
    }
    slope = (sx * sy - n * sxy) / d;
    intercept = (sx * sxy - sxx * sy) / d;
}

void RefMathLSL(TSorData* sd, double owt1, double owt2, double& slope, double& intercept, double weight)
{
    RefMathLSL_Simple(sd, owt1, owt2, slope, intercept, weight);
}

void RefMathLSL2(TSorData* sd, double owt1, double owt2, double& y1, double& y2)
{
    double slope = 0.0;
    double intercept = 0.0;
    RefMathLSL(sd, owt1, owt2, slope, intercept, 1.0);
    y1 = owt1 * slope + intercept;
    y2 = owt2 * slope + intercept;
}

void RefMathDeviationFromLSL(TSorData* sd, double owt1, double owt2, double& slope, double& intercept,
                             double& deviation, double /*weight*/)
{
    deviation = 0.0;
    const auto [n1, n2, outside] = pinsOf(sd, owt1, owt2);
    if (n1 == n2 || outside)
        return;
    const LevelReader levels(sd);
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    for (long i = n1; i <= n2; ++i) {
        const double distance = std::fabs(levels.at(i) - (slope * fxd.NumToOwt(i) + intercept));
        deviation = std::max(deviation, distance);
    }
}

void RefMathLSL_AndDeviation(TSorData* sd, double owt1, double owt2, double& slope, double& intercept,
                             double& deviation, double weight)
{
    RefMathLSL_Simple(sd, owt1, owt2, slope, intercept, weight);
    RefMathDeviationFromLSL(sd, owt1, owt2, slope, intercept, deviation, weight);
}

void RefMathLeastSquareLoss(TSorData* sd, double owt1, double owt2, double& slope, double& intercept)
{
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const LevelReader levels(sd);
    const double a = owt1;
    const double b = owt2;
    const double f1 = std::max(fxd.OwtTofNum(a), 0.0);
    const double f2 = std::max(fxd.OwtTofNum(b), 0.0);
    // Held within reach of the points the trace holds, as every walk is.
    const long n1 = clampPin(truncPin(f1), levels.count());
    const long n2 = clampPin(truncPin(f2), levels.count());
    if (static_cast<float>(f2) - static_cast<float>(f1) < 1.0f) {
        intercept = levels.at(n2);
        slope = 0.0;
        return;
    }
    // Each level stands for the time up to the next point; the first one
    // only from `a` on, the last one only up to `b`.
    double d = fxd.NumToOwt(n1 + 1) - a;
    double s1 = d * levels.at(n1);
    double s2 = 0.0;
    bool looped = false;
    double tNext = fxd.NumToOwt(n1 + 1);
    for (long i = n1 + 1; i < n2; ++i) {
        const double t = tNext;
        tNext = fxd.NumToOwt(i + 1);
        d = tNext - t;
        const double w = d * levels.at(i);
        s1 += w;
        s2 += w * (t - a);
        looped = true;
    }
    const double tEnd = fxd.NumToOwt(n2);
    const double length = b - a;
    const double xl = looped ? tEnd - a : d;
    const double e = b - tEnd;
    const double yl = levels.at(n2);
    const double sumA = yl * e + s1;
    const double sumB = yl * e * xl + s2;
    const double q = length * (length + d);
    // Only a trace without spacing gets here with nothing to divide by.
    if (q == 0.0 || length == 0.0) {
        intercept = yl;
        slope = 0.0;
        return;
    }
    intercept = (sumA * (2.0 * length - d) / 3.0 - sumB) * 6.0 / q;
    slope = (sumB - sumA * (length - d) / 2.0) * 12.0 / q / length;
}

// ---- block fit ----

void RefMathLSLpt(TSorData* sd, long first, long last, double& yFirst, double& yLast, long block)
{
    const LevelReader levels(sd);
    first = clampPin(first, levels.count());
    last = clampPin(last, levels.count());
    // A block holds at least one point.
    block = std::max(block, 1L);
    if (last - block < first) {
        yFirst = levels.at(first);
        yLast = yFirst;
        return;
    }
    const long span = last - first;
    // Short stretches get smaller blocks, about 30 of them.
    if (span < block * 30)
        block = span / 30 + 1;
    const long rem = span % block;
    double n = 0.0;
    double sx = 0.0;
    double sxx = 0.0;
    double sy = 0.0;
    double sxy = 0.0;
    auto add = [&](double x, double p) {
        n += 1.0;
        sx += x;
        sxx += x * x;
        sy += p;
        sxy += p * x;
    };
    // The points that do not fill a block make a short one at the start;
    // each block's mean stands at its centre, in points from `first`.
    if (rem != 0)
        add(static_cast<double>(rem - 1) / 2.0, RefMathPower(sd, first, rem, 1));
    for (long o = rem; first + o <= last - block; o += block)
        add(static_cast<double>(block - 1) / 2.0 + static_cast<double>(o), RefMathPower(sd, first + o, block, 1));
    const double denominator = n * sxx - sx * sx;
    // A single block (a stretch of one point) has no slope.
    if (denominator == 0.0) {
        yFirst = levels.at(first);
        yLast = yFirst;
        return;
    }
    const double g = 1.0 / denominator;
    const double a = g * (sy * sxx - sxy * sx);
    yFirst = a;
    yLast = a + g * (n * sxy - sy * sx) * static_cast<double>(span);
}

// ---- deviations ----

int RefMathSQO(TSorData* sd, long first, long last, float& deviation, float& yFirst, float& yLast)
{
    const LevelReader levels(sd);
    const long count = static_cast<long>(sd->DataPts->GetPointsNum());
    first = clampPin(first, levels.count());
    last = clampPin(last, levels.count());
    if (last - first < 3 || last > count)
        return 0;
    RefMathLSL2f(sd, first, last, yFirst, yLast);
    const auto length = static_cast<float>(last - first);
    const float step = (yFirst - yLast) / length;
    float sum = 0.0f;
    for (long i = first; i < last; ++i) {
        const float distance = levels.at(i) - (yFirst - static_cast<float>(i - first) * step);
        sum += distance * distance;
    }
    deviation = std::sqrt(sum / length);
    return 1;
}
