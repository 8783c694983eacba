// The automatic analysis (TAuto::Automat) on simulated traces of 16K, 64K and
// 256K points: the same 20 km link in a 25 km range, sampled more finely on
// the longer traces. Reports the time per point ("per_point", in seconds),
// which should stay flat across the sizes; the target is at most 20 ms for
// 64K points on the project's 2-core machine.
//
// Automat rewrites the document it analyses, so every iteration takes a fresh
// copy of the raw trace, read from the trace's bytes before the timing starts.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "auto/auto.h"
#include "sim/sim-link.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"

namespace {

constexpr double kRangeKm = 25.0;
constexpr std::size_t kPoolSize = 16;

std::string link(long points)
{
    const double spacingM = kRangeKm * 1000.0 / static_cast<double>(points);
    return R"({"otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "launch_dB": -3, "noise_floor_dB": -33, "seed": 7,
        "range_km": )" + std::to_string(kRangeKm) + R"(, "spacing_m": )" + std::to_string(spacingM) + R"(},
      "link": [{"connector": {"loss_dB": 0.4, "reflectance_dB": -45}}, {"fiber": {"km": 5}},
        {"splice": {"loss_dB": 0.1}}, {"fiber": {"km": 5}}, {"connector": {"loss_dB": 0.3, "reflectance_dB": -50}},
        {"fiber": {"km": 5}}, {"bend": {"loss_dB": 0.3}}, {"fiber": {"km": 5}}, {"end": {"reflectance_dB": -14}}]})";
}

std::unique_ptr<TSorData> load(const std::string& bytes)
{
    auto data = std::make_unique<TSorData>();
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    data->Read(&file);
    return data;
}

void BM_Automat(benchmark::State& state)
{
    const std::string bytes = SimSynthesize(link(state.range(0)), {}, false);
    const long points = load(bytes)->DataPts->GetPointsNum();
    std::vector<std::unique_ptr<TSorData>> pool;
    std::size_t next = 0;
    for (auto _ : state) {
        if (next == pool.size()) {
            state.PauseTiming();
            pool.clear();
            for (std::size_t i = 0; i < kPoolSize; ++i)
                pool.push_back(load(bytes));
            next = 0;
            state.ResumeTiming();
        }
        TAuto analysis;
        benchmark::DoNotOptimize(analysis.Automat(pool[next++].get(), 0));
    }
    state.counters["points"] = static_cast<double>(points);
    state.counters["per_point"] = benchmark::Counter(
        static_cast<double>(points), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_Automat)->Arg(16384)->Arg(65536)->Arg(262144)->Unit(benchmark::kMillisecond);

} // namespace
