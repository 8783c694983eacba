// Throughput of the trace-file checksum. It runs over every byte of every
// trace that is read or written (twice on writing), so it must stay far
// ahead of the disk: the target is 400 MB/s or more.
#include "util/crc.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

std::string randomBytes(std::size_t n)
{
    std::mt19937 rng(1);
    std::string s(n, '\0');
    for (auto& c : s)
        c = static_cast<char>(rng());
    return s;
}

// Sizes: a block header, a small block, a typical whole trace (30-100 KB),
// a long high-resolution trace.
void CrcCcitt(benchmark::State& state)
{
    const std::string data = randomBytes(static_cast<std::size_t>(state.range(0)));
    TCRC crc;
    for (auto _ : state) {
        unsigned short value = 0xFFFF;
        crc.get_crc_ccitt(value, data.data(), static_cast<int>(data.size()));
        benchmark::DoNotOptimize(value);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(CrcCcitt)->Arg(64)->Arg(4 << 10)->Arg(64 << 10)->Arg(1 << 20);

// The same checksum fed the way block writers feed it: a few bytes per call.
void CrcCcittSmallPieces(benchmark::State& state)
{
    const std::string data = randomBytes(64 << 10);
    const auto piece = static_cast<int>(state.range(0));
    TCRC crc;
    for (auto _ : state) {
        unsigned short value = 0xFFFF;
        for (std::size_t at = 0; at + static_cast<std::size_t>(piece) <= data.size(); at += static_cast<std::size_t>(piece))
            crc.get_crc_ccitt(value, data.data() + at, piece);
        benchmark::DoNotOptimize(value);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * (64 << 10));
}
BENCHMARK(CrcCcittSmallPieces)->Arg(2)->Arg(4)->Arg(16);

// The definition, bit by bit, for comparison within the same run.
void CrcCcittBitwiseReference(benchmark::State& state)
{
    const std::string data = randomBytes(64 << 10);
    for (auto _ : state) {
        std::uint16_t crc = 0xFFFF;
        for (unsigned char byte : data) {
            crc = static_cast<std::uint16_t>(crc ^ (byte << 8));
            for (int bit = 0; bit < 8; ++bit)
                crc = static_cast<std::uint16_t>((crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1);
        }
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * (64 << 10));
}
BENCHMARK(CrcCcittBitwiseReference);

} // namespace
