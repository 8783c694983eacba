// Noise figures of the filtered trace, the noise error of a loss, and the
// baseline correction of very long traces.
#include <algorithm>
#include <cmath>
#include <vector>

#include "auto/sor-filter.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-log-scale.h"

float TSorFilter::CalcLinfNoise(long a, long b, long step, float limit, const float* data, float& out)
{
    out = 0.0f;
    if (data == nullptr || step <= 0 || a < 0 || b <= a)
        return out;
    double plus = 0.0;
    double minus = 0.0;
    long count = 0;
    for (long i = a; i + step <= b; i += step) {
        const double d = static_cast<double>(data[i + step]) - data[i];
        if (limit > 0.0f && std::fabs(d) > limit)
            continue;
        (d > 0.0 ? plus : minus) += d * d;
        ++count;
    }
    if (count == 0)
        return out;
    const double v = ((plus + minus) / 2.0 - std::fabs(plus - minus)) / static_cast<double>(count);
    out = v > 0.0 ? static_cast<float>(std::sqrt(v)) : 0.0f;
    return out;
}

void TSorFilter::CalcLinfNoise(long a, long b, float& peak, float& logNoise)
{
    peak = 0.0f;
    logNoise = -65.5f;
    if (Linf == nullptr || Sor == nullptr)
        return;
    a = std::max(0L, a);
    b = std::min(b, points() - 1);
    if (b - a < 4)
        return;
    float s = 0.0f;
    CalcLinfNoise(a, b, 1, 0.0f, Linf, s);
    // The spread of the samples about their 16-point mean within 3 sigma,
    // the mean shifted by half its length so that it centres on the sample.
    double spread = s / std::sqrt(2.0);
    if (LinfAvg != nullptr) {
        const long shift = b + 8 < avgCount ? 8 : 0;
        const double limit = 3.0 * std::max(spread, 1e-9);
        double sum = 0.0;
        long count = 0;
        for (long i = a; i <= b && i + shift < avgCount; ++i) {
            const double d = static_cast<double>(Linf[i]) - LinfAvg[i + shift];
            if (std::fabs(d) > limit)
                continue;
            sum += d * d;
            ++count;
        }
        if (count > 0)
            spread = std::sqrt(sum / static_cast<double>(count));
        float low = 0.0f;
        if (b < avgCount)
            CalcLinfNoise(a, b, 16, 0.0f, LinfAvg, low);
        spread = std::sqrt(spread * spread + static_cast<double>(low) * low);
    }
    peak = static_cast<float>(spread);
    logNoise = Sor->AUXParams->LinToLog5(peak) + 2.4f;
}

int TSorFilter::AutoFilterCalcNoise()
{
    const long n = points();
    const TFEvent* events = Result.events;
    if (events == nullptr || Result.count <= 0 || n <= 0 || Linf == nullptr)
        return 1;
    const long q = 3 * n / 4;
    const auto nf = static_cast<float>(Sor->FxdParams->GetNF());
    const double slope = DbPt;
    float best = -100.0f;
    long echo = -1;
    for (long e = 0; e < Result.count; ++e) {
        if (events[e].GradeUp < 10)
            continue;
        const auto tryMirror = [&](long at, float margin) {
            if (at <= 0 || at >= n)
                return;
            float c = level(at);
            if (c > -0.1f)
                c += 3.0f;
            c -= static_cast<float>(slope * static_cast<double>(at - events[e].PeakEnd));
            if (c > best + margin) {
                best = c;
                echo = at;
            }
        };
        tryMirror(2 * events[e].PeakEnd, 0.0f);
        if (events[e].GradeUp >= 15)
            tryMirror(3 * events[e].PeakEnd, 7.0f);
    }
    const long margin = PwPoints;
    float peak1 = 0.0f;
    float log1 = -65.5f;
    if (echo > q && best > nf + 14.0f) {
        float peak2 = 0.0f;
        float log2 = -65.5f;
        const bool front = echo - margin - q > 16;
        const bool back = n - 1 - (echo + margin) > 16;
        if (front)
            CalcLinfNoise(q, echo - margin, peak1, log1);
        if (back)
            CalcLinfNoise(echo + margin, n - 1, peak2, log2);
        Result.noisePeak = std::max(peak1, peak2);
        Result.noiseLog = std::max(log1, log2);
        if (front && back)
            return 2;
        return front || back ? 3 : 1;
    }
    if (n - 1 - q <= 16)
        return 1;
    CalcLinfNoise(q, n - 1, peak1, log1);
    Result.noisePeak = peak1;
    Result.noiseLog = log1;
    return 4;
}

float TSorFilter::GetNoiseError(float loss, float level, long n) const
{
    if (Sor == nullptr)
        return 0.0f;
    const auto nf = static_cast<float>(Sor->FxdParams->GetNF());
    if (level <= nf + 5.0f || n <= 0)
        return 0.0f;
    // The noise over the averaged points, on the level's own scale.
    const double avg = level > nf + 5.0f ? std::sqrt(static_cast<double>(n) / 16.0) : std::sqrt(static_cast<double>(n));
    const double noise = Sor->AUXParams->Log5ToLin(nf, 0) / avg;
    const double lin = Sor->AUXParams->Log5ToLin(level - loss, 0);
    if (lin <= 0.0)
        return 0.0f;
    return std::fabs(flog5t(static_cast<float>(lin + noise)) - flog5t(static_cast<float>(lin)));
}

float TSorFilter::GetKeyEventNoiseError(const TSorBlockKeyEvents1E& event) const
{
    if (Sor == nullptr || Sor->FxdParams->DS.empty())
        return 0.0f;
    const auto at = static_cast<long>(Sor->FxdParams->OwtTofNum(event.EPT));
    return GetNoiseError(static_cast<float>(event.EL * 0.001), level(at), PwPoints);
}

void TSorFilter::ZeroCorrect(TSorData* sor)
{
    const long n = points();
    if (sor == nullptr || sor != Sor || n < 64 || Linf == nullptr)
        return;
    const TSorBlockFixedParameters* fixed = sor->FxdParams;
    TSorBlockAUXParameters* aux = sor->AUXParams;
    if (aux->GetNegScale() <= 0)
        return;
    // The end of the fiber: the last point that stands 3 dB over the noise.
    const double nf = fixed->GetNF();
    long end = n - 1;
    while (end > 0 && sor->NumToLevel(end) < nf + 3.0)
        --end;
    if (sor->NumToLevel(end) >= -1.0 || end < static_cast<long>(0.05 * static_cast<double>(n)) ||
        n - end < static_cast<long>(0.05 * static_cast<double>(n)))
        return;
    // Bins of the noise zone: their linear mean is the baseline offset there.
    const long bin = std::max(16L, (n - end) / 64);
    std::vector<double> binMean;
    for (long s = end + bin; s + bin <= n; s += bin)
        binMean.push_back(RefMathPower(sor, Linf, s, bin, 2));
    if (binMean.size() < 2)
        return;
    std::vector<double> sorted = binMean;
    std::nth_element(sorted.begin(), sorted.begin() + static_cast<long>(sorted.size() / 2), sorted.end());
    const double offset = sorted[sorted.size() / 2];
    const double noiseLin = aux->Log5ToLin(nf, 0);
    // Only an offset within a quarter of the noise either way is a drift of
    // the baseline; more than that is signal.
    if (std::fabs(offset) < 1e-12 || std::fabs(offset) > 0.25 * std::fabs(noiseLin) + std::fabs(noiseLin))
        return;
    for (int block = 0; block < 2; ++block) {
        for (long i = end; i < n; ++i) {
            const double x = static_cast<double>(Linf[i]) - offset;
            sor->DataPts->SetLevel(i, aux->NLogToLog(aux->LinToLog5(std::max(x, 1e-9))));
        }
        if (sor->BackupDataPts == nullptr)
            break;
        SwitchDataPointsBlocks();
    }
    if (sor->BackupDataPts != nullptr)
        SwitchDataPointsBlocks();
    // The linear companion keeps describing the raw trace, now corrected.
    for (long i = end; i < n; ++i)
        Linf[i] = static_cast<float>(std::max(static_cast<double>(Linf[i]) - offset, 1e-9));
}
