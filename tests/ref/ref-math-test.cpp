// Lines, event shapes and least-squares fits of RefMath on traces whose
// answers are known in closed form.
#include "ref/ref-math.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "ref-test-helpers.h"
#include "sor/sor-block-data-points.h"

using reftest::makeTrace;
using reftest::straightLine;

namespace {

// The level a trace holds for pin i (the float cache).
float levelAt(TSorData& sd, long i)
{
    return sd.DataPts->numTofLevel(i);
}

} // namespace

TEST(RefMathGeometryTest, LinesClippingAndClosedForms)
{
    double k = 0.0;
    double b = 0.0;
    RefMathLine(1.0, 3.0, 3.0, 7.0, k, b);
    EXPECT_DOUBLE_EQ(k, 2.0);
    EXPECT_DOUBLE_EQ(b, 1.0);
    RefMathLine(2.0, 5.0, 2.0, 9.0, k, b);  // shared x
    EXPECT_EQ(k, 0.0);
    EXPECT_EQ(b, 5.0);
    RefMathLine(1.0, 4.0, 8.0, 4.0, k, b);  // shared y
    EXPECT_EQ(k, 0.0);
    EXPECT_EQ(b, 4.0);

    // Wholly inside: unchanged.
    double x1 = 1.0, y1 = 1.0, x2 = 3.0, y2 = 3.0;
    EXPECT_EQ(RefMathClipLine(x1, y1, x2, y2, 0.0, 0.0, 10.0, 10.0), 1);
    EXPECT_DOUBLE_EQ(x1, 1.0);
    EXPECT_DOUBLE_EQ(y2, 3.0);
    // Wholly above the rectangle.
    x1 = 0.0, y1 = 20.0, x2 = 5.0, y2 = 30.0;
    EXPECT_EQ(RefMathClipLine(x1, y1, x2, y2, 0.0, 0.0, 10.0, 10.0), 0);
    // Partly inside: y = x from -5 to 15 is cut to 0..10.
    x1 = -5.0, y1 = -5.0, x2 = 15.0, y2 = 15.0;
    EXPECT_EQ(RefMathClipLine(x1, y1, x2, y2, 0.0, 0.0, 10.0, 10.0), 1);
    EXPECT_DOUBLE_EQ(x1, 0.0);
    EXPECT_DOUBLE_EQ(y1, 0.0);
    EXPECT_DOUBLE_EQ(x2, 10.0);
    EXPECT_DOUBLE_EQ(y2, 10.0);
    // A falling segment y = 10 - x: only the y values are put in order, so
    // the ends come back on the line of the original slope.
    x1 = 0.0, y1 = 10.0, x2 = 10.0, y2 = 0.0;
    EXPECT_EQ(RefMathClipLine(x1, y1, x2, y2, 2.0, 0.0, 8.0, 10.0), 1);
    EXPECT_DOUBLE_EQ(x1, 2.0);
    EXPECT_DOUBLE_EQ(y1, 8.0);
    EXPECT_DOUBLE_EQ(x2, 8.0);
    EXPECT_DOUBLE_EQ(y2, 2.0);

    EXPECT_DOUBLE_EQ(RefMathLinesSQO(2.0, 0.0, 5.0), 2.0);
    EXPECT_DOUBLE_EQ(RefMathLinesSQO(0.0, 1.0, 3.0), std::sqrt(3.0));
    EXPECT_DOUBLE_EQ(RefMathLinearFactor(-1.0, 2.0, 0.5), 0.0);
    EXPECT_DOUBLE_EQ(RefMathLinearFactor(1.0, 9.0, 0.0), 5.0);
    // q = 10^-2, m = 10 / 1.2: 0.99 x 1.2 x (1 - e^(-1/1.2)).
    EXPECT_NEAR(RefMathAmplitudePulse(10.0, 1.0, 20.0), 0.99 * 1.2 * (1.0 - std::exp(-1.0 / 1.2)), 1e-12);
}

TEST(RefMathSpliceTest, ContinuousAcrossTheEventAndStraightBeyond)
{
    const double step = 0.5, s1 = 0.02, s2 = 0.03, width = 40.0;
    // Continuous at both ends: 0 at the start, step + W s2 at the end.
    EXPECT_NEAR(RefMathSplicePower(step, s1, s2, width, 0.0), 0.0, 1e-12);
    EXPECT_NEAR(RefMathSplicePower(step, s1, s2, width, width), step + width * s2, 1e-12);
    EXPECT_NEAR(RefMathSplicePower(step, s1, s2, width, 1e-9), 0.0, 1e-6);
    // Beyond the event the straight lines.
    EXPECT_DOUBLE_EQ(RefMathSplicePower(step, s1, s2, width, 50.0), step + 50.0 * s2);
    EXPECT_DOUBLE_EQ(RefMathSplicePower(step, s1, s2, width, -10.0), -10.0 * s1);
    // Flat fibre on both sides: the linear blend of 1 and 10^(-L/5).
    const double x = 10.0;
    const double blend = (1.0 - x / width) + x / width * std::pow(10.0, -step / 5.0);
    EXPECT_NEAR(RefMathSplicePower(step, 0.0, 0.0, width, x), -5.0 * std::log10(blend), 1e-12);

    // The float forms follow the double one inside the event.
    for (int i = 0; i < 40; i += 7)
        EXPECT_NEAR(RefMathSplicePower(0.5f, 0.02f, 0.03f, 40, i),
                    RefMathSplicePower(step, s1, s2, width, static_cast<double>(i)), 1e-4);
    EXPECT_FLOAT_EQ(RefMathSpliceLinPower(0.5f, 0.02f, 0.03f, 40, 0), 1.0f);
    EXPECT_FLOAT_EQ(RefMathSpliceLinPower(0.5f, 0.02f, 0.03f, 40, 50), 0.5f + 0.03f * 50.0f);
    EXPECT_FLOAT_EQ(RefMathSpliceLinPower(0.5f, 0.02f, 0.03f, 40, -5), -0.1f);
    // Outside, the dB line goes through the logarithm as it is; a value not
    // above 0 gives -0.0.
    EXPECT_FLOAT_EQ(RefMathSplicePower(0.5f, 0.02f, 0.03f, 40, 50), -5.0f * std::log10(2.0f));
    const float before = RefMathSplicePower(0.5f, 0.02f, 0.03f, 40, -5);
    EXPECT_EQ(before, 0.0f);
    EXPECT_TRUE(std::signbit(before));
    // A zero-width event at its start.
    EXPECT_EQ(RefMathSplicePower(0.5, 0.02, 0.03, 0.0, 0.0), 0.0);
}

TEST(RefMathPinFitTest, LinesStepsStridesAndDegenerateStretches)
{
    auto sd = makeTrace(straightLine(200, -1.0, 0.01));
    float slope = 0.0f, offset = 0.0f;
    RefMathLSLf(sd.get(), 20, 120, slope, offset);
    EXPECT_NEAR(slope, 0.01f, 1e-6);
    EXPECT_NEAR(offset, -2.2f, 1e-5);  // the level at `last`
    float yFirst = 0.0f, yLast = 0.0f;
    RefMathLSL2f(sd.get(), 20, 120, yFirst, yLast);
    EXPECT_NEAR(yFirst, -1.2f, 1e-5);
    EXPECT_NEAR(yLast, -2.2f, 1e-5);
    // Four samples of a straight line give its whole fall.
    EXPECT_NEAR(RefMathLSL4f(sd.get(), 10, 100), 0.9f, 1e-5);

    // The degenerate table.
    RefMathLSLf(sd.get(), 50, 50, slope, offset);
    EXPECT_EQ(slope, 0.0f);
    EXPECT_EQ(offset, levelAt(*sd, 50));
    RefMathLSLf(sd.get(), 60, 50, slope, offset);
    EXPECT_EQ(slope, 1.0f);
    EXPECT_EQ(offset, 0.0f);

    // A step of 2 dB at pin 100: each side fits flat at its own level.
    auto step = makeTrace(reftest::levelsOf(200, [](long i) { return i < 100 ? -1.0 : -3.0; }));
    RefMathLSL2f(step.get(), 0, 99, yFirst, yLast);
    float after = 0.0f, afterEnd = 0.0f;
    RefMathLSL2f(step.get(), 100, 199, after, afterEnd);
    EXPECT_NEAR(yLast - after, 2.0f, 1e-5);
    EXPECT_NEAR(yFirst - afterEnd, 2.0f, 1e-5);
    // The samples at the thirds (pins 66 and 133) fall on either side of the
    // step, so the four-point estimate reads (-1 + 3 x 2 + 3) x 0.3.
    EXPECT_NEAR(RefMathLSL4f(step.get(), 0, 199), 2.4f, 1e-5);

    // Even pins at -1 dB, odd pins at -2 dB. With last - first = 30001 every
    // second point is taken (all odd from the odd `last`, so flat at -2);
    // with 30000 all of them.
    auto comb = makeTrace(reftest::levelsOf(30002, [](long i) { return i % 2 == 0 ? -1.0 : -2.0; }));
    // (The float sums of 15000 points carry a few 1e-4 dB.)
    RefMathLSLf(comb.get(), 0, 30001, slope, offset);
    EXPECT_NEAR(slope, 0.0f, 1e-6);
    EXPECT_NEAR(offset, -2.0f, 1e-3);
    RefMathLSLf(comb.get(), 1, 30001, slope, offset);
    EXPECT_NEAR(offset, -1.5f, 1e-3);

    // Past the ends the trace reads -65.5 dB, not memory beyond it.
    RefMathLSLf(sd.get(), 300, 400, slope, offset);
    EXPECT_NEAR(slope, 0.0f, 1e-6);
    EXPECT_NEAR(offset, -65.5f, 1e-4);
    RefMathLSL2f(sd.get(), -40, -10, yFirst, yLast);
    EXPECT_NEAR(yFirst, -65.5f, 1e-4);
    // The outer samples read -65.5 both; the inner ones are pins 56 and 143.
    EXPECT_NEAR(RefMathLSL4f(sd.get(), -30, 230), (levelAt(*sd, 56) - levelAt(*sd, 143)) * 0.3f, 1e-5);
    // Absurd pins end (they are held within reach of the trace).
    RefMathLSLf(sd.get(), LONG_MIN, LONG_MAX, slope, offset);
    EXPECT_TRUE(std::isfinite(offset));
}

TEST(RefMathPinFitTest, GetPinWithLspFindsTheStraightStretchBehindABend)
{
    // The last stretch falls 0.01 dB a point, a flat stretch lies before it
    // and a steep one before that: growing back from the end, the slope of
    // the fit first drops away from a target above 0.01 and only behind the
    // flat part climbs to it.
    auto sd = makeTrace(reftest::levelsOf(300, [](long i) {
        if (i >= 200)
            return -10.0 - 0.01 * static_cast<double>(i - 200);
        if (i >= 150)
            return -10.0;
        return -10.0 + 0.05 * static_cast<double>(150 - i);
    }));
    float targetSlope = 0.0f, targetOffset = 0.0f;
    RefMathLSLf(sd.get(), 20, 299, targetSlope, targetOffset);
    ASSERT_GT(targetSlope, 0.011f);

    float yAtBest = 0.0f, yEnd = 0.0f, relError = 0.0f;
    const long best = RefMathGetPinWithLsp(sd.get(), 0, 280, 299, targetSlope, yAtBest, yEnd, relError);
    EXPECT_EQ(best, 20);
    EXPECT_EQ(yEnd, targetOffset);
    EXPECT_NEAR(yAtBest, 279.0f * targetSlope + targetOffset, 1e-4);
    EXPECT_EQ(relError, 0.0f);

    // Nothing to grow: the start is the answer and relError is left alone.
    relError = 123.0f;
    EXPECT_EQ(RefMathGetPinWithLsp(sd.get(), 0, 250, 250, 0.01f, yAtBest, yEnd, relError), 250);
    EXPECT_EQ(yAtBest, levelAt(*sd, 250));
    EXPECT_EQ(yEnd, levelAt(*sd, 250));
    EXPECT_EQ(relError, 123.0f);
    // Reaching before the trace reads -65.5 there, and stays finite.
    RefMathGetPinWithLsp(sd.get(), -50, 10, 40, 0.01f, yAtBest, yEnd, relError);
    EXPECT_TRUE(std::isfinite(yAtBest));
}

TEST(RefMathOwtFitTest, LinesOverTimeWeightsAndDeviation)
{
    // 5 OWT a point: the fall of 0.01 dB a point is -0.002 dB per OWT, the
    // opposite sign of the pin fits.
    auto sd = makeTrace(straightLine(200, -1.0, 0.01));
    double slope = 0.0, intercept = 0.0;
    RefMathLSL(sd.get(), 50.0, 600.0, slope, intercept);
    EXPECT_NEAR(slope, -0.002, 1e-8);
    EXPECT_NEAR(intercept, -1.0, 1e-6);
    double y1 = 0.0, y2 = 0.0;
    RefMathLSL2(sd.get(), 50.0, 600.0, y1, y2);
    EXPECT_NEAR(y1, -1.1, 1e-6);
    EXPECT_NEAR(y2, -2.2, 1e-6);
    // A weight within 1e-5 of one is no weight; 2 doubles the line.
    double s2 = 0.0, i2 = 0.0;
    RefMathLSL_Simple(sd.get(), 50.0, 600.0, s2, i2, 1.000001);
    EXPECT_EQ(s2, slope);
    EXPECT_EQ(i2, intercept);
    RefMathLSL_Simple(sd.get(), 50.0, 600.0, s2, i2, 2.0);
    EXPECT_NEAR(s2, 2.0 * slope, 1e-9);
    EXPECT_NEAR(i2, 2.0 * intercept, 1e-6);

    // One point: slope 0, the weighted level. Reversed: slope 1, intercept 0.
    RefMathLSL_Simple(sd.get(), 50.0, 52.0, slope, intercept, 2.0);
    EXPECT_EQ(slope, 0.0);
    EXPECT_DOUBLE_EQ(intercept, 2.0 * levelAt(*sd, 10));
    RefMathLSL(sd.get(), 600.0, 50.0, slope, intercept);
    EXPECT_EQ(slope, 1.0);
    EXPECT_EQ(intercept, 0.0);

    // The largest distance from a given line: a 0.5 dB bump at pin 60.
    auto bump = makeTrace(reftest::levelsOf(200, [](long i) {
        return -1.0 - 0.01 * static_cast<double>(i) + (i == 60 ? 0.5 : 0.0);
    }));
    double line = -0.002, at0 = -1.0, deviation = -1.0;
    RefMathDeviationFromLSL(bump.get(), 50.0, 600.0, line, at0, deviation);
    EXPECT_NEAR(deviation, 0.5, 1e-6);
    RefMathDeviationFromLSL(bump.get(), 50.0, 51.0, line, at0, deviation);
    EXPECT_EQ(deviation, 0.0);
    RefMathLSL_AndDeviation(sd.get(), 50.0, 600.0, slope, intercept, deviation);
    EXPECT_NEAR(slope, -0.002, 1e-8);
    EXPECT_LT(deviation, 1e-5);
}

TEST(RefMathOwtFitTest, LeastSquareLossOverTimeSpans)
{
    auto sd = makeTrace(straightLine(200, -1.0, 0.01));
    double slope = 0.0, intercept = 0.0;
    // From OWT 50 to 400 (pins 10 to 80): each level stands for the time to
    // the next point, so the intercept is the level at owt1 and the slope
    // comes out as the line's times (L - d) / L, with L = 350 and d = 5.
    RefMathLeastSquareLoss(sd.get(), 50.0, 400.0, slope, intercept);
    EXPECT_NEAR(intercept, -1.1, 1e-6);
    EXPECT_NEAR(slope, -0.002 * 345.0 / 350.0, 1e-9);
    // Two points: L = 10, d = 5.
    RefMathLeastSquareLoss(sd.get(), 50.0, 60.0, slope, intercept);
    EXPECT_NEAR(intercept, -1.1, 1e-6);
    EXPECT_NEAR(slope, -0.001, 1e-9);
    // Under one point: slope 0 and the level at owt2.
    RefMathLeastSquareLoss(sd.get(), 50.0, 53.0, slope, intercept);
    EXPECT_EQ(slope, 0.0);
    EXPECT_DOUBLE_EQ(intercept, levelAt(*sd, 10));
    RefMathLeastSquareLoss(sd.get(), -100.0, -50.0, slope, intercept);
    EXPECT_EQ(slope, 0.0);
    EXPECT_DOUBLE_EQ(intercept, levelAt(*sd, 0));
}

TEST(RefMathBlockFitTest, LineThroughBlockMeans)
{
    // Between 0 and -1.5 dB above a base at 0 dB the linear domain is the
    // straight stretch of the scale, so block means are exact on a line.
    auto sd = makeTrace(straightLine(400, -0.1, 0.003));
    double yFirst = 0.0, yLast = 0.0;
    RefMathLSLpt(sd.get(), 10, 390, yFirst, yLast, 20);  // blocks of 13 after one of 3
    EXPECT_NEAR(yFirst, -0.13, 1e-5);
    EXPECT_NEAR(yLast, -1.27, 1e-5);
    RefMathLSLpt(sd.get(), 10, 110, yFirst, yLast, 7);  // 25 blocks of 4
    EXPECT_NEAR(yFirst, -0.13, 1e-5);
    EXPECT_NEAR(yLast, -0.43, 1e-5);
    RefMathLSLpt(sd.get(), 10, 303, yFirst, yLast, 4);  // more than 30 blocks, rest 1
    EXPECT_NEAR(yFirst, -0.13, 1e-5);
    EXPECT_NEAR(yLast, -1.009, 1e-5);
    // Shorter than a block: both ends the level at `first`.
    RefMathLSLpt(sd.get(), 10, 25, yFirst, yLast, 20);
    EXPECT_EQ(yFirst, levelAt(*sd, 10));
    EXPECT_EQ(yLast, levelAt(*sd, 10));
    RefMathLSLpt(sd.get(), 10, 11, yFirst, yLast, 1);
    EXPECT_EQ(yLast, levelAt(*sd, 10));
    RefMathLSLpt(sd.get(), 10, 300, yFirst, yLast, 0);
    EXPECT_TRUE(std::isfinite(yLast));
    RefMathLSLpt(sd.get(), -60, 460, yFirst, yLast, 10);
    EXPECT_TRUE(std::isfinite(yFirst));
    EXPECT_TRUE(std::isfinite(yLast));
}
