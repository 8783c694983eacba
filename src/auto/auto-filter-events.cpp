// Measuring the events of the auto filter: reflections, falls, double
// peaks, ringing, and where the trace settles behind an event.
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "auto/auto-filter-p.h"
#include "auto/sor-filter.h"
#include "ref/ref-auto.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"

namespace {

float meanOf(const float* a, long from, long count, long n)
{
    from = std::max(0L, from);
    const long to = std::min(from + count, n);
    if (to <= from)
        return 0.0f;
    double sum = 0.0;
    for (long p = from; p < to; ++p)
        sum += a[p];
    return static_cast<float>(sum / static_cast<double>(to - from));
}

// The grade of a height over the threshold: log2(height / threshold + 1),
// whole. Held to 0..64 (a grade of 64 is a height 2^64 times the threshold):
// a degenerate threshold or an infinite height from a hostile trace must not
// make a grade that overflows where grades are added up.
long log2Grade(float height, float threshold)
{
    const float grade = std::log10(height / threshold + 1.0f) / std::log10(2.0f);
    return std::isnan(grade) ? 0 : static_cast<long>(std::clamp(grade, 0.0f, 64.0f));
}

// Solves the n x n system a x = b in place (Gauss with pivoting); false
// when it is singular.
bool solve(double (&a)[4][4], double (&b)[4], int n)
{
    for (int c = 0; c < n; ++c) {
        int pivot = c;
        for (int r = c + 1; r < n; ++r)
            if (std::fabs(a[r][c]) > std::fabs(a[pivot][c]))
                pivot = r;
        if (std::fabs(a[pivot][c]) < 1e-12)
            return false;
        std::swap(a[c], a[pivot]);
        std::swap(b[c], b[pivot]);
        for (int r = c + 1; r < n; ++r) {
            const double k = a[r][c] / a[c][c];
            for (int j = c; j < n; ++j)
                a[r][j] -= k * a[c][j];
            b[r] -= k * b[c];
        }
    }
    for (int c = n - 1; c >= 0; --c) {
        for (int j = c + 1; j < n; ++j)
            b[c] -= a[c][j] * b[j];
        b[c] /= a[c][c];
    }
    return true;
}

}  // namespace

float DampedSineFitError(const float* y, long count, float period)
{
    if (y == nullptr || count < 8 || period < 3.0f)
        return std::numeric_limits<float>::infinity();
    const double omega = 6.283 / static_cast<double>(period);
    float best = std::numeric_limits<float>::infinity();
    // The amplitude keeps this share of itself over one cycle.
    for (const double keep : {1.0, 0.8, 0.6, 0.4, 0.25, 0.1}) {
        const double damp = std::pow(10.0, std::log10(keep) / static_cast<double>(period));
        // y(k) = c0 + c1 k + damp^k (a sin(omega k) + b cos(omega k)): the
        // settling trace as a line with the ringing on it.
        double ata[4][4] = {};
        double aty[4] = {};
        double decay = 1.0;
        for (long k = 0; k < count; ++k, decay *= damp) {
            const auto t = static_cast<double>(k);
            const double f[4] = {1.0, t, decay * std::sin(omega * t), decay * std::cos(omega * t)};
            for (int r = 0; r < 4; ++r) {
                for (int c = 0; c < 4; ++c)
                    ata[r][c] += f[r] * f[c];
                aty[r] += f[r] * static_cast<double>(y[k]);
            }
        }
        if (!solve(ata, aty, 4))
            continue;
        double sum = 0.0;
        decay = 1.0;
        for (long k = 0; k < count; ++k, decay *= damp) {
            const auto t = static_cast<double>(k);
            const double ring = aty[2] * std::sin(omega * t) + aty[3] * std::cos(omega * t);
            const double error = static_cast<double>(y[k]) - (aty[0] + aty[1] * t + decay * ring);
            sum += error * error;
        }
        best = std::min(best, static_cast<float>(std::sqrt(sum / static_cast<double>(count))));
    }
    return best;
}

long TSorFilter::FallAnalisys(long i, long last, long pw, long win, float threshold)
{
    const long n = points();
    if (Linf == nullptr || threshold <= 0.0f || i < 0 || last - i < 5 || i >= n)
        return 0;
    win = std::max(win, 1L);
    float before = Linf[i];
    if (pw >= 2 && i >= 1)
        before = (Linf[i] + Linf[i - 1]) / 2.0f;
    const long afterAt = std::min(i + win, n - 1);
    float after = Linf[afterAt];
    if (before < 4.0f * threshold)
        after = meanOf(Linf, afterAt, before < threshold ? 4 : 2, n);
    // The fiber's own fall over the window is no step.
    const float height = before * autofilter::FiberFactor(DbPt, afterAt - i) - after;
    if (height <= threshold)
        return 0;
    return -log2Grade(height, threshold);
}

long TSorFilter::RflAnalisys(TFEvent* prev, long& peak, long last, long rise, long win, float threshold, long& width,
                             long& flat)
{
    const long n = points();
    width = 0;
    flat = 0;
    if (Linf == nullptr || threshold <= 0.0f || peak < 0 || peak >= n - 1)
        return -1;
    const long start = peak;
    // Too close behind the previous event and its ringing.
    if (prev != nullptr) {
        const long ring = std::max(0L, (prev->GradeUp - 5) * 3 * rise);
        if (start < prev->PeakEnd + win / 2 && start < prev->End + ring)
            return -1;
    }
    const long foot = std::max(0L, start - 1);
    float base = meanOf(Linf, foot - 1, 2, n);
    if (base < 3.0f * threshold)
        base = meanOf(Linf, foot - 4, 4, n);
    // The top: up while the trace rises, a flat run counting as saturation.
    const long limit = std::min({start + win + rise, last, n - 1});
    long p = start;
    while (p < limit && Linf[p + 1] >= Linf[p]) {
        if (Linf[p + 1] == Linf[p])
            ++flat;
        else
            flat = 0;
        ++p;
    }
    peak = p;
    const float top = Linf[p];
    if (base > top - threshold)
        return -1;
    // Width between the half height in front and a third of it behind.
    const float half = (base + top) / 2.0f;
    long front = p;
    while (front > foot && Linf[front - 1] > half)
        --front;
    const float third = (2.0f * base + top) / 3.0f;
    long back = p;
    while (back + 1 < n && back - p < 4 * win + 16 && Linf[back + 1] > third)
        ++back;
    width = std::max(1L, back - front + 1);
    // A one-sample spike on a wide pulse is noise.
    const float meanTop = meanOf(Linf, p - 2, 3, n);
    float height = std::min(top - base, meanTop - base);
    if (top - base > 2.0f * (meanTop - base) && threshold < meanTop - base)
        height = top - base;
    if (win >= 6 && width < std::max(2L, win / 3)) {
        const auto w = static_cast<float>(width);
        const float need = 100.0f * threshold * std::max(0.05f, 1.0f - 1.05f * w / static_cast<float>(win - 1)) /
                           std::sqrt(w);
        if (height < need)
            return -1;
    }
    if (height <= 0.0f)
        return -1;
    return log2Grade(height, threshold);
}

long TSorFilter::DoubleRDetect(long i, long win)
{
    const long n = points();
    if (Sor == nullptr || win < 4 || i < 0 || i + win >= n)
        return 0;
    // The first peak's fall ends where the trace stops falling; the steepest
    // rise and fall are taken from half-way down that fall to the window end.
    long end = i;
    while (end < i + win && level(end + 1) <= level(end))
        ++end;
    if (end >= i + win - 2)
        return 0;
    float fall = 0.0f;
    float rise = 0.0f;
    long fallAt = 0;
    long riseAt = 0;
    RefAutoSearchMaxdbRiseFall(Sor, (i + end) / 2, i + win, 1, fall, fallAt, rise, riseAt, DbPt);
    const long second = riseAt + 1;
    if (rise <= 2.0f * std::fabs(fall) || second >= i + win - 1)
        return 0;
    long top = second;
    while (top < i + win && level(top + 1) > level(top))
        ++top;
    if (std::fabs(level(i) - level(top)) < 1.0f)
        return 0;
    // The second reflection starts at the foot of its rise.
    long foot = riseAt;
    while (foot > i + 1 && level(foot - 1) < level(foot))
        --foot;
    return foot;
}

long TSorFilter::ZvonDetect(long i, long last, float threshold, long win, long limit)
{
    const long n = points();
    if (Linf == nullptr || i < 1 || win < 2 || i + 4 * win >= std::min(last, n))
        return 0;
    const float base = Linf[i - 1];
    if (Linf[i] - base < 4.0f * threshold)
        return 0;
    // The first minimum and maximum behind the peak give the period.
    float minV = 0.0f;
    float maxV = 0.0f;
    const long minAt = RefAutoGetAvrMin(Linf, i, std::min(i + 3 * win, n - 1), minV, 2, DbPt);
    if (minAt < 0)
        return 0;
    const long maxAt = RefAutoGetAvrMax(Linf, minAt + 1, std::min(minAt + 3 * win, n - 1), maxV, 2, DbPt);
    if (maxAt < 0 || maxV - minV < 1.0f || maxAt - minAt > 3 * win)
        return 0;
    const float period = 2.0f * static_cast<float>(maxAt - minAt);
    if (period < 3.0f)
        return 0;
    // Ringing is a damped sine on the settling trace: fitted over four
    // cycles from the first minimum, or three where four do not fit.
    const float noise = threshold;
    bool fits = false;
    for (const float cycles : {4.0f, 3.0f}) {
        const auto span = static_cast<long>(cycles * period);
        if (minAt + span > std::min(last, n - 1))
            continue;
        fits = DampedSineFitError(Linf + minAt, span, period) <= 2.5f * noise;
        if (fits)
            break;
    }
    if (!fits)
        return 0;
    // Follow the extrema on until their swing sinks into the noise.
    const float floor = 5.0f * threshold / std::sqrt(period);
    long at = maxAt;
    const long halfPeriod = std::max(1L, static_cast<long>(period / 2.0f));
    const long stop = std::min({last, n - 1, i + std::max(limit, 4 * win)});
    while (at + 2 * halfPeriod < stop) {
        float lo = 0.0f;
        float hi = 0.0f;
        const long loAt = RefAutoGetAvrMin(Linf, at, at + 2 * halfPeriod, lo, 2, DbPt);
        const long hiAt = RefAutoGetAvrMax(Linf, loAt + 1, std::min(loAt + 2 * halfPeriod, stop), hi, 2, DbPt);
        if (loAt < 0 || hiAt <= at || hi - lo < floor)
            break;
        at = hiAt;
    }
    Result.RingPeriod = static_cast<long>(period);
    return at + static_cast<long>(period / 4.0f);
}

long TSorFilter::SearchDZ(TSorData* sor, TFEvent& event, long limit, float& levelOut)
{
    const long n = points();
    if (sor == nullptr || Linf == nullptr || n <= 0) {
        event.End = event.PeakEnd;
        return event.End;
    }
    limit = std::min(limit, n - 1);
    // The trace has settled where it falls over half a pulse no faster than
    // the fiber plus the noise of two four-sample means allow.
    const long half = std::max(2L, PwFall / 2);
    const float fiber = 1.0f - autofilter::FiberFactor(DbPt, half);
    const float noise = 0.5f * nfLin;
    long p = std::max(event.PeakEnd, event.Beg);
    // Over a flat (saturated) top first: the settling starts where it falls.
    const long stop = std::min(limit, p + 6 * PwFall + 64);
    while (p + 1 < stop && Linf[p + 1] >= Linf[p] && Linf[p] > nfLin)
        ++p;
    p = std::min(p + 1, stop);
    while (p < stop) {
        const float here = meanOf(Linf, p, 4, n);
        const float later = meanOf(Linf, p + half, 4, n);
        if (here - later <= noise + here * (fiber + 0.01f) || here < nfLin)
            break;
        ++p;
    }
    event.End = std::clamp(p, event.PeakEnd, std::max(event.PeakEnd, limit));
    levelOut = sor->AUXParams->LinToLog5(meanOf(Linf, event.End, 4, n));
    return event.End;
}

long TSorFilter::SearchEnd(TSorData* sor, long from, long to, long win, const short* /*widths*/, float /*polar*/)
{
    const long n = points();
    if (sor == nullptr || Linf == nullptr || LinfAvg == nullptr || n <= 0)
        return 0;
    from = std::clamp(from, 0L, n - 1);
    to = std::clamp(to, from, n - 1);
    win = std::max(win, 4L);
    // The first stretch whose mean lies in the noise.
    const float noise = nfLin / 2.0f;
    long p = from;
    while (p < to && meanOf(Linf, p, win, n) > noise)
        p += std::max(1L, win / 4);
    if (p >= to)
        return 0;
    // Back over the steep fall (the pulse's edge, a receiver's tail) to the
    // last stretch that falls no faster than a fiber.
    const float quiet = nfLin / 3.0f / std::sqrt(static_cast<float>(win));
    long q = p;
    const long stepBack = std::max(1L, win / 2);
    while (q - win > from) {
        const float cur = meanOf(Linf, q, win, n);
        const float prev = meanOf(Linf, q - win, win, n);
        if (cur > 4.0f * nfLin && prev > 0.0f) {
            const float rate = 5.0f * std::log10(prev / cur) / static_cast<float>(win);
            const float allowed = 3.0f * DbPt + 9.2f * quiet / cur / static_cast<float>(win);
            if (rate <= allowed)
                break;
        }
        q -= stepBack;
    }
    return std::min(q + win - 1, p);
}

bool TSorFilter::isGost(TSorData* sor, const TFEvent& a, const TFEvent& b)
{
    if (sor == nullptr || Linf == nullptr || sor->FxdParams == nullptr || a.PeakEnd <= 0 || b.PeakEnd <= 0)
        return false;
    const long n = points();
    if (a.PeakEnd >= n || b.PeakEnd >= n || a.Beg < 1 || b.Beg < 1)
        return false;
    // Heights over the backscatter in front of each peak, in dB of the trace.
    const auto heightDb = [&](const TFEvent& e) {
        const float base = meanOf(Linf, e.Beg - 4, 4, n);
        const float top = Linf[e.PeakEnd];
        if (base <= 0.0f || top <= base)
            return 0.0;
        return 5.0 * std::log10(static_cast<double>(top) / static_cast<double>(base));
    };
    const double ha = heightDb(a);
    const double hb = heightDb(b);
    if (ha <= 0.0)
        return false;
    if (hb <= 0.0)
        return true;
    const TSorBlockFixedParameters& fxd = *sor->FxdParams;
    const double ra = RefEventReflection(sor, fxd.NumToOwt(a.PeakEnd), ha);
    const double rb = RefEventReflection(sor, fxd.NumToOwt(b.PeakEnd), hb);
    // An echo of a never passes the events between a and b, while the
    // backscatter at b has lost their loss on top of the fiber's: by that
    // excess the echo stands higher over its base than a did.
    const float baseA = meanOf(Linf, a.Beg - 4, 4, n);
    const float baseB = meanOf(Linf, b.Beg - 4, 4, n);
    double excessDb = 0.0;
    if (baseA > 0.0f && baseB > 0.0f) {
        const double fallDb = 5.0 * std::log10(static_cast<double>(baseA) / static_cast<double>(baseB));
        excessDb = std::max(0.0, fallDb - static_cast<double>(DbPt) * static_cast<double>(b.Beg - a.Beg));
    }
    // In linear power: the echo's reflectance reaches at most a's (the launch
    // reflects it once more), with 3 dB for the noise of both heights.
    const double expected = std::pow(10.0, ra / 10.0) * std::pow(10.0, excessDb / 5.0);
    return std::pow(10.0, rb / 10.0) <= 2.0 * expected;
}
