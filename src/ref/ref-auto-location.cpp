// RefAuto: searches that place a non-reflective event on a section and size
// its loss, and the end of an event's tail.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "ref/ref-auto-p.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"

using refauto::boundPin;
using refauto::level;

float CalcLossPin(TSorData* sd, long a, long b, float slope)
{
    const long t = (b - a) / 3;
    float s1 = 0.0f;
    float s2 = 0.0f;
    float offset = 0.0f;
    RefMathLSLf(sd, b - 2 * t, b - t, s1, offset);
    RefMathLSLf(sd, b - t, b, s2, offset);
    if (slope >= s2)
        return slope;
    if (s2 > 0.95f * s1)
        return (s1 + s2) / 2.0f;
    if (s2 > 0.9f * s1)
        return (slope + (s1 + s2) / 2.0f) / 2.0f;
    return slope;
}

float RefAutoDopuskLosPin(TSorData* sd, long a, long b, long c, long d, float loss, float slope, float tol)
{
    const float u = loss > 0.0f ? tol : -tol;
    const long span = d + b - c - a;
    float s = slope;
    if (span != 0)
        s = (u + level(sd, c) + level(sd, a) - level(sd, d) - level(sd, b)) / static_cast<float>(span);
    s = std::clamp(s, std::min(0.8f * slope, 1.25f * slope), std::max(0.8f * slope, 1.25f * slope));
    const float corr = (s - slope) * static_cast<float>(c - b);
    if ((loss > 0.0f && corr > 0.0f) || (loss < 0.0f && corr < 0.0f))
        return std::fabs(loss) <= std::fabs(corr) ? 0.0f : loss - corr;
    return loss;
}

// A value of |v| at the limit narrows the window to the step found and
// searches it again with the limit 100; that happens at most twice, so
// that levels that reach any limit cannot make the search restart for ever.
float RefAutoSearchMaxSplice(TSorData* sd, long start, long end, long w, long& at, float slope, float limit)
{
    long lo = boundPin(sd, start);
    long hi = boundPin(sd, end);
    if (w < 0) {
        at = lo;
        return 0.0f;
    }
    const float expected = static_cast<float>(w) * slope;
    for (int restarts = 0;; ++restarts) {
        at = lo;
        if (lo > hi - w)
            return 0.0f;
        float best = 0.0f;
        bool restarted = false;
        for (long i = lo; i <= hi - w; ++i) {
            const long k = i - lo;
            const float f = level(sd, i) - level(sd, i + w);
            const float g = f - expected;
            if (!(std::fabs(g) > std::fabs(best)))
                continue;
            const long left = std::max(lo, lo - w + k);
            const long right = std::min(hi, i + 2 * w);
            float v = 0.0f;
            if (k < w) {
                v = (g + f - (level(sd, right - w) - level(sd, right))) * 0.5f;
            } else {
                // The step seen from the fibre on both sides, projected onto it.
                v = (f + level(sd, left) - static_cast<float>(i - left) * slope - level(sd, right) -
                     static_cast<float>(right - i - w) * slope) * 0.5f - expected;
            }
            if (std::fabs(v) > std::fabs(best) + 1e-5f) {
                at = i;
                if (std::fabs(v) >= limit && restarts < 2) {
                    lo = left;
                    hi = std::min(hi, right + w);
                    limit = 100.0f;
                    restarted = true;
                    break;
                }
                best = v;
            }
        }
        if (!restarted)
            return best;
    }
}

long RefAutoSearchStraightLoss(TSorData* sd, long start, long end, long w, float ratio, float slope)
{
    const float hi = static_cast<float>(w) * slope * ratio;
    const float lo = static_cast<float>(w) * slope / ratio;
    if (w < 2 || end - w - w / 2 <= start)
        return -1;
    start = boundPin(sd, start);
    end = boundPin(sd, end);
    auto fallAt = [&](long i) { return level(sd, i) - level(sd, i + w); };
    auto inBand = [&](float x) { return x >= lo && x <= hi; };
    for (long i = start; i < end - w - w / 2; ++i) {
        if (!inBand(fallAt(i)) || !inBand(fallAt(i + w / 2)))
            continue;
        if (w / 2 < 4 || inBand((fallAt(i + 1) + fallAt(i + 2)) * 0.5f))
            return i;
    }
    return -1;
}

long RefAutoSearchStraightLoss2(TSorData* sd, long start, long end, long w, float lo, float hi)
{
    if (w < 2 || end - w <= start)
        return -1;
    start = boundPin(sd, start);
    end = boundPin(sd, end);
    const float fw = static_cast<float>(w);
    for (long i = start; i < end - w; ++i) {
        const float x = w <= 7 ? level(sd, i) - level(sd, i + w) : RefMathLSL4f(sd, i, i + w);
        if (fw * lo <= x && x <= fw * hi)
            return i;
    }
    return -1;
}

// The model is a straight fibre through Y0 at a, the event's fall over its
// width and the fibre again, all falling `slope` a point. Choices where the
// phases leave them open:
// - the means are centred on their points (a, a + width + m, a + width + 2m),
//   each over m points;
// - a shift moves the event's start from a to a + shift, shift from 0 up;
// - the first shift comes from the first run of points lying half the drop
//   under the straight fibre, taken back by the event's width and the run's
//   length so that noise cannot place it behind the event;
// - the coarse step is taken from the number of shifts left, and the fine
//   search looks one coarse step to either side of the best.
long RefAutoSearchSplicePin(TSorData* sd, long a, long width, long m, float slope)
{
    if (m < 1 || width < 1)
        return a;
    a = boundPin(sd, a);
    // Beyond a trace length the model would only meet the outside level.
    const long count = refauto::pointCount(sd) + 1;
    m = std::min(m, count);
    width = std::min(width, count);
    const double minLevel = sd->MinLevel;
    auto meanAt = [&](long centre) {
        double y = RefMathPower(sd, centre - m / 2, m, 0);
        if (m % 2 == 0)
            y -= slope / 2.0;
        return y;
    };
    const double y0 = meanAt(a);
    const double y1 = std::max(meanAt(a + width + m), minLevel);
    const double y2 = std::max(meanAt(a + width + 2 * m), minLevel);
    const double drop1 = y0 - y1 - static_cast<double>(width + m) * slope;
    const double drop2 = y0 - y2 - static_cast<double>(width + 2 * m) * slope;
    const auto drop = static_cast<float>(std::max(drop1, drop2));
    const long shifts = drop2 > drop1 ? (width + 1) / 2 + 2 * m : m;

    // The fall below the event's start level at each point of the event.
    std::vector<float> fallIn(static_cast<std::size_t>(width));
    for (long x = 0; x < width; ++x) {
        fallIn[static_cast<std::size_t>(x)] =
            drop > 0.02f ? RefMathSplicePower(drop, slope, slope, static_cast<int>(width), static_cast<int>(x))
                         : static_cast<float>(x) * (slope + drop / static_cast<float>(width));
    }

    const long run = m / 100 + 3;
    long first = 0;
    {
        long below = 0;
        const long scanEnd = a + width / 2 + shifts + width;
        for (long i = a + width / 2; i < scanEnd; ++i) {
            const double ref = y0 - static_cast<double>(i - a) * slope - drop * 0.5;
            below = level(sd, i) < ref ? below + 1 : 0;
            if (below == run) {
                first = std::clamp(i - run + 1 - a - width - run, 0L, shifts - 1);
                break;
            }
        }
    }

    const double floorLevel = y0 - 10.0;
    auto costOf = [&](long shift, double stopAt) {
        const double startLevel = y0 - static_cast<double>(shift) * slope;
        double sum = 0.0;
        for (long x = -m; x < width + m; ++x) {
            const float l = level(sd, a + shift + x);
            if (l < floorLevel)
                continue;  // noise beyond the fibre's end says nothing of the event
            double model = 0.0;
            if (x < 0)
                model = startLevel - static_cast<double>(x) * slope;
            else if (x < width)
                model = startLevel - fallIn[static_cast<std::size_t>(x)];
            else
                model = startLevel - drop - static_cast<double>(x) * slope;
            sum += (l - model) * (l - model);
            if (sum > stopAt)
                break;
        }
        return sum;
    };

    const double endFactor = drop <= 0.1f ? 1.03 : 1.2;
    double best = std::numeric_limits<double>::infinity();
    long bestShift = first;
    long step = std::max(1L, static_cast<long>(std::sqrt(static_cast<double>(shifts - first) / 4.0)));
    for (long shift = first; shift < shifts; shift += step) {
        const double cost = costOf(shift, endFactor * best);
        if (cost <= 1.001 * best) {
            best = cost;
            bestShift = shift;
        } else if (cost > endFactor * best) {
            break;
        }
    }
    if (step > 1) {
        const long from = std::max(first, bestShift - step + 1);
        const long to = std::min(shifts - 1, bestShift + step - 1);
        for (long shift = from; shift <= to; ++shift) {
            const double cost = costOf(shift, endFactor * best);
            if (cost <= 1.001 * best && shift != bestShift) {
                best = cost;
                bestShift = shift;
            }
        }
    }
    return a + bestShift;
}

// Choices where the phases leave them open: the left stretch is the w1
// points ending at a, the right one the w2 points starting at b; a stretch's
// fall is the difference of its end levels; the "noise peak" is that of the
// acquisition block; the upper spread of a stretch is its maximum over its
// mean, the lower its mean over its minimum; the fits over twice the
// stretches end at a and start at b, as the stretches do.
float RefAutoGetSpl(TSorData* sd, long a, long lowest, long b, long highest, long w1, long w2, float slope)
{
    if (a == b)
        return 0.0f;
    a = boundPin(sd, a);
    b = boundPin(sd, b);
    lowest = boundPin(sd, lowest);
    highest = boundPin(sd, highest);
    w1 = std::max(std::min(w1, a - lowest + 1), 1L);
    w2 = std::max(std::min(w2, highest - b + 1), 1L);
    const long l0 = a - w1 + 1;
    const long r1 = b + w2 - 1;
    const double centreL = static_cast<double>(a) - static_cast<double>(w1 - 1) / 2.0;
    const double centreR = static_cast<double>(b) + static_cast<double>(w2 - 1) / 2.0;
    const double distance = centreR - centreL;
    const double exp = slope * distance;
    const double meanL = RefMathPower(sd, l0, w1, 0);
    const double meanR = RefMathPower(sd, b, w2, 0);
    const double d = meanL - meanR - exp;
    const double d1 = level(sd, l0) - level(sd, a);
    const double d2 = level(sd, b) - level(sd, r1);
    const double k = (d1 + d2) / static_cast<double>(w1 + w2);

    float minL = 0.0f;
    float maxL = 0.0f;
    float minR = 0.0f;
    float maxR = 0.0f;
    long pos1 = 0;
    long pos2 = 0;
    sd->DataPts->GetMinMax(&minL, &maxL, l0, a + 1, pos1, pos2);
    sd->DataPts->GetMinMax(&minR, &maxR, b, r1 + 1, pos1, pos2);

    long q = 0;
    if (std::fabs(k - slope) > slope && meanR > sd->AUXParams->GetNoisePeak() + 3.0) {
        const double spread = (maxL - minL) + (maxR - minR);
        const double denom = d * std::sqrt(static_cast<double>(w1 + w2));
        q = denom != 0.0 ? truncSaturated<long>(spread / denom) : 0;
        const double upper = (maxL - meanL) + (maxR - meanR);
        const double lower = (meanL - minL) + (meanR - minR);
        // Spikes upward spoil the means: the minima tell the step then.
        if (q != 0 && d > 0.01 && upper > 2.0 * lower)
            return static_cast<float>(std::max(0.0, (minL - minR) - exp));
    }

    auto fitted = [&](long wl, long wr) {
        const long left0 = std::max(a - 2 * wl + 1, lowest);
        const long right1 = std::min(b + 2 * wr - 1, highest);
        float sL = 0.0f;
        float offL = 0.0f;
        float sR = 0.0f;
        float offR = 0.0f;
        RefMathLSLf(sd, left0, a, sL, offL);
        RefMathLSLf(sd, b, right1, sR, offR);
        const double yL = offL + sL * (static_cast<double>(a) - centreL);
        const double yR = offR + sR * (static_cast<double>(right1) - centreR);
        const double s = sR > 2.0f * slope ? sL : (sL + sR) / 2.0;
        return static_cast<float>(yL - yR - s * distance);
    };
    const bool steep = (d1 > slope * static_cast<double>(w1 - 1) && d2 > slope * static_cast<double>(w2 - 1)) ||
                       k > 2.0 * slope || q != 0;
    if (steep && d > 0.02 && (k > (meanL - meanR) / 2.0 / static_cast<double>(b - a) + slope || q != 0))
        return fitted(w1, w2);
    if (exp > std::fabs(d) && distance > 20.0 && exp > 0.05 && a - 2 * w1 + 1 >= lowest && b + 2 * w1 - 1 <= highest)
        return fitted(w1, w2);
    return static_cast<float>(d);
}

// The smoothed step is the change of a three-point mean; "within 6 points"
// counts from the start point.
long RefAutoSearchEndOfEvent(TSorData* sd, long startOwt, long endOwt)
{
    const auto& fxd = *sd->FxdParams;
    const long n = refauto::pointCount(sd);
    const long startPin = std::clamp(truncSaturated<long>(fxd.OwtTofNum(static_cast<double>(startOwt))), 0L, n);
    const long endPin = std::clamp(truncSaturated<long>(fxd.OwtTofNum(static_cast<double>(endOwt))), startPin, n);
    const double perKm = refauto::kmPerOwt(sd);
    const double s = refauto::spacingOwt(sd, startPin);
    const double kmPerPoint = s * perKm;  // s / (OWT units per km)
    const double up = kmPerPoint;
    const double flat = 0.1 * kmPerPoint;
    const double down = -0.2 * kmPerPoint;
    const double steep = -10.0 * kmPerPoint;
    const double pulsePoints = s > 0.0 ? fxd.GetNsPulse(static_cast<double>(startOwt)) / 0.2 / s : 0.0;
    auto smooth = [&](long i) { return (level(sd, i - 1) + level(sd, i) + level(sd, i + 1)) / 3.0; };

    enum class State { Waiting, Rising, Falling };
    State state = State::Waiting;
    const double firstMean = smooth(startPin);
    int risesInRow = 0;
    int flats = 0;
    long i = startPin;
    for (; i < endPin; ++i) {
        const double d = smooth(i + 1) - smooth(i);
        bool done = false;
        switch (state) {
        case State::Waiting:
            if (d > up) {
                if (++risesInRow >= 2)
                    state = State::Rising;
            } else {
                risesInRow = 0;
                if (static_cast<double>(i - startPin) >= pulsePoints / 2.0 && d > down && d < flat && ++flats >= 5)
                    done = true;
            }
            break;
        case State::Rising:
            if (d < steep || smooth(i + 1) < firstMean)
                state = State::Falling;
            break;
        case State::Falling:
            done = d > down;
            break;
        }
        if (done)
            break;
    }
    if (i - startPin < 6)
        i = endPin;
    return truncSaturated<long>(fxd.NumToOwt(i));
}
