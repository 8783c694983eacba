// The exponential taps of the plain weighted filter.
#include <gtest/gtest.h>

#include <cmath>

#include "auto/filter.h"

TEST(FilterTaps, ExponentialKernel)
{
    for (int k : {2, 3, 8, 25}) {
        TFilter f(k);
        ASSERT_EQ(f.K, k);
        double sum = 0.0;
        for (int j = 0; j < k; ++j)
            sum += f.Weights[j];
        EXPECT_NEAR(sum, 1.0, 1e-12) << k;
        // Each tap is the one before times the same ratio, and the last one
        // weighs an eighth of a virtual tap 0 (the first over that ratio).
        const double ratio = std::exp(std::log(0.125) / k);
        for (int j = 1; j < k; ++j)
            EXPECT_NEAR(f.Weights[j] / f.Weights[j - 1], ratio, 1e-12) << k;
        EXPECT_NEAR(f.Weights[k - 1] / (f.Weights[0] / ratio), 0.125, 1e-12) << k;
        EXPECT_GT(f.Weights[0], f.Weights[k - 1]);
    }
}

TEST(FilterTaps, NoTapsForZeroOrOne)
{
    TFilter f(5);
    f.SetK(1);
    EXPECT_EQ(f.K, 0);
    EXPECT_EQ(f.Weights, nullptr);
    f.SetK(4);
    EXPECT_EQ(f.K, 4);
    f.SetK(0);
    EXPECT_EQ(f.K, 0);
    EXPECT_EQ(f.Weights, nullptr);
    TFilter none(-3);
    EXPECT_EQ(none.K, 0);
}
