// The RefAuto searches that place events: splices of known loss and place,
// a reflective event of known width and peak, the end of an event's tail.
#include "ref/ref-auto.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "ref-test-helpers.h"
#include "ref/ref-math.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"

using reftest::makeTrace;

namespace {

constexpr double kSlope = 0.002;  // fibre fall, dB a point

double fibre(long i)
{
    return -5.0 - kSlope * static_cast<double>(i);
}

// A splice of `loss` dB spread over `width` points from `at`, in the shape
// the event model gives (the fibre keeps falling through it).
std::unique_ptr<TSorData> spliceTrace(long n, long at, long width, double loss)
{
    auto sd = makeTrace(reftest::levelsOf(n, [&](long i) {
        if (i < at)
            return fibre(i);
        return fibre(at) - RefMathSplicePower(loss, kSlope, kSlope, static_cast<double>(width),
                                              static_cast<double>(i - at));
    }));
    sd->CalculateValues();
    return sd;
}

// A trapezoid 4 dB high on the fibre: up from 500 to 504, flat to 516, down
// to 520.
double bump(long i)
{
    if (i < 500 || i > 520)
        return 0.0;
    if (i < 504)
        return static_cast<double>(i - 500);
    if (i <= 516)
        return 4.0;
    return 4.0 - static_cast<double>(i - 516);
}

} // namespace

TEST(RefAutoSpliceTest, SpliceOfKnownLossAndPlace)
{
    auto sd = spliceTrace(1000, 400, 10, 0.5);
    const auto s = static_cast<float>(kSlope);
    long at = 0;
    // The first window of 20 that holds the whole event starts at 390.
    EXPECT_NEAR(RefAutoSearchMaxSplice(sd.get(), 0, 999, 20, at, s, 100.0f), 0.5f, 2e-3f);
    EXPECT_EQ(at, 390);
    // A limit reached narrows the search; the value stays that of the step.
    EXPECT_NEAR(RefAutoSearchMaxSplice(sd.get(), 0, 999, 20, at, s, 0.2f), 0.5f, 2e-3f);
    EXPECT_EQ(RefAutoSearchMaxSplice(sd.get(), 10, 20, 20, at, s, 1.0f), 0.0f);
    EXPECT_EQ(at, 10);

    EXPECT_EQ(RefAutoSearchSplicePin(sd.get(), 370, 10, 50, s), 400);
    EXPECT_EQ(RefAutoSearchSplicePin(sd.get(), 360, 10, 40, s), 400);
    // The loss between the fibre on both sides: the means' difference less
    // the fibre's fall between their centres.
    EXPECT_NEAR(RefAutoGetSpl(sd.get(), 399, 0, 411, 999, 50, 50, s), 0.5f, 2e-3f);
    EXPECT_NEAR(RefAutoGetSpl(sd.get(), 399, 380, 411, 430, 50, 50, s), 0.5f, 3e-3f);  // stretches cut
    EXPECT_EQ(RefAutoGetSpl(sd.get(), 399, 0, 399, 999, 50, 50, s), 0.0f);

    // Slope from the last two thirds of a straight stretch.
    EXPECT_NEAR(CalcLossPin(sd.get(), 0, 300, 0.001f), kSlope, 2e-5);
    EXPECT_EQ(CalcLossPin(sd.get(), 0, 300, 0.003f), 0.003f);
    // Tolerance: the fibre slope from the two stretches, moved by tol over
    // their 100 points and held within 0.8 .. 1.25 slope, explains
    // (0.0025 - 0.002) x 10 dB of a loss.
    EXPECT_NEAR(RefAutoDopuskLosPin(sd.get(), 100, 150, 160, 210, 0.3f, s, 0.05f), 0.295f, 5e-4f);
    EXPECT_EQ(RefAutoDopuskLosPin(sd.get(), 100, 150, 160, 210, 0.004f, s, 0.05f), 0.0f);
    EXPECT_NEAR(RefAutoDopuskLosPin(sd.get(), 100, 150, 160, 210, -0.3f, s, 0.05f), -0.296f, 5e-4f);
}

TEST(RefAutoSpliceTest, StraightStretchesBesideAStep)
{
    // An instant step of 0.5 dB at 400.
    auto sd = makeTrace(reftest::levelsOf(1000, [](long i) { return fibre(i) - (i >= 400 ? 0.5 : 0.0); }));
    const auto s = static_cast<float>(kSlope);
    EXPECT_EQ(RefAutoSearchStraightLoss(sd.get(), 0, 999, 20, 1.5f, s), 0);
    EXPECT_EQ(RefAutoSearchStraightLoss(sd.get(), 380, 999, 20, 1.5f, s), 400);
    EXPECT_EQ(RefAutoSearchStraightLoss(sd.get(), 380, 999, 1, 1.5f, s), -1);    // w < 2
    EXPECT_EQ(RefAutoSearchStraightLoss(sd.get(), 380, 999, 20, 0.9f, s), -1);   // empty band
    EXPECT_EQ(RefAutoSearchStraightLoss(sd.get(), 980, 999, 20, 1.5f, s), -1);  // no room
    // Per point 0.5 .. 2 slope; direct falls up to 7 points, four-point fits above.
    EXPECT_EQ(RefAutoSearchStraightLoss2(sd.get(), 395, 999, 5, 0.5f * s, 2.0f * s), 400);
    EXPECT_EQ(RefAutoSearchStraightLoss2(sd.get(), 380, 999, 20, 0.5f * s, 2.0f * s), 400);
    EXPECT_EQ(RefAutoSearchStraightLoss2(sd.get(), 380, 999, 20, 3.0f * s, 4.0f * s), -1);
}

TEST(RefAutoSpliceTest, SpliceEventOnAShortPulseTrace)
{
    // 5 ns: five points of pulse. A splice of 1 dB at 2000.
    auto sd = spliceTrace(4000, 2000, 5, 1.0);
    sd->FxdParams->PWU[0] = 5;
    float slope = static_cast<float>(kSlope);
    float loss = 0;
    long pin = 0;
    long end = 0;
    const long found = RefAutoSearchSpliceEvent(sd.get(), 100, 3900, 0.0f, 0.1f, -0.1f, slope, loss, nullptr, pin, end);
    EXPECT_EQ(found, 2000);
    EXPECT_NEAR(loss, 1.0f, 0.02f);
    EXPECT_LT(pin, found);
    EXPECT_GT(end, found);
    EXPECT_NEAR(slope, kSlope, 1e-4);
    // A clean fibre has no splice.
    auto clean = makeTrace(reftest::levelsOf(4000, fibre));
    clean->FxdParams->PWU[0] = 5;
    slope = static_cast<float>(kSlope);
    EXPECT_EQ(RefAutoSearchSpliceEvent(clean.get(), 100, 3900, 0.0f, 0.1f, -0.1f, slope, loss, nullptr, pin, end), 0);
    // A section under the noise floor is not searched.
    auto low = makeTrace(reftest::levelsOf(4000, [](long) { return -40.0; }));
    EXPECT_EQ(RefAutoSearchSpliceEvent(low.get(), 100, 3900, 0.0f, 0.1f, -0.1f, slope, loss, nullptr, pin, end), 0);
}

TEST(RefAutoEventTest, EventPinsOfASpliceAndAReflection)
{
    const auto s = static_cast<float>(kSlope);
    // An instant step of 1 dB at 600: the run under the line begins there;
    // the line lags by the running mean, so the run's mean is -(1 - 5/20).
    auto step = makeTrace(reftest::levelsOf(1000, [](long i) { return fibre(i) - (i >= 600 ? 1.0 : 0.0); }));
    float value = 0;
    EXPECT_EQ(RefAutoSearchEventPin(step.get(), 100, 999, 20, 0.2f, 5.0f, -100.0f, s, value), 600);
    EXPECT_NEAR(value, -0.75f, 0.01f);
    // Nothing on a clean fibre: the end.
    auto clean = makeTrace(reftest::levelsOf(1000, fibre));
    EXPECT_EQ(RefAutoSearchEventPin(clean.get(), 100, 999, 20, 0.2f, 5.0f, -100.0f, s, value), 999);

    // The trapezoid: its rise passes the margin at 501.
    auto refl = makeTrace(reftest::levelsOf(1000, [](long i) { return fibre(i) + bump(i); }));
    EXPECT_EQ(RefAutoSearchEventPin(refl.get(), 100, 999, 20, 0.2f, 5.0f, -100.0f, s, value), 501);
    EXPECT_GT(value, 2.0f);
}

TEST(RefAutoEventTest, WidthAndPeakOfAReflectiveEvent)
{
    auto sd = makeTrace(reftest::levelsOf(1000, [](long i) { return fibre(i) + bump(i); }));
    const auto s = static_cast<float>(kSlope);
    long start = 480;
    long peak = 0;
    float height = 0;
    // Without the linear companion there is no measure.
    EXPECT_EQ(RefAutoGetWidthPlr(sd.get(), start, 560, 100, 4, s, 0.5f, peak, height), 0.0f);
    sd->SetLinf();
    // Half way between the peak (-7.008) and the fibre's mean level at both
    // ends (-11.04) the flanks cross at 501.98 and 517.99.
    EXPECT_NEAR(RefAutoGetWidthPlr(sd.get(), start, 560, 100, 4, s, 0.5f, peak, height), 16.0f, 0.05f);
    EXPECT_EQ(start, 480);
    EXPECT_EQ(peak, 504);
    EXPECT_NEAR(height, 4.032f, 2e-3f);
    // A start on the rising flank moves down to its foot.
    start = 502;
    RefAutoGetWidthPlr(sd.get(), start, 560, 100, 4, s, 0.5f, peak, height);
    EXPECT_EQ(start, 500);
    // A high peak further than `limit` past the start belongs to another event.
    start = 480;
    EXPECT_EQ(RefAutoGetWidthPlr(sd.get(), start, 560, 10, 4, s, 0.5f, peak, height), -1.0f);
}

TEST(RefAutoEventTest, EndOfAnEventsTail)
{
    // Flat at -10 dB; up 6 dB over 495..498, then down 0.1 dB a point to
    // the fibre again at 558.
    auto sd = makeTrace(reftest::levelsOf(1000, [](long i) {
        if (i <= 495 || i >= 558)
            return -10.0;
        if (i <= 498)
            return -10.0 + 2.0 * static_cast<double>(i - 495);
        return -4.0 - 0.1 * static_cast<double>(i - 498);
    }));
    const long owt = reftest::kSpacingOwt;
    // The three-point step stops falling at 559.
    EXPECT_EQ(RefAutoSearchEndOfEvent(sd.get(), 490 * owt, 900 * owt), 559 * owt);
    // An end within 6 points gives the end point.
    EXPECT_EQ(RefAutoSearchEndOfEvent(sd.get(), 700 * owt, 703 * owt), 703 * owt);
    // On the flat fibre the fifth flat step after half the pulse (50 points)
    // ends it; a search that runs out of trace ends at the last point.
    EXPECT_EQ(RefAutoSearchEndOfEvent(sd.get(), 800 * owt, 900 * owt), 854 * owt);
    EXPECT_EQ(RefAutoSearchEndOfEvent(sd.get(), 980 * owt, 100000 * owt), 1000 * owt);
}

TEST(RefAutoEventTest, HostileRangesStayInsideTheTrace)
{
    auto sd = spliceTrace(300, 150, 10, 0.5);
    sd->SetLinf();
    const auto s = static_cast<float>(kSlope);
    long at = 0;
    float value = 0;
    long start = -50;
    long peak = 0;
    float height = 0;
    float slope = s;
    float loss = 0;
    long pin = 0;
    long end = 0;
    RefAutoSearchMaxSplice(sd.get(), -500, 5000, 20, at, s, 0.1f);
    EXPECT_GE(RefAutoSearchSplicePin(sd.get(), -100, 10, 50, s), -101);
    RefAutoGetSpl(sd.get(), 5, -100, 20, 5000, 50, 50, s);
    RefAutoGetSpl(sd.get(), LONG_MAX / 4, 0, LONG_MIN / 4, 10, 50, 50, s);
    EXPECT_LE(RefAutoSearchEventPin(sd.get(), -10, 5000, 20, 0.2f, 1.0f, -100.0f, s, value), 300);
    RefAutoGetWidthPlr(sd.get(), start, 1000000, 10, 4, s, 0.5f, peak, height);
    RefAutoSearchSpliceEvent(sd.get(), -100, 100000, 0.0f, 0.1f, -0.1f, slope, loss, nullptr, pin, end);
    EXPECT_LE(RefAutoSearchEndOfEvent(sd.get(), -100, INT_MAX), 300 * reftest::kSpacingOwt);
    EXPECT_EQ(RefAutoSearchStraightLoss(sd.get(), -1000, 1000, 40, 1.5f, s) >= -1, true);
    EXPECT_EQ(RefAutoSearchStraightLoss2(sd.get(), -1000, 1000, 40, 0.5f * s, 2.0f * s) >= -1, true);
    float ratio = 0;
    float width = 0;
    EXPECT_EQ(RefAutoGetProvalAT(sd.get(), 10, 20, s, ratio, width), 0);  // under 16 points
    RefAutoGetProvalAT(sd.get(), -300, 900, s, ratio, width);
    // Widths and windows far out of proportion end at once.
    EXPECT_EQ(RefAutoSearchMaxdbFall(sd.get(), 0, 299, LONG_MIN, at, 1.0f), 0.0f);
    RefAutoSearchRefdbFall(sd.get(), 0, 299, LONG_MIN, 0.1f, s, at);
    EXPECT_EQ(RefAutoSearchMaxSplice(sd.get(), 0, 299, LONG_MIN, at, s, 1.0f), 0.0f);
    EXPECT_EQ(RefAutoSearchEventPin(sd.get(), 0, 299, LONG_MAX, 0.2f, 1.0f, -100.0f, s, value), 299);
    EXPECT_EQ(RefAutoCalcPolar2(sd.get(), 0, 299, LONG_MAX, s, nullptr), 0.0f);
    RefAutoCalcPolar(sd.get(), 0, 299, LONG_MAX, s, at);
    RefAutoSearchSplicePin(sd.get(), 100, LONG_MAX / 2, LONG_MAX / 2, s);
}
