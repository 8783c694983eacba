// RefAuto: elementary searches, extremes, steps and slopes along a trace.
#include "ref/ref-auto.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>

#include "ref/ref-auto-p.h"
#include "sor/sor-block-key-events.h"

using refauto::boundPin;
using refauto::level;
using refauto::pointCount;

// ---- elementary searches ----

long RefAutoSearchBackLess(const float* a, long i, float v, long stop)
{
    if (i < stop)
        return i;
    for (long k = i; k >= stop; --k)
        if (a[k] < v)
            return k;
    return stop - 1;
}

long RefAutoSearchBackLess(TSorData* sd, long i, float v, long stop)
{
    if (i < stop)
        return i;
    i = boundPin(sd, i);
    stop = std::min(boundPin(sd, stop), i);
    for (long k = i; k >= stop; --k)
        if (level(sd, k) < v)
            return k;
    return stop - 1;
}

long RefAutoSearchBackGreather(TSorData* sd, long i, float v)
{
    for (long k = boundPin(sd, i); k >= 0; --k)
        if (level(sd, k) > v)
            return k;
    return -1;
}

long RefAutoSearchBackGreather(const float* a, long end, long w, float v)
{
    if (w < 1 || end - w + 1 < 0)
        return -1;
    // The sum is moved by one sample at a time, in double so that a long
    // walk does not drift.
    double sum = 0.0;
    for (long k = end - w + 1; k <= end; ++k)
        sum += a[k];
    const double limit = static_cast<double>(w) * v;
    if (sum > limit)
        return end - w + 1;
    // The block starting at j answers j - 1, one below its start: the
    // positions this search has always reported.
    for (long j = end - w; j >= 0; --j) {
        sum += a[j] - a[j + w];
        if (sum > limit)
            return j - 1;
    }
    return -1;
}

long RefAutoSearchStraightLess(TSorData* sd, long i, float v)
{
    const long n = pointCount(sd);
    for (long k = boundPin(sd, i); k < n; ++k)
        if (level(sd, k) < v)
            return k;
    return n;
}

long RefAutoSearchStraightLess(TSorData* sd, long i, float v, float slope)
{
    const long n = pointCount(sd);
    for (long k = boundPin(sd, i); k < n; ++k)
        if (level(sd, k) < v - slope * static_cast<float>(k - i))
            return k;
    return n;
}

long RefAutoSearchStraightGreather(TSorData* sd, long i, float v)
{
    const long n = pointCount(sd);
    for (long k = boundPin(sd, i); k < n; ++k)
        if (level(sd, k) > v)
            return k;
    return n;
}

// ---- means and extremes ----

float RefAutoGetAverage(const float* a, long start, long count)
{
    if (start < 0) {
        count += start;
        start = 0;
    }
    if (count < 1)
        return 0.0f;
    double sum = 0.0;
    for (long k = start; k < start + count; ++k)
        sum += a[k];
    return static_cast<float>(sum / static_cast<double>(count));
}

namespace {

// The extreme of the samples start..end with the tie rule of `mode`;
// `sample(k)` reads one, `better(x, y)` is true when x is strictly more
// extreme than y.
template <class Sample, class Better>
long extremeOf(Sample sample, long start, long end, float& v, int mode, Better better)
{
    if (start > end)
        return start;
    long first = start;
    long last = start;
    float best = sample(start);
    for (long k = start + 1; k <= end; ++k) {
        const float x = sample(k);
        if (better(x, best)) {
            best = x;
            first = last = k;
        } else if (x == best) {
            last = k;
        }
    }
    v = best;
    if (mode > 0)
        return last;
    if (mode < 0)
        return first;
    return (first + last) / 2;
}

} // namespace

long RefAutoGetMin(const float* a, long start, long end, float& v, int mode)
{
    return extremeOf([a](long k) { return a[k]; }, start, end, v, mode, [](float x, float y) { return x < y; });
}

long RefAutoGetMax(const float* a, long start, long end, float& v, int mode)
{
    return extremeOf([a](long k) { return a[k]; }, start, end, v, mode, [](float x, float y) { return x > y; });
}

long RefAutoGetMax(TSorData* sd, long start, long end, float& v, int mode)
{
    return extremeOf([sd](long k) { return level(sd, k); }, std::max(start, 0L), boundPin(sd, end), v, mode,
                     [](float x, float y) { return x > y; });
}

long RefAutoGetMin(TSorData* sd, long start, long end, float& v)
{
    start = boundPin(sd, start);
    end = boundPin(sd, end);
    long at = start;
    v = level(sd, start);
    for (long k = start + 1; k < end; ++k) {
        const float x = level(sd, k);
        if (x < v) {
            v = x;
            at = k;
        }
    }
    return at;
}

namespace {

// The sliding mean of w samples whose sum, scaled by g^k at step k, is most
// extreme. `isMin` picks the minimum; the two start their comparison
// differently (see the header).
long avrExtreme(const float* a, long start, long end, float& mean, int w, float dB, bool isMin)
{
    mean = 0.0f;
    if (a == nullptr || w < 1 || end - start + 1 < w)
        return -1;
    const double g = std::pow(10.0, dB / 5.0);
    double sum = 0.0;
    for (long k = start; k < start + w; ++k)
        sum += a[k];
    double best = isMin ? sum : a[start];
    long at = start;
    double atSum = sum;
    double scale = 1.0;
    for (long i = start;; ++i) {
        const double scaled = sum * scale;
        if (isMin ? scaled <= best : scaled >= best) {
            best = scaled;
            at = i;
            atSum = sum;
        }
        if (i + w > end)
            break;
        sum += a[i + w] - a[i];
        scale *= g;
    }
    mean = static_cast<float>(atSum / w);
    return at;
}

} // namespace

long RefAutoGetAvrMin(const float* a, long start, long end, float& mean, int w, float dB)
{
    return avrExtreme(a, start, end, mean, w, dB, true);
}

long RefAutoGetAvrMax(const float* a, long start, long end, float& mean, int w, float dB)
{
    return avrExtreme(a, start, end, mean, w, dB, false);
}

long RefAutoGetAvrMax(const float* a, long start, long end, float& mean, int w)
{
    return avrExtreme(a, start, end, mean, w, 0.0f, false);
}

// ---- steps, slopes and ripple ----

float RefAutoSearchMaxdbFall(TSorData* sd, long start, long end, long w, long& at, float limit)
{
    at = start;
    start = boundPin(sd, start);
    end = boundPin(sd, end);
    // A negative width counts as an empty range.
    if (w < 0 || start > end - w)
        return 0.0f;
    float best = 0.0f;
    for (long i = start; i <= end - w; ++i) {
        const float d = level(sd, i) - level(sd, i + w);
        if (d > best) {
            best = d;
            at = i;
            if (d >= limit)
                return d;
        }
    }
    return best;
}

float RefAutoSearchMaxFall(TSorData* sd, long start, long end, long w, long& at)
{
    const float db = RefAutoSearchMaxdbFall(sd, start, end, w, at, 100.0f);
    const double km = refauto::kmBetween(sd, start, start + w);
    if (km == 0.0)
        return 0.0f;
    return static_cast<float>(db / km);
}

long RefAutoSearchRef(TSorData* sd, long a, long b)
{
    const float la = level(sd, a);
    const float lb = level(sd, b);
    if (la > lb)
        return a;
    return RefAutoSearchBackLess(sd, b, (la + lb) / 2.0f, 0);
}

double RefAutoGetOwtBW(TSorData* sd)
{
    const double rate = RefAutoGetDbOnOwt(sd);
    return rate != 0.0 ? 1.5 / rate : 0.0;
}

float RefAutoSearchRefdbFall(TSorData* sd, long start, long end, long w, float tol, float slope, long& at)
{
    const float hi = static_cast<float>(w) * slope + tol;
    const float lo = static_cast<float>(w) * slope - tol;
    float best = 0.0f;
    start = boundPin(sd, start);
    end = boundPin(sd, end);
    w = std::clamp(w, 0L, pointCount(sd) + 1);  // wider reads only the outside level
    for (long i = start; i < end - w; ++i) {
        const float b = level(sd, i) - level(sd, i + w);
        if (b > hi || b < lo) {
            at = i;
            return b;
        }
        if (std::fabs(b) > std::fabs(best)) {
            at = i;
            best = b;
        }
        // A long step that stays in the band over twice its width lets the
        // walk skip a width.
        if (w > 10) {
            const float c = level(sd, i) - level(sd, i + 2 * w);
            if (c > lo && c < hi)
                i += w;
        }
    }
    at = 0;
    return best;
}

float RefAutoSearchMaxdbRiseFall(TSorData* sd, long start, long end, long w, float& fall, long& fallAt, float& rise,
                                 long& riseAt, float slope)
{
    start = boundPin(sd, start);
    const long e = std::max(boundPin(sd, end), start);
    const long ww = std::max(std::min(e - start, w), 0L);
    const float base = static_cast<float>(ww) * slope;
    const float d0 = level(sd, start + ww) - level(sd, start);
    fall = rise = d0;
    fallAt = riseAt = start;
    // Straight through the levels, two reads a step: the cost per point is
    // the same on any length.
    const std::vector<float, DefaultInitAllocator<float>>& lv = sd->DataPts->Levels;
    const long n = pointCount(sd);
    for (long i = start; i <= e - ww; ++i) {
        const float d = (i >= 0 && i + ww < n) ? lv[static_cast<std::size_t>(i + ww)] - lv[static_cast<std::size_t>(i)]
                                               : level(sd, i + ww) - level(sd, i);
        if (d > rise) {
            rise = d;
            riseAt = i;
        } else if (d < fall) {
            fall = d;
            fallAt = i;
        }
    }
    fall += base;
    rise += base;
    const long steps = ww / 2 - 1;
    if (ww > 1) {
        long p = riseAt + ww;
        for (long k = 0;; ++k, --p) {
            const float x = slope + (level(sd, p) - level(sd, p - 1));
            if (x > 0.0f)
                rise += x;
            if (!(x >= 0.0f && k < steps))
                break;
        }
    }
    // The fall is refined from the end of the rise's window, not from its
    // own: required behaviour. Without a step there is nothing to divide by.
    if (ww > 0) {
        long p = riseAt + ww;
        for (long k = 0;; ++k, --p) {
            const float u = -fall / static_cast<float>(ww - k);
            const float y = level(sd, p - 1) - level(sd, p) - slope - u;
            if (y > 0.0f)
                fall -= y;
            if (!(y >= 0.0f && k < steps))
                break;
        }
    }
    return std::max(rise, -fall);
}

float RefAutoSearchMaxdbRiseFall(TSorData* sd, long start, long end, long w, float slope)
{
    float fall = 0.0f;
    float rise = 0.0f;
    long fallAt = 0;
    long riseAt = 0;
    RefAutoSearchMaxdbRiseFall(sd, start, end, w, fall, fallAt, rise, riseAt, 0.0f);
    const long apart = std::labs(riseAt - fallAt);
    if (apart < 3 * w && apart < (end - start) / 3) {
        // Rise and fall close together are likely one event: look beside it.
        const long t = w / 3;
        const long lo = std::min(riseAt, fallAt) - t;
        const long hi = std::max(riseAt, fallAt) + t;
        if (lo - start > w)
            RefAutoSearchMaxdbRiseFall(sd, start, lo, w, fall, fallAt, rise, riseAt, 0.0f);
        if (end - hi > w) {
            float fall2 = 0.0f;
            float rise2 = 0.0f;
            long fallAt2 = 0;
            long riseAt2 = 0;
            RefAutoSearchMaxdbRiseFall(sd, hi, end, w, fall2, fallAt2, rise2, riseAt2, 0.0f);
            rise = std::max(rise, rise2);
            fall = std::min(fall, fall2);
        }
    }
    return std::fabs(rise + fall + 2.0f * slope * static_cast<float>(w)) + (rise - fall) * 0.25f;
}

long RefAutoOtkatEnd(TSorData* sd, long p, long stop, double e)
{
    if (p < stop)
        return stop;
    p = boundPin(sd, p);
    stop = std::min(boundPin(sd, stop), p);
    const auto e2 = static_cast<float>(2.0 * e);
    const auto eHalf = static_cast<float>(0.5 * e);
    // The highest level over stop..k, built once on first need so that the
    // look-back of step 3 costs one read however far the walk goes.
    std::vector<float> highestFromStop;
    auto anyAtLeast = [&](long k, float v) {
        if (k < stop)
            return false;
        if (highestFromStop.empty()) {
            highestFromStop.resize(static_cast<std::size_t>(p - stop + 1));
            float m = level(sd, stop);
            for (long j = stop; j <= p; ++j) {
                m = std::max(m, level(sd, j));
                highestFromStop[static_cast<std::size_t>(j - stop)] = m;
            }
        }
        return highestFromStop[static_cast<std::size_t>(k - stop)] >= v;
    };
    float cur = level(sd, p);
    float dPrev = 0.0f;
    for (;;) {
        if (p <= stop + 1)
            return p;
        const float v = level(sd, p - 1);
        const float d = cur - v;
        bool next = false;
        if (d > 0.0f && d < e && !anyAtLeast(p - 2, v))
            next = true;  // nothing behind stands as high: keep walking
        if (!next) {
            if (d <= eHalf) {
                const float w = level(sd, p - 2);
                if (eHalf + w > cur + d)
                    return p;
                if (e2 >= v - w && level(sd, p + 1) - cur > (e + d) * 10.0)
                    return p - 1;
            }
            if (d <= e && dPrev < e2)
                return p;
        }
        cur = v;
        --p;
        dPrev = d;
    }
}

float RefAutoCalcEDZ(TSorData* sd, long i)
{
    const float t = level(sd, i) - 1.5f;
    const long r = RefAutoSearchStraightLess(sd, i, t);
    float a = level(sd, r - 1) - level(sd, r);
    const float fr = a != 0.0f ? (t - level(sd, r)) / a : 0.0f;
    const long l = RefAutoSearchBackLess(sd, i, t, 0);
    a = level(sd, l + 1) - level(sd, l);
    const float fl = a != 0.0f ? (t - level(sd, l)) / a : 0.0f;
    return static_cast<float>(r - l) - fr - fl;
}

double RefAutoGetLoss(TSorData* sd)
{
    const double nw = sd->GenParams->NW;
    const double aw = sd->FxdParams->AW;
    double delta = aw / 10.0 - nw;
    if (aw == 0.0 || std::fabs(delta) > 500.0)
        delta = 0.0;
    const int nominal = sd->GenParams->NW;
    double base = 0.2;
    if (nominal == 850)
        base = 3.0;
    else if (nominal == 1300)
        base = 0.6;
    else if (nominal == 1064)
        base = 1.0;
    // A zero wavelength would divide by zero; its offset counts as none.
    const double rel = nw != 0.0 ? delta / nw : 0.0;
    if (sd->GenParams->FT == 651)
        return base * (1.0 - 4.0 * rel);
    switch (nominal) {
    case 1550:
        return 0.2 * (1.0 - 4.0 * rel);
    case 1310:
        return 0.35 * (1.0 - 4.0 * rel);
    case 1625:
        return 0.22 * (1.0 + 4.0 * rel);
    case 1650:
        return 0.25 * (1.0 + 6.0 * rel);
    case 1490:
        return 0.22;
    default:
        return base;
    }
}

bool RefAutoIsFiberLinkDetected(TSorData* SD)
{
    assert(SD);
    const auto& events = SD->KeyEvents->Events;
    if (events.data == nullptr || events.count < 2)
        return false;
    if (events.count > 2)
        return true;
    const TSorBlockKeyEvents1E* e0 = events.data[0];
    const TSorBlockKeyEvents1E* e1 = events.data[1];
    if (e0 == nullptr || e1 == nullptr)
        return false;
    return e0->ML2 != e0->ML3 || e1->ML0 != e1->ML1 || e0->ML2 != e1->ML0;
}
