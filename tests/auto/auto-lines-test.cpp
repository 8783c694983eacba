// TAuto's line sections: fits, Splice between lines, the cleaning of short
// splices and the building of a line between two events.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/own-trace.h"
#include "auto/auto.h"
#include "auto/event-line.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"

namespace {

// 5 x 100 ps a point at the group index 1.4682: km per point.
constexpr long kSpacingOwt = 5;
const double kKmPerPoint = kSpacingOwt * 299792.5 / 1.4682 * 1e-10;

// A trace of our own from levels in dB (stored to 0.001 dB), 100 ns at 1550 nm.
std::unique_ptr<TSorData> makeTrace(const std::function<double(long)>& level, long n, double noiseFloorDb = -30.0)
{
    owntrace::Shape shape;
    shape.noiseFloorDb = noiseFloorDb;
    return owntrace::makeTrace(n, level, shape);
}

TEventLine* newLine(double l1, double l2, double p1, double p2, double splice = 0.0, char type = 'N')
{
    auto* line = new TEventLine();
    line->L1 = l1;
    line->L2 = l2;
    line->Le = l2;
    line->P1 = p1;
    line->P2 = p2;
    line->Splice = splice;
    line->Type = type;
    return line;
}

// Replaces the lines of `a` by `lines`, which it then owns.
void setLines(TAuto& a, std::initializer_list<TEventLine*> lines)
{
    a.Lines->Clear();
    for (TEventLine* line : lines)
        a.Lines->AddData(line);
}

} // namespace

TEST(AutoLinesTest, SpliceBetweenNeighbouringLines)
{
    TAuto a;
    a.LossKm = 0.2;
    // Plain case: the next line's start extrapolated back over the gap.
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4), newLine(2.1, 5.1, -10.7, -11.3)});
    a.SetLinesSplice();
    EXPECT_NEAR((*a.Lines)[0]->Splice, -10.4 - (-10.7 + 0.2 * 0.1), 1e-12);
    EXPECT_DOUBLE_EQ((*a.Lines)[1]->P1, -10.7);

    // A line shorter than the gap before it, whose slope is further from the
    // fiber's than its predecessor's, has its start drawn to the prediction.
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4), newLine(2.5, 2.6, -10.9, -11.0)});
    a.SetLinesSplice();
    const double p1 = (2.0 * (0.2 * 0.1 - 11.0) + 0.1 * -10.9) / (0.1 + 2.0);
    EXPECT_NEAR((*a.Lines)[1]->P1, p1, 1e-12);
    const double slopeJ = (p1 + 11.0) / 0.1;
    EXPECT_NEAR((*a.Lines)[0]->Splice, -10.4 - (p1 + slopeJ * 0.5), 1e-12);

    // A rising predecessor counts with the fiber's attenuation.
    setLines(a, {newLine(0.0, 2.0, -10.4, -10.3), newLine(2.5, 2.6, -10.9, -11.5)});
    a.SetLinesSplice();
    EXPECT_NEAR((*a.Lines)[1]->P1, (2.0 * (0.2 * 0.1 - 11.5) + 0.1 * -10.9) / 2.1, 1e-12);

    // A fitted attenuation of the next line takes part in the extrapolation.
    TEventLine* fitted = newLine(2.2, 6.2, -10.8, -11.6);
    fitted->dBKm = 0.25;
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4), fitted});
    a.SetLinesSplice();
    EXPECT_NEAR((*a.Lines)[0]->Splice, -10.4 - (-10.8 + 0.25 * 0.2), 1e-12);
}

TEST(AutoLinesTest, ShortSplicesAreJoinedOrRefused)
{
    TAuto a;
    const float tPlus = 0.02f;
    const float tMinus = -0.1f;
    const float span = 0.005f;

    // An event of half a threshold over two spans: joined into the newest line.
    TEventLine* newest = newLine(2.01, 5.0, -10.41, -11.0);
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4, 0.01), newest});
    EXPECT_EQ(a.DeleteShortSplices(1, span, tPlus, tMinus, 1), 2);
    ASSERT_EQ(a.Lines->count, 1);
    EXPECT_EQ((*a.Lines)[0], newest);
    EXPECT_DOUBLE_EQ(newest->L1, 0.0);
    EXPECT_DOUBLE_EQ(newest->P1, -10.0);

    // Five thresholds over two spans stay; so does the line behind them.
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4, 0.1), newLine(2.01, 5.0, -10.5, -11.0)});
    EXPECT_EQ(a.DeleteShortSplices(1, span, tPlus, tMinus, 1), 0);
    EXPECT_EQ(a.Lines->count, 2);

    // A gain is measured in units of tMinus: -0.03 is 0.3 of -0.1.
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4, -0.03), newLine(2.01, 5.0, -10.37, -11.0)});
    EXPECT_EQ(a.DeleteShortSplices(1, span, tPlus, tMinus, 1), 2);
    EXPECT_EQ(a.Lines->count, 1);
    // The same gain against a threshold of -0.02 is 1.5 thresholds: kept.
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4, -0.03), newLine(2.01, 5.0, -10.37, -11.0)});
    EXPECT_EQ(a.DeleteShortSplices(1, span, tPlus, -0.02f, 1), 0);
    EXPECT_EQ(a.Lines->count, 2);

    // The room of an event counts as one window at least: two thresholds in
    // a tenth of a window are no event, four are.
    for (double splice : {0.04, 0.08}) {
        setLines(a, {newLine(0.0, 2.0, -10.0, -10.4, splice), newLine(2.0005, 5.0, -10.45, -11.0)});
        EXPECT_EQ(a.DeleteShortSplices(1, span, tPlus, tMinus, 1), splice < 0.05 ? 2 : 0) << splice;
    }

    // A short rising last line is refused (deleted) unless flagged or an 'R'/'S'.
    for (char type : {'N', 'R', 'S'}) {
        for (int flag : {0, 1}) {
            setLines(a, {newLine(0.0, 2.0, -10.0, -10.4, 0.5), newLine(2.02, 2.03, -10.95, -10.9, 0.0, type)});
            const bool refused = flag == 0 && type == 'N';
            EXPECT_EQ(a.DeleteShortSplices(1, span, tPlus, tMinus, flag), refused ? 1 : 0) << type << flag;
            EXPECT_EQ(a.Lines->count, refused ? 1 : 2) << type << flag;
        }
    }
    // A falling short last line is kept.
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4, 0.5), newLine(2.02, 2.03, -10.9, -10.95)});
    EXPECT_EQ(a.DeleteShortSplices(1, span, tPlus, tMinus, 0), 0);

    // A short middle line whose slope strays from its neighbours' is joined
    // into the newest line when the joined slope keeps closer to theirs.
    auto chain = [&](double middleEnd) {
        setLines(a, {newLine(0.0, 5.0, -10.0, -11.0, 0.3), newLine(5.1, 5.15, -11.0, middleEnd, 0.03),
                     newLine(5.17, 9.17, -11.08, -11.88)});
        return a.DeleteShortSplices(2, span, tPlus, tMinus, 1);
    };
    EXPECT_EQ(chain(-11.05), 2);
    ASSERT_EQ(a.Lines->count, 2);
    EXPECT_DOUBLE_EQ((*a.Lines)[1]->L1, 5.1);
    EXPECT_DOUBLE_EQ((*a.Lines)[1]->P1, -11.0);
    // On the neighbours' slope already: nothing to gain.
    EXPECT_EQ(chain(-11.01), 0);
    EXPECT_EQ(a.Lines->count, 3);

    // Fewer than two lines, or no threshold: nothing.
    setLines(a, {newLine(0.0, 2.0, -10.0, -10.4)});
    EXPECT_EQ(a.DeleteShortSplices(0, span, tPlus, tMinus, 0), 0);
    EXPECT_EQ(a.DeleteShortSplices(0, span, 0.0f, tMinus, 0), 0);
}

TEST(AutoLinesTest, LeastSquaresFitOfALine)
{
    // 0.2 dB/km with a 0.05 dB bump on 100 points in the middle.
    const double fall = 0.2 * kKmPerPoint;
    auto sd = makeTrace(
        [&](long i) { return -5.0 - fall * static_cast<double>(i) + (i >= 9950 && i < 10050 ? 0.05 : 0.0); }, 20000);
    TAuto a;
    a.Sor = sd.get();
    TEventLine line;
    line.L1 = 1000 * kKmPerPoint;
    line.L2 = 19000 * kKmPerPoint;
    a.LossSquare(sd.get(), line, 1);
    EXPECT_NEAR(line.dBKm, 0.2, 0.2 * 0.005);
    // The bump lifts the fit by 100 / 18001 of 0.05 dB.
    EXPECT_NEAR(line.P1, -5.0 - fall * 1000 + 0.05 * 100 / 18001.0, 2e-3);
    EXPECT_NEAR(line.P2, -5.0 - fall * 19000 + 0.05 * 100 / 18001.0, 2e-3);
    EXPECT_NEAR(line.Dev, 0.05, 2e-3);
    // Averaged over 100 points the bump still shows whole, over 1000 a tenth of it.
    a.LossSquare(sd.get(), line, 100);
    EXPECT_NEAR(line.Dev, 0.05, 2e-3);
    a.LossSquare(sd.get(), line, 1000);
    EXPECT_NEAR(line.Dev, 0.005, 1e-3);

    // The float fit over the points of the line agrees.
    TEventLine f;
    f.L1 = line.L1;
    f.L2 = line.L2;
    a.LossfSquare(sd.get(), f);
    EXPECT_NEAR(f.dBKm, 0.2, 0.2 * 0.005);

    // A line of no length, one point, or without a document is left alone.
    TEventLine empty;
    empty.L1 = empty.L2 = 1.0;
    empty.P1 = -3.0;
    a.LossSquare(sd.get(), empty, 10);
    a.LossSquare(nullptr, line, 10);
    EXPECT_DOUBLE_EQ(empty.P1, -3.0);
    EXPECT_DOUBLE_EQ(empty.dBKm, 0.0);
    TEventLine outside;
    outside.L1 = 50.0;
    outside.L2 = 60.0;
    a.LossSquare(sd.get(), outside, 10);
    EXPECT_DOUBLE_EQ(outside.dBKm, 0.0);
}

TEST(AutoLinesTest, LinesAroundAReflectiveSplice)
{
    // 0.2 dB/km, a 0.3 dB step at point 10000 with a 10 dB reflection on it
    // (well above the height that counts as noise 13 dB over the floor).
    const double fall = 0.2 * kKmPerPoint;
    auto sd = makeTrace(
        [&](long i) {
            double level = -15.0 - fall * static_cast<double>(i);
            if (i >= 10000)
                level -= 0.3;
            if (i >= 10000 && i < 10020)
                level += 10.0;
            return level;
        },
        20000);
    TAuto a;
    a.Sor = sd.get();
    a.DbOnOwt = 0.01;
    a.Pw1 = 30;
    const float slope = static_cast<float>(fall);
    TEventLine* first = a.CreateEventLin2(nullptr, 100, 9995, 40, slope, 50, 'r');
    ASSERT_NE(first, nullptr);
    a.AddEventLin(first, nullptr);
    TEventLine* second = a.CreateEventLin2(first, 10100, 19900, 40, slope, 50, 'E');
    ASSERT_NE(second, nullptr);
    a.AddEventLin(second, first);

    EXPECT_NEAR(first->L1, 100 * kKmPerPoint, 1e-9);
    EXPECT_NEAR(first->Le, 9995 * kKmPerPoint, 1e-9);
    EXPECT_NEAR(first->LossKm(), 0.2, 0.2 * 0.01);
    EXPECT_NEAR(second->LossKm(), 0.2, 0.2 * 0.01);
    EXPECT_NEAR(first->Splice, 0.3, 0.01);
    EXPECT_EQ(first->Type, 'R');
    EXPECT_NEAR(first->Refl, -15.0 - fall * 10000 - 0.3 + 10.0, 2e-3);
    EXPECT_NEAR(first->Peak, 10000 * kKmPerPoint, 1e-9);
    EXPECT_NEAR(first->P2, -15.0 - fall * 9995, 2e-3);

    // The same step without the reflection: a plain loss, typed 'P' once the
    // next line measures it.
    auto plain = makeTrace([&](long i) { return -5.0 - fall * static_cast<double>(i) - (i >= 10000 ? 0.3 : 0.0); },
                           20000);
    TAuto b;
    b.Sor = plain.get();
    TEventLine* p1 = b.CreateEventLin2(nullptr, 100, 9995, 40, slope, 50, 'S');
    b.AddEventLin(p1, nullptr);
    EXPECT_EQ(p1->Type, 'N');
    TEventLine* p2 = b.CreateEventLin2(p1, 10005, 19900, 40, slope, 50, 'E');
    b.AddEventLin(p2, p1);
    EXPECT_EQ(p1->Type, 'P');
    EXPECT_NEAR(p1->Splice, 0.3, 0.01);

    // A gain of 0.8 dB rises over the line by far more than the noise margin
    // of clean backscatter: the event behind the line is typed as a
    // reflection, its negative loss the tail of it, wherever it stands.
    for (double lineKm : {0.5, 1.5}) {
        const long stepAt = static_cast<long>(lineKm / kKmPerPoint) + 100;
        auto gain = makeTrace(
            [&](long i) { return -5.0 - fall * static_cast<double>(i) + (i >= stepAt ? 0.8 : 0.0); }, stepAt + 10000);
        TAuto g;
        g.Sor = gain.get();
        TEventLine* before = g.CreateEventLin2(nullptr, 100, stepAt - 5, 40, slope, 50, 'S');
        g.AddEventLin(before, nullptr);
        std::unique_ptr<TEventLine> after(g.CreateEventLin2(before, stepAt + 5, stepAt + 9000, 40, slope, 50, 'E'));
        EXPECT_NEAR(before->Splice, -0.8, 0.01);
        EXPECT_EQ(before->Type, 'R') << lineKm;
    }

    // A stretch on a saturated top holds no line.
    auto saturated = makeTrace([&](long i) { return i < 1000 ? 0.0 : -5.0 - fall * static_cast<double>(i); }, 5000);
    TAuto c;
    c.Sor = saturated.get();
    EXPECT_EQ(c.CreateEventLin2(nullptr, 100, 900, 40, slope, 50, 'E'), nullptr);
    std::unique_ptr<TEventLine> belowTop(c.CreateEventLin2(nullptr, 100, 1900, 40, slope, 50, 'E'));
    EXPECT_NE(belowTop, nullptr);

    // Hostile bounds never read outside the trace.
    std::unique_ptr<TEventLine> odd(b.CreateEventLin2(nullptr, -50, 1000000, 100000, slope, 0, 'E'));
    ASSERT_NE(odd, nullptr);
    EXPECT_LE(odd->L2, 20000 * kKmPerPoint);
    std::unique_ptr<TEventLine> reversed(b.CreateEventLin2(nullptr, 500, 100, 40, slope, 0, 'S'));
    ASSERT_NE(reversed, nullptr);
    EXPECT_DOUBLE_EQ(reversed->L1, reversed->L2);
}

TEST(AutoLinesTest, SimulatedSectionAttenuationAndSplice)
{
    const std::string link = R"({
      "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 0.5, "range_km": 15,
               "launch_dB": -3.0, "noise_floor_dB": -40.0, "seed": 3},
      "link": [
        {"connector": {"loss_dB": 0.3, "reflectance_dB": -50}},
        {"fiber": {"km": 5.0, "dB_per_km": {"1550": 0.2}}},
        {"splice": {"loss_dB": 0.2}},
        {"fiber": {"km": 5.0, "dB_per_km": {"1550": 0.2}}},
        {"end": {"reflectance_dB": -14}}
      ]})";
    const std::string bytes = SimSynthesize(link, SimShotOptions{}, false);
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    TSorData sd;
    sd.Read(&file);
    const double kmPerPoint = sd.FxdParams->LenDS();
    ASSERT_GT(kmPerPoint, 0.0);
    auto at = [&](double km) { return static_cast<long>(km / kmPerPoint); };

    TAuto a;
    a.Sor = &sd;
    a.Pw1 = 40;
    const float slope = static_cast<float>(0.2 * kmPerPoint);
    TEventLine* first = a.CreateEventLin2(nullptr, at(0.2), at(4.98), 40, slope, 50, 'S');
    ASSERT_NE(first, nullptr);
    a.AddEventLin(first, nullptr);
    TEventLine* second = a.CreateEventLin2(first, at(5.03), at(9.9), 40, slope, 50, 'E');
    ASSERT_NE(second, nullptr);
    a.AddEventLin(second, first);
    EXPECT_NEAR(first->LossKm(), 0.2, 0.2 * 0.01);
    EXPECT_NEAR(second->LossKm(), 0.2, 0.2 * 0.01);
    EXPECT_NEAR(first->Splice, 0.2, 0.02);
}

TEST(AutoLinesTest, TailIntoTheNoiseIsNoFiber)
{
    // The fiber ends at point 10000 with a saturated reflection whose tail
    // falls 0.05 dB a point into a noise floor at -30 dB.
    const double fall = 0.2 * kKmPerPoint;
    auto sd = makeTrace(
        [&](long i) {
            if (i < 10000)
                return -5.0 - fall * static_cast<double>(i);
            if (i < 10010)
                return 0.0;
            const double tailLevel = -0.05 * static_cast<double>(i - 10010);
            return tailLevel > -31.0 ? tailLevel : -31.0 + 0.5 * static_cast<double>(i % 2);
        },
        14000);
    TAuto a;
    a.Sor = sd.get();
    a.Pw1 = 30;
    const float slope = static_cast<float>(fall);
    TEventLine* fiber = a.CreateEventLin2(nullptr, 100, 9995, 40, slope, 50, 'r');
    a.AddEventLin(fiber, nullptr);
    std::unique_ptr<TEventLine> tail(a.CreateEventLin2(fiber, 10020, 13900, 40, slope, 50, 'E'));
    ASSERT_NE(tail, nullptr);
    // The noise line lies at the mean noise level and the end shows its full loss.
    EXPECT_NEAR(tail->P1, -30.75, 0.01);
    EXPECT_DOUBLE_EQ(tail->P1, tail->P2);
    EXPECT_DOUBLE_EQ(tail->LossKm(), 0.0);
    EXPECT_NEAR(fiber->Splice, -5.0 - fall * 9995 + 30.75, 0.01);
    EXPECT_EQ(fiber->Type, 'R');
}

TEST(AutoLinesTest, ShortLineBetweenTwoEventsStopsBeforeTheNext)
{
    // 0.2 dB/km; an event whose peak rises 10 dB from point 5150 on: the
    // stretch in front of it, 150 points from 5000, ends on its first point.
    const double fall = 0.2 * kKmPerPoint;
    auto sd = makeTrace(
        [&](long i) {
            const double level = -15.0 - fall * static_cast<double>(i);
            return i >= 5150 && i < 5160 ? level + 10.0 : level;
        },
        8000);
    TAuto a;
    a.Sor = sd.get();
    a.Pw1 = 12;
    std::unique_ptr<TEventLine> line(a.CreateEventLin2(nullptr, 5000, 5150, 12, static_cast<float>(fall), 20, 'r'));
    ASSERT_NE(line, nullptr);
    // The fit stops one point before the event, which keeps its place.
    EXPECT_NEAR(line->L2, 5149 * kKmPerPoint, 1e-9);
    EXPECT_NEAR(line->Le, 5150 * kKmPerPoint, 1e-9);
    EXPECT_NEAR(line->P1, -15.0 - fall * 5000, 2e-3);
    EXPECT_NEAR(line->P2, -15.0 - fall * 5149, 2e-3);
    EXPECT_EQ(line->Type, 'R');
}

TEST(AutoLinesTest, SmallStepBeforeASteeperLineIsAPlainLoss)
{
    // 0.2 dB/km up to point 10000, a step of `step` dB, then `after` dB/km.
    auto typeOfStep = [](double step, double after) {
        const double fall = 0.2 * kKmPerPoint;
        auto sd = makeTrace(
            [&](long i) {
                if (i < 10000)
                    return -5.0 - fall * static_cast<double>(i);
                return -5.0 - fall * 10000.0 - step - after * kKmPerPoint * static_cast<double>(i - 10000);
            },
            20000);
        TAuto a;
        a.Sor = sd.get();
        const auto slope = static_cast<float>(fall);
        TEventLine* first = a.CreateEventLin2(nullptr, 100, 9995, 40, slope, 50, 'S');
        a.AddEventLin(first, nullptr);
        TEventLine* second = a.CreateEventLin2(first, 10005, 19900, 40, slope, 50, 'E');
        a.AddEventLin(second, first);
        return first->Type;
    };
    // 1.2 dB/km is over 0.75 dB/km steeper: the 0.03 dB step is no loss event of its own.
    EXPECT_EQ(typeOfStep(0.03, 1.2), 'N');
    // Not steep enough, or a step too large to be absorbed: the loss stays 'P'.
    EXPECT_EQ(typeOfStep(0.03, 0.8), 'P');
    EXPECT_EQ(typeOfStep(0.1, 1.2), 'P');
}

TEST(AutoLinesTest, EventBehindALineOfOneWindowIsShort)
{
    // 0.2 dB/km, a peak `bump` dB over the fiber on points 5000..5004, then a
    // 0.3 dB step; the line in front of it starts `length` points before it.
    auto typeBefore = [](long length, double bump, double floorDb = -40.0, double noiseDb = -30.0) {
        const double fall = 0.2 * kKmPerPoint;
        auto sd = makeTrace(
            [&](long i) {
                double level = -5.0 - fall * static_cast<double>(i);
                if (i >= 5005)
                    level -= 0.3;
                if (i >= 5000 && i < 5005)
                    level += bump;
                return std::fmax(level, floorDb);
            },
            8000, noiseDb);
        TAuto a;
        a.Sor = sd.get();
        a.Pw1 = 4;
        std::unique_ptr<TEventLine> line(
            a.CreateEventLin2(nullptr, 5000 - length, 5000, 40, static_cast<float>(fall), 20, 'r'));
        return line == nullptr ? '?' : line->Type;
    };
    // On clean backscatter the noise margin is a few hundredths of a dB: a
    // flat short event is 'S', one with a peak of 0.15 dB a doubled
    // reflection 'V'.
    EXPECT_EQ(typeBefore(30, 0.0), 'S');
    EXPECT_EQ(typeBefore(30, 0.15), 'V');
    // A line longer than the window measures the loss: a plain event, or a
    // reflection when a peak stands over the margin.
    EXPECT_EQ(typeBefore(300, 0.0), 'N');
    EXPECT_EQ(typeBefore(300, 0.15), 'R');
    // A peak over 0.2 dB keeps its kind whatever the line's length.
    EXPECT_EQ(typeBefore(30, 0.5), 'R');
    EXPECT_EQ(typeBefore(30, 10.0), 'R');
    // A line on a level below the noise makes no short event.
    EXPECT_EQ(typeBefore(30, 0.0, -40.0, -4.0), 'N');
}

TEST(AutoLinesTest, LineBelowTheNoiseEndsWhereItsSlopeHolds)
{
    // Below the noise floor at -30 dB: 0.2 dB/km, plus `early` dB a point over
    // points 1000..3000 and `later` dB a point from there up to 5000.
    const double fall = 0.2 * kKmPerPoint;
    auto endOf = [&](double early, double later) {
        auto sd = makeTrace(
            [&](long i) {
                const auto x = static_cast<double>(i);
                const double level = -33.0 - fall * x - early * std::min(x, 3000.0);
                return i < 3000 ? level : level - later * (x - 3000.0);
            },
            6000);
        TAuto a;
        a.Sor = sd.get();
        std::unique_ptr<TEventLine> line(a.CreateEventLin2(nullptr, 1000, 5000, 40, static_cast<float>(fall), 20, 'r'));
        return line == nullptr ? -1.0 : line->L2 / kKmPerPoint;
    };
    // The first half keeps the fibre's slope: the line ends in the middle.
    EXPECT_NEAR(endOf(0.0, 0.001), 3000.0, 1e-6);
    // A steep first half: the whole line comes nearer, fitted up to the point before the event.
    EXPECT_NEAR(endOf(0.001, 0.0), 4999.0, 1e-6);
}

TEST(AutoLinesTest, RisingLineIsFittedOnlyWhenItRisesBeyondTheNoise)
{
    // A stretch of 300 points rising by `rise` dB in all; a window of 40 makes
    // 0.2 / sqrt(41) = 0.031 dB the noise of a level, a window of 400 0.2 / sqrt(101).
    auto fitOf = [](double rise, long win) {
        auto sd = makeTrace([&](long i) { return -10.0 + rise * static_cast<double>(i - 1000) / 300.0; }, 2000);
        TAuto a;
        a.Sor = sd.get();
        std::unique_ptr<TEventLine> line(a.CreateEventLin2(nullptr, 1000, 1300, win, 0.0f, 20, 'r'));
        return line == nullptr ? std::make_pair(0.0, 0.0) : std::make_pair(line->P1, line->P2);
    };
    const auto real = fitOf(0.1, 40);
    EXPECT_NEAR(real.first, -10.0, 2e-3);
    EXPECT_NEAR(real.second, -10.0 + 0.1 * 299.0 / 300.0, 2e-3);
    // Within the noise the line is flat at its mean, beyond it fitted.
    const auto noise = fitOf(0.025, 40);
    EXPECT_DOUBLE_EQ(noise.first, noise.second);
    EXPECT_NEAR(noise.first, -10.0 + 0.0125, 2e-3);
    // Beyond the noise of a window of 40; a window of 400 keeps that of 100
    // (0.0199 dB, not 0.0100), which holds a rise of 0.015 dB.
    const auto narrow = fitOf(0.025, 100);
    EXPECT_LT(narrow.first, narrow.second - 0.02);
    const auto wide = fitOf(0.015, 400);
    EXPECT_DOUBLE_EQ(wide.first, wide.second);
}
