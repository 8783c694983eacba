// BuildLinkMap on the group of 8 traces of one link (two wavelengths, two
// pulses, both ends) with 50 events each: the target is under 5 ms on the
// project's 2-core machine. The traces carry the link's true events, written
// by the simulator, so the benchmark times the map alone.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "link/link-map-builder.h"
#include "link/sor-data-group.h"
#include "sim/sim-shot.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"

namespace {

constexpr int kEvents = 50;

// A start connector, 48 splices 0.4 km apart, a connector, the end: 50 events.
std::string link()
{
    std::string elements = R"({"connector": {"loss_dB": 0.3, "reflectance_dB": -50}})";
    for (int i = 0; i < kEvents - 3; ++i)
        elements += R"(, {"fiber": {"km": 0.4}}, {"splice": {"loss_dB": )" + std::to_string(0.05 + 0.01 * (i % 10)) + "}}";
    elements += R"(, {"fiber": {"km": 0.4}}, {"connector": {"loss_dB": 0.4, "reflectance_dB": -45}})";
    elements += R"(, {"fiber": {"km": 0.4}}, {"end": {"reflectance_dB": -14}})";
    return R"({"otdr": {"wavelength_nm": 1550, "spacing_m": 0.5, "range_km": 30, "seed": 5}, "link": [)" + elements +
           "]}";
}

void BM_BuildLinkMap(benchmark::State& state)
{
    std::vector<std::unique_ptr<TSorData>> traces;
    TSorDataGroup group;
    const std::string text = link();
    for (const auto direction : {TSorDataGroup::forward, TSorDataGroup::backward})
        for (const int wavelength : {1310, 1550})
            for (const double pulse : {30.0, 100.0}) {
                SimShotOptions options;
                options.wavelengthNm = wavelength;
                options.pulseNs = pulse;
                options.direction = direction == TSorDataGroup::forward ? SimDirection::Forward : SimDirection::Backward;
                const std::string bytes = SimSynthesize(text, options, true);
                auto data = std::make_unique<TSorData>();
                TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
                data->Read(&file);
                if (data->KeyEvents->TNKE != kEvents) {
                    state.SkipWithError("the simulated traces do not hold 50 events each");
                    return;
                }
                group.AddTrace(data.get(), direction);
                traces.push_back(std::move(data));
            }
    std::size_t nodes = 0;
    for (auto _ : state) {
        const TLinkMap map = BuildLinkMap(group, CalcDefaultMaxEventDispersionThreshold(group));
        nodes = map.GetNodesNum();
        benchmark::DoNotOptimize(nodes);
    }
    state.counters["traces"] = static_cast<double>(traces.size());
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(BM_BuildLinkMap)->Unit(benchmark::kMillisecond);

} // namespace
