// Fast table-driven logarithms and powers for the one-way 5 x log10 level scale.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "sor/sor-export.h"

// 5 * log10(x) without the library's logarithm: the position of the top bit
// of the whole part gives the decade-free part in steps of log10(2), a
// 65-entry table with linear interpolation gives the rest. Values are scaled
// by 10^4 once (below 4000 up, above 2e9 down) so that the whole part carries
// enough bits; from x = 0.4 up to the float range the result is within
// 1.1e-3 dB (the whole part's truncation; 1e-4 dB where it has more bits).
// Below 0.4 the scaled whole part is coarse, and below 1e-4 further steps
// keep it from reaching 0. Non-positive input and NaN give -infinity, as the
// logarithm of 0 would.
[[nodiscard]] FIBERTEST_SOR_EXPORT float flog5t(float x);

// 500000 * log10(x) as an integer, by the same table. Only the whole part of
// x counts (log500k(1.9) is 0) and only values above 2e9 are scaled; below 1,
// non-positive input and NaN the whole part counts as 1, giving 0.
[[nodiscard]] FIBERTEST_SOR_EXPORT std::int32_t log500k(float x);

// 10 ^ (y / 5) from a table of 15060 floats, for the per-point loops that
// turn levels into linear power. Exact to float accuracy of the table
// (relative error below 1e-4 from the truncation of y to 1/20000 steps).
// Negative y goes to the library's power.
[[nodiscard]] FIBERTEST_SOR_EXPORT double poww(double y);

namespace detail {

constexpr int Log5TableSize = 65;
constexpr int PowwTableSize = 15060;

// T[i] = trunc(log10(1 + i / 64.0) * 500000); filled once, thread-safely.
[[nodiscard]] FIBERTEST_SOR_EXPORT const std::int32_t* Log5Table();
// P[i] = 10 ^ (i / 50000.0) as float; filled once, thread-safely.
[[nodiscard]] FIBERTEST_SOR_EXPORT const float* PowwTable();

// poww with the table already at hand, for loops over all the points of a
// trace that fetch the table once.
inline double PowwFrom(const float* table, double y)
{
    // Also takes NaN, which the library's power passes through.
    if (!(y >= 0.0))
        return std::pow(10.0, y / 5.0);
    // 10^(2000/5) is far past the double range: the steps below would only
    // multiply their way to infinity.
    if (y > 2000.0)
        return std::numeric_limits<double>::infinity();
    // Each 40 above 40 is a factor 1e8, applied to the result in turn.
    int decades8 = 0;
    while (y > 40.0) {
        y -= 40.0;
        ++decades8;
    }
    // k counts steps of 1/20000 in y, that is of 1/100000 in log10; 100000
    // of them are a factor 10, 30103 a factor 2, and the rest, at most
    // 30102, halved, indexes the table. The counts are taken by division;
    // the factors are exact in double, as repeated products would be.
    auto k = static_cast<std::int32_t>(std::trunc(y * 20000.0));
    constexpr double powersOfTen[] = {1.0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};
    const std::int32_t tens = k / 100000;
    k -= tens * 100000;
    const std::int32_t twos = k / 30103;
    k -= twos * 30103;
    double result = powersOfTen[tens] * static_cast<double>(1 << twos) * table[k >> 1];
    for (int i = 0; i < decades8; ++i)
        result *= 1e8;
    return result;
}

// out[i] = the linear value of levels[i] on a log scale with base `base`,
// negative values stretched by `negative`, and the linear stretch of
// |u| <= 2 with `inverseSlope`: the steps of TSorBlockAUXParameters::
// Log5ToLin(float, 0), bit for bit. Where the processor has AVX2 eight
// levels go at a time; other lanes, and other processors, take the scalar
// steps.
FIBERTEST_SOR_EXPORT void Log5ToLinBatch(const float* levels, float* out, long n, float base, float negative,
                                         float inverseSlope);

// The scalar steps of one level.
inline float Log5ToLinOne(const float* table, float level, float base, float negative, float inverseSlope)
{
    float t = level - base;
    if (t < 0.0f)
        t *= negative;
    const float u = t * inverseSlope;
    if (std::fabs(u) <= 2.0f)
        return u;
    return static_cast<float>(t >= 0.0f ? PowwFrom(table, t) : -PowwFrom(table, -t));
}

} // namespace detail
