// Mean powers, deviations, the noise correction and the launch level of
// RefMath on traces whose answers are known in closed form.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "ref-test-helpers.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"

using reftest::makeTrace;
using reftest::straightLine;

TEST(RefMathPowerTest, MeansOfLevelsAndOfLinearPower)
{
    // With the base of the scale at 0 dB, -10 and -20 dB are 100 and 10000
    // in linear power below it.
    auto sd = makeTrace({-10.0, -20.0, -12.0, -14.0});
    const float linearMean = -5050.0f;
    const double linearLevel = -5.0 * std::log10(5050.0);
    EXPECT_NEAR(RefMathPower(sd.get(), nullptr, 0, 2, 0), -15.0f, 1e-5);
    EXPECT_NEAR(RefMathPower(sd.get(), nullptr, 0, 2, 2), linearMean, 1.0);
    EXPECT_NEAR(RefMathPower(sd.get(), nullptr, 0, 2, 1), linearLevel, 2e-3);
    EXPECT_NEAR(RefMathPower(sd.get(), 0L, 2L, 0), -15.0, 1e-5);
    EXPECT_NEAR(RefMathPower(sd.get(), 0L, 2L, 1), linearLevel, 2e-3);
    EXPECT_NEAR(RefMathPower(sd.get(), 0L, 2L, 2), linearLevel, 2e-3);  // 2 counts as 1
    // OWT 0 to 10 are pins 0 and 1 (count trunc(2 + 0.5)).
    EXPECT_NEAR(RefMathPower(sd.get(), 0.0, 10.0, 0), -15.0, 1e-5);

    // The float form cuts the count at the end and divides by what is left;
    // the double form reads -65.5 past it. A negative start reads -65.5 too.
    EXPECT_NEAR(RefMathPower(sd.get(), nullptr, 2, 10, 0), -13.0f, 1e-5);
    EXPECT_NEAR(RefMathPower(sd.get(), 2L, 4L, 0), (-26.0 - 131.0) / 4.0, 1e-5);
    EXPECT_NEAR(RefMathPower(sd.get(), nullptr, -2, 4, 0), (-131.0f - 30.0f) / 4.0f, 1e-4);
    EXPECT_EQ(RefMathPower(sd.get(), nullptr, 1, 0, 0), 0.0f);
    EXPECT_EQ(RefMathPower(sd.get(), nullptr, 4, 3, 1), 0.0f);
    EXPECT_EQ(RefMathPower(sd.get(), 1L, 0L, 1), 0.0);
    EXPECT_TRUE(std::isfinite(RefMathPower(sd.get(), LONG_MIN, LONG_MAX, 0)));

    // A given linear array stands in for the levels.
    const std::vector<float> lin = {1.0f, 2.0f, 3.0f, 6.0f};
    EXPECT_FLOAT_EQ(RefMathPower(sd.get(), lin.data(), 0, 4, 2), 3.0f);
    EXPECT_FLOAT_EQ(RefMathPower(sd.get(), lin.data(), 2, 9, 2), 4.5f);

    // A base at -15 dB with levels below it stretched twice: -20 dB counts
    // as -25 in the mean of levels.
    sd->AUXParams->MAX = 15000;
    sd->AUXParams->SetNegScale(1);
    ASSERT_EQ(sd->AUXParams->GetNegScale(), 2);
    EXPECT_NEAR(RefMathPower(sd.get(), nullptr, 0, 2, 0), -17.5f, 1e-5);
    EXPECT_NEAR(RefMathPower(sd.get(), 0L, 2L, 0), -17.5, 1e-5);

    // The plain mean of weight x level; one point alone; a reversed section.
    EXPECT_NEAR(RefMathAveragePointInSection(sd.get(), 0.0, 15.0, 2.0), 2.0 * -56.0 / 4.0, 1e-5);
    EXPECT_NEAR(RefMathAveragePointInSection(sd.get(), 0.0, 2.0, 3.0), -30.0, 1e-5);
    EXPECT_EQ(RefMathAveragePointInSection(sd.get(), 15.0, 0.0, 1.0), 0.0);
}

TEST(RefMathPowerTest, DeviationsFromFitsAndInTheLinearDomain)
{
    // Symmetric about pin 2: the fit over 0..4 is flat at -1.08, and the
    // points 0..3 lie 0.08 and 0.12 from it.
    auto sd = makeTrace({-1.0, -1.2, -1.0, -1.2, -1.0, -1.0, -1.0, -1.0});
    float deviation = 0.0f, yFirst = 0.0f, yLast = 0.0f;
    ASSERT_EQ(RefMathSQO(sd.get(), 0, 4, deviation, yFirst, yLast), 1);
    EXPECT_NEAR(deviation, std::sqrt(0.0104), 1e-5);
    EXPECT_NEAR(yFirst, -1.08f, 1e-5);
    EXPECT_NEAR(yLast, -1.08f, 1e-5);
    deviation = yFirst = yLast = 7.0f;
    EXPECT_EQ(RefMathSQO(sd.get(), 0, 2, deviation, yFirst, yLast), 0);
    EXPECT_EQ(RefMathSQO(sd.get(), 0, 9, deviation, yFirst, yLast), 0);
    EXPECT_EQ(deviation, 7.0f);
    EXPECT_EQ(yFirst, 7.0f);
    EXPECT_EQ(RefMathSQO(sd.get(), 4, 8, deviation, yFirst, yLast), 1);  // pin 8 reads -65.5
    EXPECT_EQ(RefMathSQO(sd.get(), -20, 8, deviation, yFirst, yLast), 1);
    EXPECT_TRUE(std::isfinite(deviation));

    const std::vector<float> lin = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f};
    EXPECT_FLOAT_EQ(RefMathLinSQO(lin.data(), 0, 4), std::sqrt(7.5f));
    EXPECT_FLOAT_EQ(RefMathLinSQO(lin.data(), 1, 5), std::sqrt(13.5f));
    EXPECT_EQ(RefMathLinSQO(lin.data(), 0, 3), 0.0f);
    EXPECT_EQ(RefMathLinSQO(nullptr, 0, 4), 0.0f);

    // A base at -2 dB: -1.5 and -2.5 dB lie on the straight stretch of the
    // scale at +-0.5 x 1.3287712 in linear power. Their root-mean-square
    // about 0 is that, and back on the scale 0.5 dB above the base; about
    // the upper value it is sqrt(2) times as far, 0.5 sqrt(2) dB.
    auto alternating = makeTrace(reftest::levelsOf(8, [](long i) { return i % 2 == 0 ? -1.5 : -2.5; }));
    alternating->AUXParams->MAX = 2000;
    const float upper = alternating->AUXParams->Log5ToLin(-1.5f, 0);
    EXPECT_NEAR(RefMathLinSQO(alternating.get(), 0.0f, 1.0f, 0.0f), -1.5f, 1e-5);
    EXPECT_NEAR(RefMathLinSQO(alternating.get(), 0.0f, 1.0f, upper), -2.0f + 0.5f * std::sqrt(2.0f), 1e-5);
    EXPECT_EQ(RefMathLinSQO(alternating.get(), 0.0f, 0.25f, 0.0f), 0.0f);  // two points
    // With "LINF" the stored linear values are taken and the mean is not
    // subtracted: 0.5 everywhere is 0.5 / 1.3287712 dB above the base.
    alternating->SetLinf();
    float* linf = RefEmbGetLinf(alternating.get());
    ASSERT_NE(linf, nullptr);
    for (long i = 0; i < 8; ++i)
        linf[i] = 0.5f;
    EXPECT_NEAR(RefMathLinSQO(alternating.get(), 0.0f, 1.0f, 0.5f), -2.0f + 0.5f / 1.3287712f, 1e-5);
    EXPECT_EQ(RefEmbGetLinf(sd.get()), nullptr);
}

TEST(RefMathNoiseTest, AddNoiseAboveTheFloor)
{
    // The floor is at -30 dB: -20 dB is 100 noise amplitudes, -30 dB one.
    auto sd = makeTrace({-20.0, -30.0});
    const double up = 5.0 * std::log10(1.01);
    const double down = 5.0 * std::log10(0.99);
    EXPECT_NEAR(RefMathAddNoise(sd.get(), 0, 1, 1), up, 2e-3);
    EXPECT_NEAR(RefMathAddNoise(sd.get(), 0, 1, -1), down, 2e-3);
    EXPECT_NEAR(RefMathAddNoise(sd.get(), 0, 1, 0), (up - down) / 2.0, 2e-3);
    // Averaged over 4 points the signal stands twice as high against the noise.
    EXPECT_NEAR(RefMathAddNoise(sd.get(), 0, 4, 1), 5.0 * std::log10(201.0 / 200.0), 2e-3);
    EXPECT_NEAR(RefMathAddNoise(sd.get(), 0, 0, 1), up, 2e-3);
    // At the floor one amplitude down takes the power to zero.
    EXPECT_EQ(RefMathAddNoise(sd.get(), 1, 1, -1), -100.0f);
    EXPECT_EQ(RefMathAddNoise(sd.get(), 1, 4, -2), -100.0f);
    EXPECT_NEAR(RefMathAddNoise(sd.get(), 1, 1, 0), (5.0 * std::log10(2.0) + 100.0) / 2.0, 2e-3);
}

TEST(RefMathLaunchTest, LevelAtZeroKmAndReferredTo1us)
{
    // 5 OWT a point at group index 1.4682: 1.02095e-4 km a point, so 0.05 to
    // 0.15 km are pins 489 to 1469 of a line that starts at -2 dB.
    auto sd = makeTrace(straightLine(2000, -2.0, 0.002));
    const float p0 = RefMathCalcPower0(sd.get(), 0.05f, 0.15f);
    EXPECT_NEAR(p0, -2.0f, 1e-4);
    // A rising stretch gives its own level at its far end.
    auto rising = makeTrace(straightLine(2000, -6.0, -0.001));
    EXPECT_NEAR(RefMathCalcPower0(rising.get(), 0.05f, 0.15f), -6.0f + 0.001f * 1469.0f, 1e-4);

    // No stored loss: the correction word is written (0 for 100 ns), the
    // power offset is its own base, and a 100 ns pulse is 5 dB below 1 us.
    TSorBlockAUXParameters& aux = *sd->AUXParams;
    aux.OffsetA = 5;
    aux.OffsetB = 200;
    EXPECT_NEAR(RefMathCalcPower1uS(sd.get(), 0.05f, 0.15f, 0.0f), p0 + 5.0 + 0.2, 1e-6);
    EXPECT_EQ(aux.OffsetA, 0);
    sd->FxdParams->PWU[0] = 20;
    EXPECT_NEAR(RefMathCalcPower1uS(sd.get(), 0.05f, 0.15f, 0.0f), p0 - (5.0 * std::log10(0.02) + 0.7 - 0.2), 1e-6);
    EXPECT_EQ(aux.OffsetA, 700);

    // A stored loss: the word stays, and the power offset above the loss
    // (given, else the stored one) is added when it is 1 dB or more.
    sd->FxdParams->PWU[0] = 100;
    aux.OffsetA = 5;
    aux.OffsetB = 0;
    aux.dM = 1;
    sd->FxdParams->PO = 25000;
    EXPECT_NEAR(RefMathCalcPower1uS(sd.get(), 0.05f, 0.15f, 10.0f), 15.0 + p0 + 5.0 - 0.005, 1e-5);
    EXPECT_NEAR(RefMathCalcPower1uS(sd.get(), 0.05f, 0.15f, 0.0f), 24.0 + p0 + 5.0 - 0.005, 1e-5);
    EXPECT_NEAR(RefMathCalcPower1uS(sd.get(), 0.05f, 0.15f, 24.5f), p0 + 5.0 - 0.005, 1e-5);
    EXPECT_EQ(aux.OffsetA, 5);
}
