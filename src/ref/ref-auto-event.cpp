// RefAuto: the walks that find the next event on a section, the width of a
// reflective event, and the splice search of short traces.
#include <algorithm>
#include <cmath>

#include "ref/ref-auto-p.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"

using refauto::boundPin;
using refauto::level;

namespace {

// The pulse of the segment at point i, in points.
long pulsePoints(const TSorData* sd, long i)
{
    const double s = refauto::spacingOwt(sd, i);
    if (s <= 0.0)
        return 0;
    const double ns = sd->FxdParams->GetNsPulse(sd->FxdParams->NumToOwt(i));
    return std::max(0L, truncSaturated<long>(ns / 0.2 / s));
}

} // namespace

// Choices where the phases leave them open:
// - the line at point i is the mean of the w points before it, carried
//   forward by the slope to i; the running sums of levels and of linear
//   powers move one point a step;
// - the slope is refreshed from the mean of the w points that ended 4w
//   back, and only to a positive value;
// - "below the line" is a deviation under -margin/2 (|margin| is used, the
//   caller may pass it with either sign); "a rise" one over |margin|;
// - a reflection's width runs while the trace stays margin/2 over the
//   line; a spike no wider than half a pulse (plus 3) must also stand
//   margin/2 over both points before it;
// - a step over `threshold` found P + w points ahead is handed to
//   RefAutoSearchSplicePin from w points ahead, with width P and m = w.
long RefAutoSearchEventPin(TSorData* sd, long start, long end, long w, float margin, float threshold, float level,
                           float slope, float& value)
{
    value = 0.0f;
    const long n = refauto::pointCount(sd);
    start = std::clamp(start, 0L, n);
    end = std::clamp(end, 0L, n);
    if (w < 1 || w > end - start)
        return end;
    const auto& aux = *sd->AUXParams;
    const float* lin = RefEmbGetLinf(sd);
    auto linAt = [&](long i) {
        if (i < 0 || i >= n)
            return static_cast<double>(aux.Log5ToLin(refauto::level(sd, i), 0));
        return static_cast<double>(lin != nullptr ? lin[i] : aux.Log5ToLin(refauto::level(sd, i), 0));
    };
    const float mg = std::fabs(margin);
    const long pulse = pulsePoints(sd, start);
    const double fw = static_cast<double>(w);

    double sumLevels = 0.0;
    double sumLinear = 0.0;
    for (long k = start; k < start + w; ++k) {
        sumLevels += refauto::level(sd, k);
        sumLinear += linAt(k);
    }
    double curSlope = slope;
    long lastRefresh = start + w;
    long runStart = -1;
    long runLength = 0;
    double runSum = 0.0;
    for (long i = start + w; i <= end; ++i) {
        const double meanLevels = sumLevels / fw;
        const double mean = meanLevels > level ? meanLevels : aux.LinToLog5(sumLinear / fw);
        const double line = mean - curSlope * (fw + 1.0) / 2.0;
        const double dev = refauto::level(sd, i) - line;

        const long ahead = i + pulse + w;
        if (ahead <= end && line - curSlope * static_cast<double>(pulse + w) - refauto::level(sd, ahead) > threshold) {
            value = static_cast<float>(line - curSlope * static_cast<double>(pulse + w) - refauto::level(sd, ahead));
            const long pin = RefAutoSearchSplicePin(sd, i + w, std::max(pulse, 1L), w, static_cast<float>(curSlope));
            return std::clamp(pin, start, end);
        }

        if (dev < -0.5 * mg) {
            if (runLength == 0) {
                runStart = i;
                runSum = 0.0;
            }
            ++runLength;
            runSum += dev;
            if (runLength > 8 && runLength > w / 2) {
                value = static_cast<float>(runSum / static_cast<double>(runLength));
                return runStart;
            }
        } else {
            runLength = 0;
        }

        if (dev > mg) {
            long j = i;
            double devSum = 0.0;
            float peakLevel = refauto::level(sd, i);
            while (j <= end) {
                const double dj = refauto::level(sd, j) - (line - curSlope * static_cast<double>(j - i));
                if (dj <= 0.5 * mg)
                    break;
                devSum += dj;
                peakLevel = std::max(peakLevel, refauto::level(sd, j));
                ++j;
            }
            const long width = j - i;
            bool reflection = width >= 3 && devSum / static_cast<double>(width) >= 0.5 * mg;
            if (reflection && width < pulse / 2 + 3)
                reflection = peakLevel > refauto::level(sd, i - 1) + 0.5f * mg &&
                             peakLevel > refauto::level(sd, i - 2) + 0.5f * mg;
            if (reflection) {
                value = static_cast<float>(devSum / static_cast<double>(width));
                return i;
            }
        }

        sumLevels += refauto::level(sd, i) - refauto::level(sd, i - w);
        sumLinear += linAt(i) - linAt(i - w);
        if (i - lastRefresh >= 5 * w && i - 5 * w + 1 >= start) {
            const double back = RefMathPower(sd, i - 5 * w + 1, w, 0);
            const double s = (back - sumLevels / fw) / (4.0 * fw);
            if (s > 0.0)
                curSlope = s;
            lastRefresh = i;
        }
    }
    return end;
}

// Choices where the phases leave them open:
// - `limit` is how far past `start` the peak may lie: a peak beyond it
//   that stands over 3 thr is another, higher event and gives -1;
// - one noise step is RefMathAddNoise over n points at `start`;
// - the flanks' centres are where the level crosses half way between mid
//   and the peak, interpolated between points; `height` is the peak over
//   mid, the mean of the fibre levels on both sides;
// - when the falling flank does not reach its centre by e, the section is
//   taken 2 and then 3 times as long, and the result is the mean of the
//   width cut at e and the one measured on the longer section.
float RefAutoGetWidthPlr(TSorData* sd, long& start, long e, long limit, long n, float slope, float thr, long& peak,
                         float& height)
{
    const long count = refauto::pointCount(sd);
    start = std::clamp(start, 0L, count - 1);
    e = std::min(e, count - 1);
    const float* lin = RefEmbGetLinf(sd);
    if (lin == nullptr || e <= start)
        return 0.0f;
    while (start > 0 && level(sd, start) - level(sd, start - 1) > slope)
        --start;
    const float mid = (level(sd, start) + level(sd, e)) * 0.5f;
    long win = (e - start) / 5;
    if (win < 10)
        win = std::max(n, 1L);
    win = std::min(win, e - start + 1);
    float mean = 0.0f;
    const long at = RefAutoGetAvrMax(lin, start, e, mean, static_cast<int>(win));
    if (at < 0)
        return 0.0f;
    float top = 0.0f;
    peak = RefAutoGetMax(sd, at, at + win - 1, top, -1);
    while (peak < e && level(sd, peak + 1) > level(sd, peak) + slope)
        ++peak;
    top = level(sd, peak);
    const float noiseStep = RefMathAddNoise(sd, start, std::max(n, 1L), 1);
    if (top - mid < 1.5f * noiseStep)
        return 0.0f;
    height = top - mid;
    if (peak - start > limit && height > 3.0f * thr)
        return -1.0f;

    const float half = (top + mid) * 0.5f;
    long j = peak;
    while (j > start && level(sd, j) >= half)
        --j;
    const float dl = level(sd, j + 1) - level(sd, j);
    const float left = static_cast<float>(j) + (dl != 0.0f ? (half - level(sd, j)) / dl : 0.0f);
    auto rightCentre = [&](long until, bool& reached) {
        long k = peak;
        while (k < until && level(sd, k) >= half)
            ++k;
        reached = level(sd, k) < half;
        const float dr = level(sd, k - 1) - level(sd, k);
        return static_cast<float>(k) - (dr != 0.0f && reached ? (half - level(sd, k)) / dr : 0.0f);
    };
    bool reached = false;
    const float width = rightCentre(e, reached) - left;
    if (reached)
        return width;
    for (long times = 2; times <= 3; ++times) {
        const long until = std::min(start + times * (e - start), count - 1);
        const float longer = rightCentre(until, reached) - left;
        if (reached)
            return (width + longer) * 0.5f;
    }
    return width;
}

// Choices where the phases leave them open:
// - `rate` is the receiver's fall per point (RefAutoGetDbOnOwt), `step` is
//   in OWT units and counts in points;
// - a `slope` of 0 or below on entry is replaced by the wavelength's
//   default attenuation per point; the slope is then refined over the
//   straight stretch (CalcLossPin) and given back;
// - the ripple is measured with windows of W points; a large step found by
//   RefAutoSearchMaxSplice is taken as the candidate at once, and a rise
//   over the upper threshold ends the section before it (a reflection is
//   not a splice);
// - a candidate holds when RefAutoDopuskLosPin leaves a loss of its sign
//   and the means over W/2, W and 2W points on both sides all show at least
//   half the threshold; the loss given back is RefAutoGetSpl's over W
//   points on each side of the event located.
long RefAutoSearchSpliceEvent(TSorData* sd, long a, long b, float step, float up, float down, float& slope,
                              float& result, const short* table, long& pin, long& end)
{
    (void)table;  // the noise table only ever fed a discarded noise estimate
    result = 0.0f;
    const long count = refauto::pointCount(sd);
    a = std::clamp(a, 0L, count);
    b = std::clamp(b, 0L, count - 1);
    pin = a;
    end = b;
    if (b - a < 16)
        return 0;
    const double nf = sd->FxdParams->GetNF();
    if (RefMathPower(sd, a, b - a, 0) < nf)
        return 0;
    const double spacing = refauto::spacingOwt(sd, a);
    if (spacing <= 0.0)
        return 0;
    const long pulse = pulsePoints(sd, a);
    const double rate = std::max(RefAutoGetDbOnOwt(sd) * spacing, 1e-3);
    const long guard = truncSaturated<long>(3.0 / rate + static_cast<double>(pulse) + 0.5) + 2;
    const long unit = std::max(
        4L, truncSaturated<long>(2.5 / rate + static_cast<double>(pulse) / 4.0 + step / spacing + 8.0));
    if (3 * unit >= b - a)
        return 0;
    if (!(slope > 0.0f))
        slope = static_cast<float>(sd->FxdParams->LenDS() * RefAutoGetLoss(sd));

    long at = 0;
    float ripple = 0.0f;
    if (b - a > 50 * (pulse + unit)) {
        const long half = (a + b) / 2;
        ripple = std::max(RefAutoCalcPolar(sd, a, half, unit, slope, at),
                          RefAutoCalcPolar(sd, half, b, unit, slope, at));
    } else {
        ripple = RefAutoCalcPolar(sd, a, b, unit, slope, at);
    }
    ripple *= 3.0f;
    const float startLevel = level(sd, a);
    const float upUsed = startLevel < nf + 3.0 ? 3.0f * up : up;
    const float thrUp = std::max(ripple, 3.0f * upUsed);
    const float thrDown = std::min(3.0f * down, -ripple);

    float ratio = startLevel > nf + 5.0 ? 1.2f : (startLevel > nf + 3.0 ? 1.4f : 1.6f);
    if (ripple > static_cast<float>(unit) * slope)
        ratio *= 2.0f;
    long straight = RefAutoSearchStraightLoss(sd, a, b, unit, ratio, slope);
    if (straight < 0)
        straight = RefAutoSearchStraightLoss2(sd, a, b, unit, 0.9f * slope, 1.3f * slope);
    if (straight < 0)
        return 0;
    slope = CalcLossPin(sd, straight, std::min(b, straight + 3 * unit), slope);

    // A reflection ends the section for this search.
    long last = b;
    float fall = 0.0f;
    float rise = 0.0f;
    long fallAt = 0;
    long riseAt = 0;
    RefAutoSearchMaxdbRiseFall(sd, straight, b, unit, fall, fallAt, rise, riseAt, slope);
    if (rise > thrUp && riseAt - guard > straight + 2 * unit)
        last = riseAt - guard;
    long fallPin = 0;
    const float bigFall = RefAutoSearchMaxdbFall(sd, straight, last, unit, fallPin, 100.0f);
    float limit = 0.7f * ripple + up + 0.01f;
    const double headroom = level(sd, straight) - (nf - 2.0 * std::log10(static_cast<double>(unit)));
    if (headroom < 9.0)
        limit += static_cast<float>((9.0 - headroom) * 0.05);
    long splicePin = 0;
    const float splice = RefAutoSearchMaxSplice(sd, straight, last, unit, splicePin, slope, limit);

    auto confirm = [&](long i, float diff) {
        const float loss = RefAutoDopuskLosPin(sd, i - unit, i, i + unit, i + 2 * unit, diff, slope, ripple / 3.0f);
        if (loss == 0.0f || (loss > 0.0f) != (diff > 0.0f))
            return false;
        const float thr = diff > 0.0f ? thrUp : thrDown;
        for (long len : {unit / 2, unit, 2 * unit}) {
            if (len < 1 || i - len < a || i + unit + len > b)
                continue;
            const double before = RefMathPower(sd, i - len, len, 0);
            const double after = RefMathPower(sd, i + unit, len, 0);
            const double seen = before - after - slope * static_cast<double>(unit + len);
            if ((seen > 0.0) != (diff > 0.0) || std::fabs(seen) < 0.5 * std::fabs(thr))
                return false;
        }
        return true;
    };
    auto locate = [&](long i) {
        const long e = RefAutoSearchSplicePin(sd, i, std::max(pulse, 1L), unit, slope);
        const long width = std::max(pulse, 1L);
        result = RefAutoGetSpl(sd, e - 1, straight, e + width + 1, b, unit, unit, slope);
        pin = std::max(straight, e - unit);
        end = std::min(b, e + unit);
        return e;
    };

    if (std::fabs(splice) >= limit && (splice > thrUp || splice < thrDown) && splicePin > straight)
        return locate(splicePin);
    const float bigLoss = bigFall - static_cast<float>(unit) * slope;
    if (bigLoss > thrUp && fallPin > straight && confirm(fallPin, bigLoss))
        return locate(fallPin);

    // Two triples of points a unit apart walk the section.
    const float expected = static_cast<float>(unit) * slope;
    for (long i = std::max(straight + 1, a + unit); i + unit + 2 <= last; ++i) {
        const float s0 = level(sd, i) + level(sd, i + 1) + level(sd, i + 2);
        const float s1 = level(sd, i + unit) + level(sd, i + unit + 1) + level(sd, i + unit + 2);
        const float diff = (s0 - s1) / 3.0f - expected;
        if ((diff > thrUp || diff < thrDown) && confirm(i, diff))
            return locate(i);
    }
    return 0;
}
