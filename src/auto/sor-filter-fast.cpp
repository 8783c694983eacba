// The fast recursive filters of the viewer and the local smoothers that the
// analysis applies to dips and to the noise tails behind strong events.
#include <algorithm>
#include <cmath>
#include <vector>

#include "auto/sor-filter.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"

namespace {

long pointCount(TSorData* sor)
{
    return sor != nullptr && sor->DataPts != nullptr && sor->DataPts->SubBlocks.count != 0
               ? sor->DataPts->GetPointsNum()
               : 0;
}

}  // namespace

void TSorFilter::FastFilter(TSorData* sor)
{
    const long n = pointCount(sor);
    if (n <= 1 || RefEmbGetLinf(sor) == nullptr)
        return;
    // Deciding the noise floor may move the scale: the linear companion
    // follows before it is used.
    const float tNoise = static_cast<float>(RefAutoReSetNF(sor)) + 2.5f;
    sor->SetLinf();
    float* linf = RefEmbGetLinf(sor);
    if (linf == nullptr)
        return;
    if (sor == Sor)
        Linf = linf;
    TSorBlockAUXParameters* aux = sor->AUXParams;
    TSorBlockDataPoints* pts = sor->DataPts;
    const auto d = static_cast<float>(sor->FxdParams->LenDS());
    const auto f = static_cast<float>(aux->GetFilterLevel());
    const float w = std::sqrt((static_cast<float>(sor->GetRealNsPulse(0)) + 0.1f) / 20000.0f);
    const float denom1 = w * 0.067f * f;
    const float a = denom1 > 0.0f ? std::exp(-d / denom1) : 0.0f;

    // First pass: the level and the linear value follow together while the
    // trace is smooth; a larger step gets its own track in linear power.
    std::vector<float> lin(linf, linf + n);
    if (a > 0.05f) {
        float last = static_cast<float>(sor->NumToLevel(0));
        float y = linf[0];
        for (long p = 1; p < n; ++p) {
            const float l = static_cast<float>(sor->NumToLevel(p));
            if (std::fabs(last - l) < 0.1f) {
                last = a * last + (1.0f - a) * l;
                y = a * y + (1.0f - a) * linf[p];
            } else {
                y = a * y + (1.0f - a) * linf[p];
                last = aux->LinToLog5(y);
            }
            lin[static_cast<std::size_t>(p)] = y;
            pts->SetfLevel(p, last);
        }
    }

    // Second pass: only below the noise mark, with a coefficient that
    // ramps up from the first pass's towards a2 as the level sinks.
    const float c = 2.0f * a - 1.0f;
    const float ramp = 4.0f / (1.0f - c);
    const float c0 = std::max(c, 0.0f);
    const float denom2 = f * f * w * 0.18f;
    const float a2 = denom2 > 0.0f ? std::exp(-d / denom2) : 0.0f;
    bool inRun = false;
    float y = 0.0f;
    float o = 0.0f;
    for (long p = 0; p < n; ++p) {
        const float l = static_cast<float>(sor->NumToLevel(p));
        if (l >= tNoise) {
            inRun = false;
            continue;
        }
        const float sample = lin[static_cast<std::size_t>(p)];
        if (!inRun) {
            inRun = true;
            y = sample;
            o = l;
            continue;
        }
        const float k = o > tNoise - 4.0f ? std::min(c0 + a2 * (tNoise - o) / ramp, a2) : a2;
        y = k * y + (1.0f - k) * sample;
        o = aux->LinToLog5(y);
        pts->SetfLevel(p, o);
    }
}

void TSorFilter::FTTFilter(TSorData* sor)
{
    FastFilter(sor);
}

void TSorFilter::DynaF(TSorData* sor)
{
    // The fast filter's second pass with a strength driven by the noise peak.
    const long n = pointCount(sor);
    float* linf = RefEmbGetLinf(sor);
    if (n <= 1 || linf == nullptr)
        return;
    TSorBlockAUXParameters* aux = sor->AUXParams;
    const auto peak = static_cast<float>(aux->GetNoisePeak());
    float y = linf[0];
    for (long p = 1; p < n; ++p) {
        const float over = std::max(0.0f, static_cast<float>(sor->NumToLevel(p)) - peak);
        const float k = std::clamp(std::pow(0.5f, over), 0.0f, 0.95f);
        y = k * y + (1.0f - k) * linf[p];
        sor->DataPts->SetfLevel(p, aux->LinToLog5(y));
    }
}

void TSorFilter::SerialsFilter(TSorData* sor)
{
    // Isolated one-point impulses over a grid of the pulse window are
    // replaced by the mean of their neighbours.
    const long n = pointCount(sor);
    if (n < 3)
        return;
    const long step = std::max(1L, static_cast<long>(std::floor(std::sqrt(static_cast<float>(PwPoints)))));
    for (long p = step; p + step < n; ++p) {
        const double before = sor->NumToLevel(p - step);
        const double after = sor->NumToLevel(p + step);
        const double here = sor->NumToLevel(p);
        if (std::fabs(before - after) < 0.1 && std::fabs(here - (before + after) / 2) > 0.1)
            sor->DataPts->SetLevel(p, (before + after) / 2);
    }
}

void TSorFilter::LFFilter(TSorData* /*sor*/)
{
}

void TSorFilter::TempFilter(TSorData* sor, TSorData* other, double x)
{
    // Without a second trace only the fixed coefficients act: a recursion
    // in linear power whose length follows the filter level.
    const long n = pointCount(sor);
    float* linf = RefEmbGetLinf(sor);
    if (n <= 1 || linf == nullptr)
        return;
    TSorBlockAUXParameters* aux = sor->AUXParams;
    const double f = std::max(aux->GetFilterLevel(), 0.1);
    const double a = std::exp(-sor->FxdParams->LenDS() / (0.05 * f));
    float* second = other != nullptr ? RefEmbGetLinf(other) : nullptr;
    const long n2 = pointCount(other);
    double y = linf[0];
    for (long p = 1; p < n; ++p) {
        double sample = linf[p];
        if (second != nullptr && p < n2)
            sample = (1.0 - x) * sample + x * second[p];
        y = a * y + (1.0 - a) * sample;
        sor->DataPts->SetLevel(p, aux->LinToLog5(y));
    }
}

void TSorFilter::PONFilter(TSorData* sor, float k, float tau, long from, long to)
{
    const long n = pointCount(sor);
    float* linf = RefEmbGetLinf(sor);
    if (n <= 0 || linf == nullptr || tau <= 0.0f)
        return;
    from = std::max(0L, from);
    to = std::min(to, n - 1);
    if (from > to)
        return;
    const float a = std::exp(-1.0f / tau);
    float y = linf[from];
    for (long p = from; p <= to; ++p) {
        const float x = linf[p];
        y = a * y + (1.0f - a) * x;
        sor->DataPts->SetLevel(p, sor->AUXParams->LinToLog5(x * (1.0f - k) + y * k));
    }
}

void TSorFilter::PONFilter(TSorData* sor, float k, float tau)
{
    if (sor == nullptr)
        return;
    const double ds = sor->FxdParams->LenDS();
    if (ds <= 0.0)
        return;
    PONFilter(sor, k, static_cast<float>(tau / ds), 0, pointCount(sor) - 1);
}

long TSorFilter::DipFilter(TSorData* sor, long from, long to, float slope)
{
    const long n = pointCount(sor);
    if (n <= 0 || RefEmbGetLinf(sor) == nullptr || from < 0 || to <= from || to >= n)
        return 0;
    float ratio = 0.0f;
    float width = 0.0f;
    const long at = RefAutoGetProvalAT(sor, from, to, slope, ratio, width);
    if (at <= 0 || width < 1.0f || ratio <= 0.0f)
        return 0;
    const long spanEnd = std::min(to, from + static_cast<long>(7.5f * width));
    PONFilter(sor, std::min(ratio, 1.0f), width, from, spanEnd);
    return static_cast<long>(width);
}

void TSorFilter::BeardFilter(TSorData* sor, TFEvent* events, long count)
{
    const long n = pointCount(sor);
    if (n <= 2 || events == nullptr || count <= 0)
        return;
    const auto nf = static_cast<float>(sor->FxdParams->GetNF());
    for (long e = 0; e < count; ++e) {
        const TFEvent& ev = events[e];
        const long next = e + 1 < count ? events[e + 1].Beg : n - 1;
        if (next - ev.End <= 2 * PwFall || (ev.GradeUp < 8 && ev.GradeDown > -8))
            continue;
        const long p = std::max(ev.Beg + static_cast<long>(0.9 * static_cast<double>(PwFall)), ev.End);
        long q = PwFall / 2 + 1 + p;
        if (ev.Peak1 - ev.Beg > PwFall)
            q = PwFall + ev.Peak1;
        if (p < 1 || q + 1 >= n || q <= p || q >= next)
            continue;
        const auto meanAt = [&](long i) {
            return static_cast<float>((sor->NumToLevel(i) + sor->NumToLevel(i + 1)) / 2);
        };
        const float tq = meanAt(q);
        if (tq >= nf + 7.5f)
            continue;
        const float tp = meanAt(p);
        const float weight = static_cast<float>(ev.GradeUp - ev.GradeDown);
        for (long i = p; i <= q; ++i) {
            const float t = tp + (tq - tp) * static_cast<float>(i - p) / static_cast<float>(q - p);
            const auto l = static_cast<float>(sor->NumToLevel(i));
            const float d = std::fabs(t - l) * weight;
            sor->DataPts->SetfLevel(i, (l + t * d) / (d + 1.0f) + 0.0005f);
        }
    }
}

void TSorFilter::BeardFilter(TSorData* sor, int /*mode*/)
{
    // Over the part of the trace near the noise, blocks whose ripple stands
    // above the noise peak are drawn to their mean.
    const long n = pointCount(sor);
    if (n <= 2)
        return;
    const double kmPt = sor->FxdParams->LenDS();
    if (kmPt <= 0.0)
        return;
    const long block = std::max(2L, static_cast<long>(std::ceil((sor->GetRealNsPulse(0) + 5.0) * 0.0001 / kmPt)));
    const double limit = sor->FxdParams->GetNF() + 3.0;
    const auto peak = static_cast<float>(sor->AUXParams->GetNoisePeak());
    for (long start = 0; start + block < n; start += block) {
        double sum = 0.0;
        for (long i = start; i < start + block; ++i)
            sum += sor->NumToLevel(i);
        const double mean = sum / static_cast<double>(block);
        if (mean > limit)
            continue;
        const float ripple = RefAutoSearchMaxdbRiseFall(sor, start, start + block - 1, 1, 0.0f);
        if (ripple <= std::fabs(peak))
            continue;
        for (long i = start; i < start + block; ++i)
            sor->DataPts->SetLevel(i, (sor->NumToLevel(i) + mean) / 2);
    }
}
