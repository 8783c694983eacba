// Load and save throughput of the trace document over the real traces of
// other makers (read in place from the shared folder), in bytes of file per
// second. Each benchmark runs over all the traces in turn, from memory, so
// that the disk does not take part.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"

namespace {

const std::vector<std::string>& traces()
{
    static const std::vector<std::string> files = [] {
        std::vector<std::string> loaded;
        const std::filesystem::path dir = FIBERTEST_TRACES_DIR;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(dir, error)) {
            const std::string ext = entry.path().extension().string();
            if (ext != ".sor" && ext != ".SOR")
                continue;
            std::ifstream in(entry.path(), std::ios::binary);
            loaded.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
        return loaded;
    }();
    return files;
}

std::int64_t totalBytes()
{
    std::int64_t total = 0;
    for (const std::string& t : traces())
        total += static_cast<std::int64_t>(t.size());
    return total;
}

template <bool Minimal>
void Load(benchmark::State& state)
{
    if (traces().empty()) {
        state.SkipWithError("no traces in " FIBERTEST_TRACES_DIR);
        return;
    }
    for (auto _ : state) {
        for (const std::string& bytes : traces()) {
            TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
            TSorData trace;
            if (Minimal)
                trace.ReadMinimal(&file);
            else
                trace.Read(&file);
            benchmark::DoNotOptimize(trace.DataPts);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * totalBytes());
}

void ReadMinimal(benchmark::State& state) { Load<true>(state); }
void Read(benchmark::State& state) { Load<false>(state); }
// The machine is shared: seven repetitions, of which the median is the
// figure to compare (rates are in binary units, MiB/s and GiB/s).
BENCHMARK(ReadMinimal)->Unit(benchmark::kMicrosecond)->Repetitions(7);
BENCHMARK(Read)->Unit(benchmark::kMicrosecond)->Repetitions(7);

// Saving, the sizing pass included, into a memory file.
void Write(benchmark::State& state)
{
    if (traces().empty()) {
        state.SkipWithError("no traces in " FIBERTEST_TRACES_DIR);
        return;
    }
    std::vector<std::unique_ptr<TSorData>> loaded;
    std::int64_t written = 0;
    for (const std::string& bytes : traces()) {
        TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
        loaded.push_back(std::make_unique<TSorData>());
        loaded.back()->Read(&file);
    }
    for (auto _ : state) {
        written = 0;
        for (auto& trace : loaded) {
            TSorFile memory("", "m");
            trace->Write(&memory);
            written += static_cast<std::int64_t>(memory.GetDataSize());
            benchmark::DoNotOptimize(memory.GetData());
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * written);
}
BENCHMARK(Write)->Unit(benchmark::kMicrosecond)->Repetitions(7);

} // namespace

namespace {

// The linear companion's conversion alone, per point, over levels that run
// down a fiber and into the noise.
void LevelToLinear(benchmark::State& state)
{
    std::vector<float> levels(65536);
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i] = -3.0f - static_cast<float>(i) * 0.0005f + ((i * 7919) % 13) * 0.01f;
    std::vector<float> linear(levels.size());
    TSorBlockAUXParameters aux;
    aux.MAX = 64988;
    for (auto _ : state) {
        aux.Log5ToLinArray(levels.data(), linear.data(), static_cast<long>(levels.size()));
        benchmark::DoNotOptimize(linear.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(levels.size()));
}
BENCHMARK(LevelToLinear)->Repetitions(7);

} // namespace
