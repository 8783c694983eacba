#include "sor/sor-log-scale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <vector>

TEST(LogScaleTest, TablesHoldTheirFormulaValues)
{
    const std::int32_t* T = detail::Log5Table();
    EXPECT_EQ(T[0], 0);
    EXPECT_EQ(T[32], 88045);   // trunc(log10(1.5) * 500000) = trunc(88045.63)
    EXPECT_EQ(T[64], 150514);  // trunc(log10(2) * 500000) = trunc(150514.997)
    const float* P = detail::PowwTable();
    EXPECT_EQ(P[0], 1.0f);
    EXPECT_FLOAT_EQ(P[15051], 1.99995398f);  // 10^0.30102
    EXPECT_FLOAT_EQ(P[detail::PowwTableSize - 1], 2.00069094f);  // 10^0.30118
    for (int i = 1; i < detail::Log5TableSize; ++i)
        EXPECT_LT(T[i - 1], T[i]) << i;
}

TEST(LogScaleTest, TablesFillOnceUnderConcurrentFirstUse)
{
    // Every thread sees the same, complete tables whoever filled them.
    std::vector<std::thread> threads;
    std::vector<float> results(8);
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&results, t] { results[t] = flog5t(1234.5f) + static_cast<float>(poww(7.25)); });
    for (auto& thread : threads)
        thread.join();
    for (float r : results)
        EXPECT_EQ(r, results[0]);
}

TEST(LogScaleTest, Flog5tFollowsTheLogarithmOverManyDecades)
{
    // Through the scaling boundaries at 4000 and 2e9 up to the float range.
    // (Below 0.4 the scaled whole part carries too few bits; the level scale
    // calls it with |x| above 2 only.)
    // The whole part of values just above 4000 costs up to 1.1e-3 dB; with
    // more bits in it only the table's interpolation remains.
    for (double x = 0.4; x < 1e37; x *= 1.37) {
        const auto xf = static_cast<float>(x);
        const double tolerance = (x >= 1e5 && x <= 2e9) || x >= 2e13 ? 2e-4 : 1.1e-3;
        ASSERT_NEAR(flog5t(xf), 5.0 * std::log10(static_cast<double>(xf)), tolerance) << x;
    }
    for (float x : {3999.0f, 4000.0f, 4001.0f, 1.999e9f, 2e9f, 2.001e9f})
        EXPECT_NEAR(flog5t(x), 5.0 * std::log10(static_cast<double>(x)), 1.1e-3) << x;
    EXPECT_EQ(flog5t(0.0f), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(flog5t(-3.0f), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isfinite(flog5t(std::numeric_limits<float>::infinity())));
}

TEST(LogScaleTest, Log500kCountsTheWholePart)
{
    EXPECT_EQ(log500k(2.0f), 150515);  // the top bit alone: one step of log10(2)
    EXPECT_EQ(log500k(1.0f), 0);
    EXPECT_EQ(log500k(1.9f), 0);  // only the whole part counts
    EXPECT_EQ(log500k(0.5f), 0);
    EXPECT_EQ(log500k(std::nanf("")), 0);
    for (float x : {3.0f, 1000.0f, 65535.0f, 1e6f, 1.5e9f, 3e9f, 1e15f})
        EXPECT_NEAR(log500k(x), 500000.0 * std::log10(std::trunc(static_cast<double>(x))), 10.0) << x;
}

TEST(LogScaleTest, PowwFollowsThePowerOverManyDecades)
{
    for (double y = 0.0; y < 300.0; y += 0.0137) {
        const double expected = std::pow(10.0, y / 5.0);
        ASSERT_NEAR(poww(y) / expected, 1.0, 1e-4) << y;
    }
    // Whole factors of 10 and 2 come out exact.
    EXPECT_EQ(poww(0.0), 1.0);
    EXPECT_EQ(poww(5.0), 10.0);
    EXPECT_EQ(poww(1.50515), 2.0);
    EXPECT_EQ(poww(45.0), 1e9);
    // Negative arguments are the library's.
    EXPECT_DOUBLE_EQ(poww(-7.0), std::pow(10.0, -7.0 / 5.0));
    EXPECT_EQ(poww(5000.0), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(poww(std::nan(""))));
}

// The batch conversion that loads run over every point must give the very
// bits of the one-level steps, on every path (vector and scalar lanes).
TEST(LogScaleTest, BatchConversionEqualsTheOneLevelStepsBitForBit)
{
    std::vector<float> levels;
    for (int raw = 0; raw < 65536; ++raw)
        for (const float sf : {1000.0f, 2000.0f})
            levels.push_back(-static_cast<float>(raw) * sf * 1e-6f);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> any(-300.0f, 200.0f);
    for (int i = 0; i < 20000; ++i)
        levels.push_back(any(rng));
    levels.push_back(std::numeric_limits<float>::quiet_NaN());
    levels.push_back(std::numeric_limits<float>::infinity());
    levels.push_back(-std::numeric_limits<float>::infinity());
    const float* table = detail::PowwTable();
    for (const float base : {0.0f, -40.0f, -64.988f, -65.535f, -131.07f})
        for (const float negative : {1.0f, 2.0f, 4.0f}) {
            std::vector<float> batch(levels.size());
            detail::Log5ToLinBatch(levels.data(), batch.data(), static_cast<long>(levels.size()), base, negative,
                                   1.3287712f);
            for (std::size_t i = 0; i < levels.size(); ++i) {
                const float one = detail::Log5ToLinOne(table, levels[i], base, negative, 1.3287712f);
                ASSERT_EQ(std::memcmp(&one, &batch[i], sizeof one), 0)
                    << "level " << levels[i] << " base " << base << " negative " << negative << ": " << one
                    << " against " << batch[i];
            }
        }
}
