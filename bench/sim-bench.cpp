// What `fibertest synth` does for a trace of 256K points (131 km at 0.5 m),
// from the link's text to the bytes of the trace: in points per second.
// The target is under 100 ms a trace on the project's 2-core machine.
#include <benchmark/benchmark.h>

#include <string>

#include "sim/sim-link.h"
#include "sim/sim-model.h"
#include "sim/sim-shot.h"
#include "sim/sim-trace.h"

namespace {

constexpr long kPoints = 262144;

// A long span with every kind of event; the range holds exactly kPoints.
std::string link(double pulseNs, bool ghosts)
{
    return R"({"otdr": {"wavelength_nm": 1550, "spacing_m": 0.5, "range_km": 131.0715, "launch_dB": -3,
        "noise_floor_dB": -45, "pulse_ns": )" +
           std::to_string(pulseNs) + R"(, "ghosts": )" + (ghosts ? "true" : "false") + R"(},
      "link": [{"connector": {"loss_dB": 0.4, "reflectance_dB": -45}},
        {"fiber": {"km": 20}}, {"splice": {"loss_dB": 0.05}}, {"fiber": {"km": 20}},
        {"connector": {"loss_dB": 0.3, "reflectance_dB": -50}}, {"fiber": {"km": 20}},
        {"bend": {"loss_dB": 0.4}}, {"fiber": {"km": 20}}, {"splitter": {"ratio": 4, "reflectance_dB": -55}},
        {"fiber": {"km": 15}}, {"end": {"reflectance_dB": -14}}]})";
}

void checkPoints(benchmark::State& state, const std::string& json)
{
    const SimShot shot = SimResolveShot(SimParseLink(json), {});
    if (shot.points != kPoints)
        state.SkipWithError(("the trace has " + std::to_string(shot.points) + " points").c_str());
}

// The whole command without the disk: parse, model, trace document, bytes.
void BM_Synth256K(benchmark::State& state)
{
    const std::string json = link(static_cast<double>(state.range(0)), state.range(1) != 0);
    checkPoints(state, json);
    for (auto _ : state) {
        std::string bytes = SimSynthesize(json, {}, true);
        benchmark::DoNotOptimize(bytes);
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_Synth256K)->Args({10, 0})->Args({100, 0})->Args({10000, 1})->Unit(benchmark::kMillisecond);

// The physics alone.
void BM_Model256K(benchmark::State& state)
{
    const std::string json = link(static_cast<double>(state.range(0)), false);
    const SimShot shot = SimResolveShot(SimParseLink(json), {});
    for (auto _ : state) {
        SimModelOutput out = SimRunModel(shot);
        benchmark::DoNotOptimize(out.raw.data());
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_Model256K)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

} // namespace
