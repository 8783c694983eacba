// RefAuto: the ripple of the backscatter about a straight line, and dips
// with an exponential recovery.
#include <algorithm>
#include <cmath>
#include <vector>

#include "ref/ref-auto-p.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-log-scale.h"

using refauto::level;

float RefAutoCalcPolar2(TSorData* sd, long start, long end, long n, float slope, const short* table)
{
    start = refauto::boundPin(sd, start);
    end = refauto::boundPin(sd, end);
    long p = start;
    // Past the steep start of the section (an event's tail).
    while (p < end && std::fabs(level(sd, p) - level(sd, p + 1) - slope) > 2.0f * slope)
        ++p;
    if (n < 1 || end - p < 0 || n > (end - p) / 3)
        return 0.0f;  // under 3 n points
    if (table != nullptr)
        (void)RefMathAddNoise(sd, p + n, table[p], 1);
    double a = RefMathPower(sd, p, n, 0);
    const double b = RefMathPower(sd, end - n, n, 0);
    const long span = end - p - n;
    const long third = span / 3;
    double fall = 0.0;
    if (3 * n < third) {
        // Four means: a line that a single bump at either end moves less.
        const double c = RefMathPower(sd, p + third, n, 0);
        const double d = RefMathPower(sd, end - n - third, n, 0);
        a = 0.7 * a + 0.4 * c + 0.1 * d - 0.2 * b;
        fall = (c + 3.0 * (a - b) - d) * 0.3 / static_cast<double>(span);
    } else {
        fall = (a - b) / static_cast<double>(span);
    }
    double sumAbove = 0.0;
    double sumBelow = 0.0;
    long countAbove = 0;
    long countBelow = 0;
    double y = a;
    for (long q = p + n / 2; q < end - 3 * n / 2; ++q, y -= fall) {
        const double c = level(sd, q) - y;
        if (c > 0.0) {
            sumAbove += c * c;
            ++countAbove;
        } else {
            sumBelow += c * c;
            ++countBelow;
        }
    }
    const double above = countAbove != 0 ? std::sqrt(sumAbove / static_cast<double>(countAbove)) : sumAbove;
    const double below = countBelow != 0 ? std::sqrt(sumBelow / static_cast<double>(countBelow)) : sumBelow;
    return static_cast<float>((above + below) * 1.5);
}

namespace {

struct RiseFall
{
    float r = 0.0f;  // the larger of rise and -fall
    float fall = 0.0f;
    float rise = 0.0f;
    long fallAt = 0;
    long riseAt = 0;
};

RiseFall riseFall(TSorData* sd, long start, long end, long w, float slope)
{
    RiseFall x;
    x.r = RefAutoSearchMaxdbRiseFall(sd, start, end, w, x.fall, x.fallAt, x.rise, x.riseAt, slope);
    return x;
}

} // namespace

float RefAutoCalcPolar(TSorData* sd, long start, long end, long n, float slope, long& at)
{
    const double nf = sd->FxdParams->GetNF();
    if (n < 1)
        return 0.0f;
    const double zeroPoint = sd->FxdParams->OwtTofNum(sd->GenParams->UO);
    if (static_cast<double>(start) < zeroPoint)
        start = truncSaturated<long>(zeroPoint + 1.0);
    start = refauto::boundPin(sd, start);
    end = refauto::boundPin(sd, end);
    at = start;
    // The ripple that noise alone gives over n points.
    auto noiseOnly = [&](long i, long points) {
        return poww(nf - level(sd, i) - 2.5 * std::log10(static_cast<double>(points)));
    };
    const double cap = sd->GenParams->FT == 651 ? 0.225 : 0.45;
    if (end - start < 16)
        return static_cast<float>(noiseOnly(start, n) * 0.22);

    // Over the section's length n only ever shrinks to s / 3 below.
    n = std::min(n, end - start + 1);
    // At most 20 segments of equal length, whatever the section's length.
    const long m = std::min(static_cast<long>(0.5 * std::sqrt(static_cast<double>(end - start))), 20L);
    const long s = (end - start) / m;
    if (s < 3 * n)
        n = s / 3;
    if (s > 30 * n)
        n = s / 30;

    std::vector<float> pushed;
    double best = 1.0;
    long p = start;
    long lastExamined = start;
    for (long seg = 0; seg < m; ++seg) {
        const long segEnd = std::min(p + s + n - 1, end);
        lastExamined = segEnd;
        RiseFall x = riseFall(sd, p, segEnd, n, slope);
        float r = x.r;
        float f = -x.fall;
        const float g = x.rise;
        float q = std::min(f, g);
        const long extremeAt = g >= f ? x.riseAt : x.fallAt;
        // The next segment starts a length on, but never runs past the end.
        long next = p + s;
        if (next + s > end)
            next = std::max(end - s, p);
        if (r >= 0.0f) {
            if (level(sd, x.riseAt) > nf + 3.0)
                pushed.push_back(g);
            if (level(sd, x.fallAt + n) < nf + 3.0)
                break;  // the section has reached the noise
            pushed.push_back(f);
            if (r >= 2.0f * q) {
                // One extreme dominates: an event. Measure the rest of the
                // segment behind it instead.
                const long from = extremeAt + (n + 1) / 2;
                const long to = from + (segEnd - extremeAt);
                if (to < end) {
                    RiseFall y = riseFall(sd, from, to, n, slope);
                    float r2 = y.r;
                    if (r2 > 0.0f) {
                        pushed.push_back(y.rise);
                        pushed.push_back(-y.fall);
                    }
                    if (y.rise < 0.0f || y.fall > 0.0f) {
                        const float mid = (y.rise + y.fall) * 0.5f;
                        y.rise -= mid;
                        y.fall -= mid;
                        r2 = 1.9f * y.rise;
                    }
                    if (r2 > 0.0f && r2 < r) {
                        r = r2;
                        q = std::min(q, std::min(y.rise, -y.fall));
                    }
                }
            }
        }
        if (r < 2.0f * q) {
            const double v = (q + r) * 0.5;
            if (v < best) {
                best = (q + r + 0.001) * 0.5;
                at = next;
            }
        }
        p = next;
    }

    if (refauto::kmBetween(sd, start, lastExamined) < 0.1)
        return 0.1f;
    double mean = 0.0;
    if (pushed.size() >= 5) {
        double sum = 0.0;
        long c = 0;
        for (float v : pushed) {
            if (v < 1.5 * best) {
                sum += v;
                ++c;
            }
        }
        mean = c != 0 ? sum / static_cast<double>(c) : 0.0;
        if (c < 8 && mean > 0.2) {
            const double k = static_cast<double>(c) / static_cast<double>(c + 4);
            mean *= k;
            best *= k;
        }
    }
    const double low = std::max(best, noiseOnly(at, n) * 0.22);
    double pick = low;
    if (mean > low)
        pick = mean < cap ? mean : low;
    return pick > cap ? 0.0f : static_cast<float>(pick);
}

long RefAutoGetProvalAT(TSorData* sd, long a, long b, float slope, float& ratio, float& width)
{
    a = refauto::boundPin(sd, a);
    b = refauto::boundPin(sd, b);
    const long len = b - a;
    if (len < 16)
        return 0;
    const long w = static_cast<long>(std::sqrt(1.2 * static_cast<double>(len)));
    const RiseFall x = riseFall(sd, a, a + (len >> 1) + w, w, 0.0f);
    if (x.rise < 0.0f)
        return 0;
    float lmin = 0.0f;
    const long i0 = RefAutoGetMin(sd, a, x.riseAt, lmin);
    float lmax = 0.0f;
    const long m = RefAutoGetMax(sd, i0, b, lmax, -1);
    const long c = std::min(2 * m - i0, (a + b) / 2);
    const float top = level(sd, c) + static_cast<float>(c - i0) * slope;
    const float h = (top - lmin) * 0.5f;
    if (h < 0.01f)
        return 0;
    // Half the recovery: the time constant of the dip.
    long i = i0;
    while (i < b && !(level(sd, i) > lmin + h - slope * static_cast<float>(i - i0)))
        ++i;
    if (i <= i0)
        return 0;
    const long k = RefAutoSearchBackGreather(sd, i0, lmax - 0.1f);
    width = static_cast<float>(static_cast<double>(i - i0) / 0.7142857142857143);
    if (static_cast<float>(i0 - k) / width > 1.0f)
        return 0;
    const auto& aux = *sd->AUXParams;
    const double x1 = aux.Log5ToLin(static_cast<double>(top), 0);
    const double x2 = aux.Log5ToLin(static_cast<double>(lmin), 0);
    const double x0 = aux.Log5ToLin(0.0, 0);
    // A recovery up to 0 dB leaves nothing to measure the ratio against.
    if (x0 == x1)
        return 0;
    ratio = static_cast<float>((x1 - x2) / (x0 - x1) * std::exp(static_cast<double>(i0 - k) / width));
    return c;
}
