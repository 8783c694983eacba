// RefMath: mean powers, root-mean-square deviations in the linear domain,
// the noise correction of a level and the launch level of a trace.
#include <algorithm>
#include <cmath>

#include "ref/ref-math-p.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-log-scale.h"

using refmath::detail::clampPin;
using refmath::detail::kPinReach;
using refmath::detail::LevelReader;
using refmath::detail::truncPin;

namespace {

// Levels per batch when they are turned into linear values for a mean.
constexpr long kLinearBatch = 512;

// The rule of a mean of levels: a level above the base of the scale counts
// as it stands, one at or below it is stretched back by the negative scale
// (NLogToLog, written out here since it runs a point).
struct LevelMeanRule
{
    explicit LevelMeanRule(const TSorBlockAUXParameters& aux)
        : threshold(static_cast<double>(static_cast<float>(aux.Scale) * -static_cast<float>(aux.MAX)) * 1e-6),
          base(aux.GetfLogBase()), negative(static_cast<float>(aux.GetNegScale()))
    {
    }

    // Both values are worked out and one is picked, so that the loop over a
    // noisy tail (levels on either side of the base at random) has no branch
    // to mispredict.
    [[nodiscard]] float operator()(float v) const
    {
        const float stretched = base + (v - base) * negative;
        const bool below = !(threshold < static_cast<double>(v)) && v < base;
        return below ? stretched : v;
    }

    double threshold;
    float base;
    float negative;
};

} // namespace

float* RefEmbGetLinf(TSorData* sd)
{
    return sd == nullptr ? nullptr : static_cast<float*>(sd->GetEmbData("LINF"));
}

// ---- means ----

float RefMathPower(TSorData* sd, const float* lin, long start, long count, int mode)
{
    const LevelReader levels(sd);
    const long total = sd->DataPts->GetPointsNum();
    start = clampPin(start, total);
    // The count is cut at the end of the trace (written so that a huge count
    // cannot overflow start + count).
    if (count > total - start)
        count = total - start;
    if (count < 1)
        return 0.0f;
    const TSorBlockAUXParameters& aux = *sd->AUXParams;
    const long end = start + count;
    float sum = 0.0f;
    if (mode == 0) {
        const LevelMeanRule rule(aux);
        for (long i = start; i < end; ++i)
            sum += rule(levels.at(i));
        return sum / static_cast<float>(count);
    }

    // Points before the trace (a negative start) count with the linear
    // value of the outside level, from either source.
    const float outsideLinear = aux.Log5ToLin(TSorBlockDataPoints::OutsideLevel, 0);
    long i = start;
    for (; i < std::min(end, 0L); ++i)
        sum += outsideLinear;
    if (lin != nullptr) {
        for (; i < end; ++i)
            sum += lin[i];
    } else {
        float batch[kLinearBatch];
        while (i < end) {
            const long n = std::min(kLinearBatch, end - i);
            const float* cached = levels.span(i, n);
            if (cached == nullptr) {
                // The cache is shorter than the point count: read one by one.
                for (long j = 0; j < n; ++j)
                    batch[j] = aux.Log5ToLin(levels.at(i + j), 0);
            } else {
                aux.Log5ToLinArray(cached, batch, n);
            }
            for (long j = 0; j < n; ++j)
                sum += batch[j];
            i += n;
        }
    }
    const float mean = sum / static_cast<float>(count);
    if (mode == 2)
        return mean;
    return aux.NLogToLog(aux.LinToLog5(mean));
}

double RefMathPower(TSorData* sd, long start, long count, int mode)
{
    if (count < 1)
        return 0.0;
    const LevelReader levels(sd);
    start = clampPin(start, levels.count());
    count = std::min(count, levels.count() + 2 * kPinReach + 1);
    const TSorBlockAUXParameters& aux = *sd->AUXParams;
    const long end = start + count;
    double sum = 0.0;
    if (mode == 0) {
        const double threshold = LevelMeanRule(aux).threshold;
        for (long i = start; i < end; ++i) {
            const double v = levels.at(i);
            sum += threshold < v ? v : aux.NLogToLog(v);
        }
        return sum / static_cast<double>(count);
    }
    for (long i = start; i < end; ++i)
        sum += aux.Log5ToLin(static_cast<double>(levels.at(i)), 0);
    return aux.NLogToLog(aux.LinToLog5(sum / static_cast<double>(count)));
}

double RefMathPower(TSorData* sd, double owt1, double owt2, int mode)
{
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const long n = truncPin(fxd.OwtTofNum(owt1));
    const long count = truncPin(fxd.OwtTofNum(owt2) - static_cast<double>(n) + 0.5);
    return RefMathPower(sd, n, count, mode);
}

double RefMathAveragePointInSection(TSorData* sd, double owt1, double owt2, double weight)
{
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const LevelReader levels(sd);
    const long n1 = truncPin(fxd.OwtTofNum(owt1));
    const long n2 = truncPin(fxd.OwtTofNum(owt2));
    if (n1 == n2)
        return weight * static_cast<double>(levels.at(n1));
    // A reversed section holds no point to average.
    if (n1 > n2)
        return 0.0;
    double sum = 0.0;
    for (long i = n1; i <= n2; ++i)
        sum += static_cast<double>(levels.at(i)) * weight;
    return sum / static_cast<double>(n2 - n1 + 1);
}

// ---- deviations ----

float RefMathLinSQO(const float* lin, long first, long last)
{
    // Nothing lies before the array.
    if (lin == nullptr || first < 0 || last < first)
        return 0.0f;
    const long count = last - first;
    if (count < 4)
        return 0.0f;
    float sum = 0.0f;
    for (long i = first; i < last; ++i)
        sum += lin[i] * lin[i];
    return std::sqrt(sum / static_cast<float>(count));
}

float RefMathLinSQO(TSorData* sd, float f1, float f2, float mean)
{
    const long total = sd->DataPts->GetPointsNum();
    // Fractions of the trace, so within 0..1.
    auto pinOf = [total](float f) {
        const float fraction = std::isnan(f) ? 0.0f : std::clamp(f, 0.0f, 1.0f);
        return static_cast<long>(static_cast<float>(total) * fraction);
    };
    const long a = pinOf(f1);
    const long b = pinOf(f2);
    if (b - a < 4)
        return 0.0f;
    const TSorBlockAUXParameters& aux = *sd->AUXParams;
    if (const float* linear = RefEmbGetLinf(sd); linear != nullptr)
        return aux.LinToLog5(RefMathLinSQO(linear, a, b));
    const LevelReader levels(sd);
    float sum = 0.0f;
    for (long i = a; i < b; ++i) {
        const float deviation = aux.Log5ToLin(levels.at(i), 0) - mean;
        sum += deviation * deviation;
    }
    return aux.LinToLog5(std::sqrt(sum / static_cast<float>(b - a)));
}

// ---- noise ----

float RefMathAddNoise(TSorData* sd, long i, long n, int k)
{
    // No sign given: the mean of the upward and the downward move.
    if (k == 0)
        return (RefMathAddNoise(sd, i, n, 1) - RefMathAddNoise(sd, i, n, -1)) * 0.5f;
    const LevelReader levels(sd);
    // The level above the noise floor, and its power in noise amplitudes.
    const auto d = static_cast<float>(static_cast<double>(levels.at(i)) - sd->FxdParams->GetNF());
    auto p = static_cast<float>(poww(d));
    const auto amplitudes = static_cast<float>(k);
    if (n == 1 && p > -amplitudes)
        return flog5t(p + amplitudes) - d;
    // Averaging over n points lowers the noise by sqrt(n) against the signal.
    if (n > 1)
        p = static_cast<float>(static_cast<double>(p) * std::sqrt(static_cast<double>(n)));
    if (p <= -amplitudes)
        return -100.0f;
    return flog5t(p + amplitudes) - flog5t(p);
}

// ---- launch level ----

namespace {

// The pin (fractional) at `km` from the user's zero.
double pinAtKm(const TSorData* sd, float km)
{
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const double kmPerOwt = (299792.5 / (static_cast<double>(fxd.GI) * 1e-5)) * 1e-10;
    return fxd.OwtTofNum(static_cast<double>(km) / kmPerOwt + static_cast<double>(sd->GenParams->UO));
}

} // namespace

float RefMathCalcPower0(TSorData* sd, float km1, float km2)
{
    const long n0 = truncPin(pinAtKm(sd, 0.0f));
    const long n1 = truncPin(pinAtKm(sd, km1));
    const long n2 = truncPin(pinAtKm(sd, km2));
    float slope = 0.0f;
    float offset = 0.0f;
    RefMathLSLf(sd, n1, n2, slope, offset);
    // A rising stretch says nothing about the launch: its own level stands.
    if (slope < 0.0f)
        return offset;
    return slope * static_cast<float>(n2 - n0) + offset;
}

double RefMathCalcPower1uS(TSorData* sd, float km1, float km2, float loss)
{
    const double p0 = RefMathCalcPower0(sd, km1, km2);
    double ns = sd->FxdParams->GetNsPulse(0);
    double lg = 0.0;
    if (ns <= 0.0) {
        lg = std::log10(0.001);
        ns = 1.0;
    } else {
        lg = std::log10(ns / 1000.0);
    }
    TSorBlockAUXParameters& aux = *sd->AUXParams;
    const double powerOffset = sd->FxdParams->PO / 1000.0;
    double base = 0.0;
    if (static_cast<double>(aux.dM) + static_cast<double>(aux.dMaux) <= 0.001) {
        // No stored loss: the correction of short pulses goes into the
        // trace, and the power offset is its own base.
        aux.OffsetA = static_cast<std::int16_t>(ns < 30.0 ? 700 : 0);
        base = powerOffset;
    } else {
        base = loss > 0.001f ? static_cast<double>(loss) : static_cast<double>(aux.dM);
    }
    double excess = powerOffset - base;
    if (excess < 1.0)
        excess = 0.0;
    return excess + p0 - (5.0 * lg + aux.OffsetA * 0.001 - aux.OffsetB * 0.001);
}
