// Reflectance and the numbers of one key event, on traces built point by point.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "ref-event-testing.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-events.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"

using namespace refeventtest;

namespace {

// 10 log10((10^(h/5) - 1) D) + BC written out, for exponents given directly.
double reflectanceOf(double exponent, double pulse, double bc)
{
    return 10.0 * std::log10((std::pow(10.0, exponent) - 1.0) * pulse) + bc;
}

} // namespace

TEST(RefEventReflection, FormulaAndItsInverse)
{
    EXPECT_NEAR(RefEventReflection(1.0, 100.0, -81.0), reflectanceOf(0.2, 100.0, -81.0), 1e-12);
    EXPECT_NEAR(RefEventReflection(1.0, 100.0, -81.0), -63.32925, 1e-4);
    for (const double h : {0.05, 1.0, 7.5, 20.0}) {
        const double r = RefEventReflection(h, 50.0, -80.0);
        EXPECT_NEAR(RefEventReflectionPower(r, 50.0, -80.0), h, 1e-9) << h;
    }
    // A peak that is not above the backscatter takes the exponent 0.0002.
    const double flat = reflectanceOf(0.0002, 100.0, -81.0);
    EXPECT_NEAR(RefEventReflection(0.0, 100.0, -81.0), flat, 1e-12);
    EXPECT_NEAR(RefEventReflection(-3.0, 100.0, -81.0), flat, 1e-12);
    EXPECT_TRUE(std::isfinite(flat));
}

TEST(RefEventReflection, OnATraceUsesItsPulseAndBackscatter)
{
    auto sd = makeTrace(reftest::straightLine(2000, -5.0, 0.001));
    const double owt = atPin(100);
    // No receiver fall rate stored: the height is taken as it is.
    EXPECT_NEAR(RefEventReflection(sd.get(), owt, 2.0), RefEventReflection(2.0, 100.0, -81.0), 1e-12);
    EXPECT_NEAR(RefEventReflection(sd.get(), owt, -1.0), RefEventReflection(0.001, 100.0, -81.0), 1e-12);
    // The true pulse of the acquisition (0.2 ns units) and another BC.
    sd->AUXParams->ATP0 = 250;
    sd->FxdParams->BC = 800;
    EXPECT_NEAR(RefEventReflection(sd.get(), owt, 2.0), RefEventReflection(2.0, 50.0, -80.0), 1e-12);
    const double r = RefEventReflection(sd.get(), owt, 2.0);
    EXPECT_NEAR(RefEventReflectionPower(sd.get(), owt, r), 2.0, 1e-9);
    // Plus the fall of the fibre over half the nominal pulse (500 OWT units).
    EXPECT_NEAR(RefEventReflectionPower(sd.get(), owt, r, 0.4), 2.0 + 0.4 * 250.0 * kKmPerOwt, 1e-9);

    // With a receiver fall rate, a large peak is corrected on the linear scale.
    sd->AUXParams->MM[0].BWU1 = 2000;
    const double share = RefEventLinAmplPulse(sd.get(), owt);
    ASSERT_GT(share, 0.0);
    ASSERT_LT(share, 1.0);
    const double large = 5.0 * std::log10((std::pow(10.0, 3.0 / 5.0) - 1.0) / share + 1.0);
    EXPECT_NEAR(RefEventReflection(sd.get(), owt, 3.0), RefEventReflection(large, 50.0, -80.0), 1e-9);
    EXPECT_NEAR(RefEventReflection(sd.get(), owt, 0.1), RefEventReflection(0.1 / share, 50.0, -80.0), 1e-9);
}

TEST(RefEventReflection, PeakBetweenTimesAndNoiseMargin)
{
    auto levels = reftest::straightLine(1000, -10.0, 0.0);
    levels[205] = -6.0;
    auto sd = makeTrace(levels, reftest::kSpacingOwt, -30.0);
    EXPECT_NEAR(RefEventReflectionByMaxBetweenOWTs(sd.get(), atPin(210), atPin(200)),
                RefEventReflection(4.0, 100.0, -81.0), 1e-5);
    // The highest point is the first one: the backscatter coefficient.
    EXPECT_DOUBLE_EQ(RefEventReflectionByMaxBetweenOWTs(sd.get(), atPin(205), atPin(300)), -81.0);
    // The margin shrinks as the base rises above the noise: 20 dB above it
    // a peak must exceed 2 (2.2 / (10^4 + 0.5) + 0.01) dB, at the noise
    // 2 (2.2 / 1.5 + 0.01) dB, 5 dB below it 2 (2.2 / 0.6 + 0.01) dB.
    EXPECT_NEAR(RefEventMinReflection(sd.get(), -10.0, 0.05), 2.0 * (2.2 / (1e4 + 0.5) + 0.01) + 0.05, 1e-9);
    EXPECT_NEAR(RefEventMinReflection(sd.get(), -30.0, 0.0), 2.0 * (2.2 / 1.5 + 0.01), 1e-9);
    EXPECT_NEAR(RefEventMinReflection(sd.get(), -35.0, 0.0), 2.0 * (2.2 / 0.6 + 0.01), 1e-9);
}

TEST(RefEventReflection, MeanHeightOverOnePulse)
{
    // 3 dB above -10 dB for the 99 points behind point 200 (a pulse is 100 points).
    auto levels = reftest::straightLine(1000, -10.0, 0.0);
    for (std::size_t i = 201; i < 300; ++i)
        levels[i] = -7.0;
    auto sd = makeTrace(levels);
    const double at = atPin(200);
    EXPECT_NEAR(RefEventReflection(sd.get(), 200L, -10.0, 400L, -10.0, 0.0), RefEventReflection(3.0, 100.0, -81.0), 1e-5);
    // A loss of 0.5 dB spread over the pulse lifts the k-th point by 0.005 k.
    EXPECT_NEAR(RefEventReflection(sd.get(), 200L, -10.0, 400L, -10.5, 0.5), RefEventReflection(sd.get(), at, 3.25), 1e-5);
    EXPECT_EQ(RefEventReflection(sd.get(), 200L, -10.0, 200L, -10.0, 0.0), 0.0);

    // A wide event: the trace stands 1 dB above the modelled fall (none here)
    // from where the receiver has recovered to the end of the pulse.
    levels = reftest::straightLine(1000, -10.0, 0.0);
    for (std::size_t i = 201; i <= 300; ++i)
        levels[i] = -9.0;
    sd = makeTrace(levels);
    sd->AUXParams->MM[0].BWU1 = 2000;
    EXPECT_NEAR(RefEventReflection(sd.get(), 200L, -10.0, 0.0, 0.0, 0.0), RefEventReflection(1.0, 100.0, -81.0), 1e-4);
    // The pulse would run past the trace.
    EXPECT_EQ(RefEventReflection(sd.get(), 950L, -10.0, 0.0, 0.0, 0.0), 0.0);
    // The trace below the model: the backscatter coefficient alone.
    EXPECT_EQ(RefEventReflection(sd.get(), 500L, -8.0, 0.0, 0.0, 0.0), -81.0);
}

TEST(RefEventOneEvent, ReflectanceAndKind)
{
    // Fibre falling 0.001 dB a point from -10 dB with a 10 dB peak at 300..302.
    auto levels = reftest::straightLine(2000, -10.0, 0.001);
    for (long i = 300; i <= 302; ++i)
        levels[static_cast<std::size_t>(i)] += 10.0;
    auto sd = makeTrace(levels);
    TSorBlockKeyEvents1E e = eventAt(298, 50, 290, 320, 600);
    RefEventRCalculate(sd.get(), &e);
    EXPECT_EQ(e.ML4, atPin(300));
    const double h = reftest::stored(levels[300]) - reftest::stored(levels[298]);
    EXPECT_NEAR(e.ER, std::trunc(RefEventReflection(h, 100.0, -81.0) * 1000.0), 1.0);
    EXPECT_EQ(e.EC.data[0], '1');

    // The event of `at` on a trace of `levels` (noise floor -30 dB), calculated.
    const auto calculated = [](const std::vector<double>& trace, TSorBlockKeyEvents1E at) {
        auto doc = makeTrace(trace, reftest::kSpacingOwt, -30.0);
        RefEventRCalculate(doc.get(), &at);
        return at;
    };
    // 3 dB on a base 1 dB below the noise floor stays below its margin
    // (3.96 dB): not reflective. The same 3 dB on clean backscatter is.
    levels = reftest::straightLine(2000, -31.0, 0.0);
    levels[300] += 3.0;
    EXPECT_EQ(calculated(levels, eventAt(298, 50, 290, 320, 600)).EC.data[0], '0');
    levels = reftest::straightLine(2000, -10.0, 0.001);
    levels[300] += 3.0;
    EXPECT_EQ(calculated(levels, eventAt(298, 50, 290, 320, 600)).EC.data[0], '1');

    // The launch has no fibre in front of it (ML0 = ML1 = 0): its peak
    // stands on the backscatter behind it, brought back to its time.
    levels = reftest::straightLine(2000, -10.0, 0.001);
    for (long i = 0; i < 4; ++i)
        levels[static_cast<std::size_t>(i)] = -4.0;
    e = calculated(levels, eventAt(0, 0, 0, 20, 600));
    EXPECT_NEAR(e.ER, std::trunc(RefEventReflection(reftest::stored(-4.0) + 10.0, 100.0, -81.0) * 1000.0), 20.0);
    EXPECT_EQ(e.EC.data[0], '1');

    // A peak at -0.1 dB has saturated the receiver.
    levels[300] = -0.1;
    sd = makeTrace(levels);
    e = eventAt(298, 50, 290, 320, 600);
    RefEventRCalculate(sd.get(), &e);
    EXPECT_EQ(e.EC.data[0], '2');

    // A gainer: the peak is measured from the higher level behind it.
    e = eventAt(298, 50, 290, 320, 600);
    RefEventRCalculateNegSplice(sd.get(), &e, -0.5);
    const double hg = -0.1 - reftest::stored(levels[298]) - 0.5;
    EXPECT_NEAR(e.ER, std::trunc(RefEventReflection(hg, 100.0, -81.0) * 1000.0), 1.0);
}

TEST(RefEventOneEvent, LeastSquaresLossAndAttenuation)
{
    // A 0.5 dB step at point 300 on fibre falling 0.001 dB a point.
    auto sd = makeTrace(reftest::levelsOf(1000, [](long i) { return -5.0 - 0.001 * i - (i >= 300 ? 0.5 : 0.0); }));
    TSorBlockKeyEvents1E e = eventAt(300, 10, 290, 310, 590);
    RefEventSCalculate(sd.get(), &e);
    EXPECT_EQ(e.FullLoss, 500);
    EXPECT_EQ(e.EL, 500);
    EXPECT_EQ(e.LMT, "LS");
    // 0.001 dB per 5 OWT units.
    EXPECT_NEAR(e.ACI, 0.0002 / kKmPerOwt * 1000.0, 1.0);

    // The first event has no loss, and its method stays.
    TSorBlockKeyEvents1E first = eventAt(0, 0, 0, 10, 290);
    first.EL = 77;
    first.FullLoss = 77;
    RefEventSCalculate(sd.get(), &first);
    EXPECT_EQ(first.EL, 0);
    EXPECT_EQ(first.FullLoss, 0);
    EXPECT_EQ(first.LMT, "2P");

    // No section before the event: no attenuation.
    TSorBlockKeyEvents1E bare = eventAt(300, 290, 290, 310, 590);
    bare.ACI = 5;
    RefEventACICalculate(sd.get(), &bare);
    EXPECT_EQ(bare.ACI, 0);

    // 32.768 dB: the full loss keeps it, EL is clipped.
    sd = makeTrace(reftest::levelsOf(1000, [](long i) { return i >= 300 ? -33.768 : -1.0; }));
    e = eventAt(300, 10, 290, 310, 590);
    RefEventSCalculate(sd.get(), &e);
    EXPECT_EQ(e.FullLoss, 32768);
    EXPECT_EQ(e.EL, 32767);
}

TEST(RefEventOneEvent, EndEventAndRecalculation)
{
    // Fibre to point 800, then the floor at -40 dB.
    auto sd = makeTrace(reftest::levelsOf(1000, [](long i) { return i < 800 ? -5.0 - 0.001 * i : -40.0; }));
    sd->CalculateValues();
    TSorBlockKeyEvents1E end = eventAt(800, 500, 790, 0, 0, "0E9999");
    RefEventECalculate(sd.get(), &end);
    const auto last = static_cast<std::int32_t>(sd->GetMaxOwt());
    EXPECT_EQ(end.ML2, last);
    EXPECT_EQ(end.ML3, last);
    EXPECT_EQ(sd->KeyEvents->ELMP2, end.EPT);
    EXPECT_EQ(sd->KeyEvents->RLMP2, end.EPT);
    // Behind the end the right line is the floor of the trace.
    EXPECT_NEAR(end.FullLoss, (-5.8 - -40.0) * 1000.0, 2.0);

    // Two peaks: the next event's position limits the search for this one's.
    auto levels = reftest::straightLine(1000, -10.0, 0.001);
    levels[300] += 6.0;
    levels[420] += 8.0;
    sd = makeTrace(levels);
    addEvent(*sd, eventAt(0, 0, 0, 10, 290));
    addEvent(*sd, eventAt(298, 50, 290, 450, 600));
    addEvent(*sd, eventAt(410, 310, 400, 430, 700));
    RefEventRecalculate(sd.get(), sd->KeyEvents->Events[1], 1);
    EXPECT_EQ(sd->KeyEvents->Events[1]->ML4, atPin(300));
    EXPECT_EQ(RefEventRecalculate(sd.get(), sd->KeyEvents, 1), 1);
    EXPECT_EQ(RefEventRecalculate(sd.get(), sd->KeyEvents, 0), 0);
    EXPECT_EQ(sd->KeyEvents->Events[2]->ML4, atPin(420));
}

TEST(RefEventOneEvent, AuxiliaryLossAndPeakMarkers)
{
    auto sd = makeTrace(reftest::straightLine(1000, -5.0, 0.002));
    TSorBlockAUXEvents1E aux;
    aux.ML0 = static_cast<std::int32_t>(atPin(100));
    aux.ML1 = static_cast<std::int32_t>(atPin(400));
    RefEventRecalculate(sd.get(), &aux);  // two-point
    EXPECT_NEAR(aux.EL, 600, 1);
    aux.LMT = "LS";
    aux.EL = 0;
    RefEventRecalculate(sd.get(), &aux);
    EXPECT_NEAR(aux.EL, 600, 1);

    // A 4 dB reflection rising at 300: the event starts half-way up.
    auto levels = reftest::straightLine(1000, -10.0, 0.001);
    for (long i = 300; i <= 303; ++i)
        levels[static_cast<std::size_t>(i)] += 4.0;
    sd = makeTrace(levels);
    TSorBlockKeyEvents1E e = eventAt(280, 50, 270, 320, 600);
    e.ML4 = static_cast<std::int32_t>(atPin(302));
    RefEventMarkerR(sd.get(), &e);
    EXPECT_EQ(e.EPT, atPin(299));
    EXPECT_EQ(e.ML2, static_cast<std::int32_t>(atPin(302) + 1.5 * 500.0 + 3.0 * 5.0));
}

TEST(RefEventOneEvent, LossMeasurableAgainstTheNoise)
{
    // Backscatter at -20 dB to point 600, then -45 dB, under a -30 dB floor.
    auto sd = makeTrace(reftest::levelsOf(2000, [](long i) { return i < 600 ? -20.0 : -45.0; }), 5, -30.0);
    addEvent(*sd, eventAt(0, 0, 0, 10, 290));
    addEvent(*sd, eventAt(300, 10, 290, 310, 590));
    addEvent(*sd, eventAt(600, 310, 590, 610, 1500));
    addEvent(*sd, eventAt(1980, 1000, 1900, 1990, 1990));
    EXPECT_EQ(RefEventLossMeasurable(sd.get(), 1), 1);
    EXPECT_EQ(RefEventLossMeasurable(sd.get(), 2), 0);  // all of it below the floor
    EXPECT_EQ(RefEventLossMeasurable(sd.get(), 3), 0);  // less than 200 OWT units left
    EXPECT_EQ(RefEventLossMeasurable(sd.get(), 9), 0);
    int n = -1;
    EXPECT_NEAR(RefEventGetMeasurableDistance(sd.get(), n), atPin(600) * kKmPerOwt, 1e-12);
    EXPECT_EQ(n, 2);
    EXPECT_DEATH(RefEventLossMeasurable(sd.get(), static_cast<TSorBlockKeyEvents1E*>(nullptr)), "Event");
}

TEST(RefEventHostile, DegenerateTracesAndEventsAreSurvived)
{
    const std::int32_t extremes[] = {0, -1, 7, 1 << 30, INT32_MAX, INT32_MIN};
    for (const int variant : {0, 1, 2}) {
        auto sd = makeTrace(variant == 0 ? std::vector<double>{} : reftest::straightLine(300, -5.0, 0.01));
        if (variant == 2) {  // no group index, no spacing, no pulse, odd codes
            sd->FxdParams->GI = 0;
            sd->FxdParams->DS[0] = 0;
            sd->FxdParams->PWU[0] = 0;
            sd->FxdParams->BC = INT16_MIN;
            sd->AUXParams->MM[0].BWU1 = -5;
        }
        for (const std::int32_t x : extremes) {
            const std::int32_t minusX = x == INT32_MIN ? INT32_MAX : -x;
            TSorBlockKeyEvents1E e = eventAt(0, 0, 0, 0, 0, variant == 2 ? "" : "0E9999");
            e.EPT = x;
            e.ML0 = minusX;
            e.ML1 = x;
            e.ML2 = x / 2;
            e.ML3 = x;
            e.ML4 = x;
            e.FullLoss = x;
            e.ER = x;
            RefEventAdd(sd.get(), &e, 1);
            RefEventRCalculate(sd.get(), &e);
            RefEventRCalculateNegSplice(sd.get(), &e, -1.0);
            RefEventSCalculate(sd.get(), &e);
            RefEventMarkerR(sd.get(), &e);
            RefEventECalculate(sd.get(), &e);
            RefEventLossMeasurable(sd.get(), &e);
            RefEventReflection(sd.get(), static_cast<long>(x), -5.0, static_cast<long>(x) + 9, -6.0, 1.0);
            RefEventReflection(sd.get(), static_cast<long>(x), -5.0, 0.1, 0.2, 0.3);
            RefEventReflectionByMaxBetweenOWTs(sd.get(), -static_cast<double>(x), x);
            RefEventORL(sd.get(), -static_cast<double>(x), x);
            TSorBlockAUXEvents1E aux;
            aux.ML0 = x;
            aux.ML1 = minusX;
            RefEventAdd(sd.get(), &aux);
        }
        int n = 0;
        RefEventGetMeasurableDistance(sd.get(), n);
        for (int i = -1; i <= sd->KeyEvents->TNKE; ++i)
            RefEventTrusting(sd.get(), i);
        RefEventCalcORL(sd.get(), 0.0, 1e12);
        RefEventSetNewRI(sd.get(), 1e9);
        RefEventSetNewBC(sd.get(), -1e9);
        float quality = 0.0f;
        float p = 0.0f;
        RefEventLinkQuality(sd.get(), quality, p, 0.0f, -3.0f, 0.0f);
        auto other = makeTrace(reftest::straightLine(300, -5.0, 0.01));
        ASSERT_GT(sd->KeyEvents->TNKE, 0);  // an event at 0 always fits
        RefEventAdd(other.get(), sd->KeyEvents->Events[0], 0);
        RefEventAdd(other.get(), sd->KeyEvents->Events[sd->KeyEvents->TNKE], 0);
        RefEventBiDir(sd.get(), other.get());
        RefEventInsBiDir(sd.get(), other.get(), 0, 1);
        double bias = 0.0;
        double deviation = 0.0;
        RefEventSQO(other.get(), sd.get(), bias, deviation);
        RefEventSORToAUXSync(sd.get());
        RefEventDeleteAllButFirstAndLast(sd.get());
        EXPECT_LE(sd->KeyEvents->TNKE, 2);
        EXPECT_EQ(sd->KeyEvents->TNKE, sd->KeyEvents->Events.count);
    }
}
