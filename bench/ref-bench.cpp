// Cost per point of the trace mathematics in the analysis's inner loops, on
// traces of 16K, 64K and 256K points. Each benchmark reports the time per
// point ("per_point", in seconds); the figures should stay flat across the three sizes.
//
// The trace is the same link at each size: a fibre falling 0.2 dB/km with
// a splice at a third and an end reflection at 80 % of the trace, then noise
// at the floor, sampled more finely on the longer traces, so that every
// search meets the same shape wherever it looks.
//
// On a shared machine, compare the sizes with
//   bench-ref --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true
// so that a busy spell of the host does not fall on one size only.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <random>

#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-data.h"

namespace {

constexpr double kLinkKm = 40.0;
constexpr double kFloorDb = -28.0;

std::unique_ptr<TSorData> makeLink(long points)
{
    auto data = std::make_unique<TSorData>();
    data->GenParams->NW = 1550;
    data->SupParams->SN = "FiberTest";
    auto& fxd = *data->FxdParams;
    fxd.SetTPW(1);
    fxd.PWU[0] = 1000;
    // The whole range covers the link and a quarter more, whatever the size.
    const double metresPerPoint = kLinkKm * 1000.0 / 0.8 / static_cast<double>(points);
    const double owtPerPoint = metresPerPoint / (299792458.0 / 1.4682) / 1e-10;
    fxd.DS[0] = static_cast<std::int32_t>(std::lround(owtPerPoint * 10000.0));
    fxd.NPPW[0] = static_cast<std::int32_t>(points);
    fxd.GI = 146820;
    fxd.BC = 810;
    fxd.AW = 15500;
    fxd.AR = static_cast<std::int32_t>(owtPerPoint * static_cast<double>(points));
    fxd.SetNF(kFloorDb);
    data->AUXParams->TYP = "RL";

    // Receiver noise about the floor, as an instrument's detector offset
    // leaves it: Gaussian in the linear domain, a third of the floor wide.
    std::mt19937_64 random(7);
    std::normal_distribution<double> gauss(0.0, 1.0);
    const double floorLin = std::pow(10.0, kFloorDb / 5.0);
    auto& raw = data->DataPts->GetSubBlock()->Points;
    raw.assign(static_cast<std::size_t>(points), 0);
    for (long i = 0; i < points; ++i) {
        const double km = static_cast<double>(i) * metresPerPoint / 1000.0;
        double power = floorLin * std::max(0.05, 1.0 + gauss(random) / 3.0);
        if (km < kLinkKm) {
            double level = -3.0 - 0.2 * km - (km > kLinkKm / 3 ? 0.3 : 0.0);
            if (km > kLinkKm - 0.02)
                level += 6.0;  // the end reflection
            power += std::pow(10.0, level / 5.0);
        }
        const double level = 5.0 * std::log10(power);
        raw[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>(std::lround(-level * 1000));
    }
    data->DataPts->RebuildWholeCache();
    data->SetLinf();
    return data;
}

// One trace of each size, made once.
TSorData& link(long points)
{
    static std::map<long, std::unique_ptr<TSorData>> made;
    auto& slot = made[points];
    if (!slot)
        slot = makeLink(points);
    return *slot;
}

void perPoint(benchmark::State& state, long points)
{
    // Seconds per point, printed with an SI prefix ("1.2n" is 1.2 ns).
    state.counters["per_point"] = benchmark::Counter(
        static_cast<double>(points), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Fits of 500-point windows tiled along the whole trace, as the event
// searches fit the fibre beside each candidate.
void LSLf(benchmark::State& state)
{
    const long n = state.range(0);
    TSorData& sd = link(n);
    for (auto _ : state) {
        float slope = 0;
        float offset = 0;
        for (long first = 0; first + 500 <= n; first += 500) {
            RefMathLSLf(&sd, first, first + 499, slope, offset);
            benchmark::DoNotOptimize(slope);
            benchmark::DoNotOptimize(offset);
        }
    }
    perPoint(state, n);
}

// Means of the whole trace, in levels (mode 0) and in the linear domain from
// the linear companion (mode 1).
void Power(benchmark::State& state)
{
    const long n = state.range(0);
    const int mode = static_cast<int>(state.range(1));
    TSorData& sd = link(n);
    const float* linear = mode == 0 ? nullptr : RefEmbGetLinf(&sd);
    for (auto _ : state)
        benchmark::DoNotOptimize(RefMathPower(&sd, linear, 0, n, mode));
    perPoint(state, n);
}

void CalcPolar(benchmark::State& state)
{
    const long n = state.range(0);
    TSorData& sd = link(n);
    const long fibreEnd = n * 8 / 10 - 10;
    for (auto _ : state) {
        long at = 0;
        benchmark::DoNotOptimize(RefAutoCalcPolar(&sd, 10, fibreEnd, 16, 0.0001f, at));
        benchmark::DoNotOptimize(at);
    }
    perPoint(state, n);
}

// The noise floor is decided afresh each time: the fields it may rewrite
// are put back before every call (a handful of stores).
void ReSetNF(benchmark::State& state)
{
    const long n = state.range(0);
    TSorData& sd = link(n);
    auto& fxd = *sd.FxdParams;
    auto& aux = *sd.AUXParams;
    const auto nf = fxd.NF;
    const auto nfsf = fxd.NFSF;
    const auto max = aux.MAX;
    const auto scale = aux.Scale;
    for (auto _ : state) {
        fxd.NF = nf;
        fxd.NFSF = nfsf;
        aux.MAX = max;
        aux.Scale = scale;
        benchmark::DoNotOptimize(RefAutoReSetNF(&sd));
    }
    // The trace is shared with the other benchmarks: leave it as it was made.
    fxd.NF = nf;
    fxd.NFSF = nfsf;
    aux.MAX = max;
    aux.Scale = scale;
    perPoint(state, n);
}

void SearchMaxdbRiseFall(benchmark::State& state)
{
    const long n = state.range(0);
    TSorData& sd = link(n);
    for (auto _ : state) {
        float fall = 0;
        float rise = 0;
        long fallAt = 0;
        long riseAt = 0;
        benchmark::DoNotOptimize(RefAutoSearchMaxdbRiseFall(&sd, 0, n - 1, 32, fall, fallAt, rise, riseAt, 0.0001f));
        benchmark::DoNotOptimize(fall);
        benchmark::DoNotOptimize(rise);
    }
    perPoint(state, n);
}

void sizes(benchmark::internal::Benchmark* b)
{
    for (long n : {16L << 10, 64L << 10, 256L << 10})
        b->Arg(n);
}

void sizesAndModes(benchmark::internal::Benchmark* b)
{
    for (int mode : {0, 1})
        for (long n : {16L << 10, 64L << 10, 256L << 10})
            b->Args({n, mode});
}

} // namespace

BENCHMARK(LSLf)->Apply(sizes);
BENCHMARK(Power)->Apply(sizesAndModes);
BENCHMARK(CalcPolar)->Apply(sizes);
BENCHMARK(ReSetNF)->Apply(sizes);
BENCHMARK(SearchMaxdbRiseFall)->Apply(sizes);
