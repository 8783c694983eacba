// Where a step without reflection begins: from the whole of its fall.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>
#include <random>

#include "auto/auto-locate.h"
#include "auto/event-line.h"
#include "ref/ref-auto.h"
#include "sor/sor-block-fixed-parameters.h"
#include "support/own-trace.h"

namespace {

// 100 ns pulse, 5 OWT units (about 0.51 m) a point: the fall lasts 100 points.
constexpr double kPulseOwt = 500.0;
constexpr long kPulsePoints = 100;
constexpr long kStepAt = 5000;
constexpr double kFallPerPoint = 0.0001;

// km of a (fractional) point: 5 OWT units a point from OWT 0, group index 1.4682.
double kmOf(double point)
{
    return point * 5.0 * 299792.5 / 1.4682 * 1e-10;
}

// The receiver's mean delay in points, as the trace's fall rate gives it.
double delayPoints(TSorData& sd)
{
    const double rate = RefAutoGetDbOnOwt(&sd);
    return rate > 0.0 ? 5.0 * std::log10(std::exp(1.0)) / rate / 5.0 : 0.0;
}

// Backscatter from -10 dB falling kFallPerPoint a point, and a step of
// `step` dB at kStepAt: the power falls linearly over one pulse behind the
// receiver's delay. `noiseDb` is the RMS of a seeded noise in dB.
struct StepTrace
{
    std::unique_ptr<TSorData> sd;
    TEventLine before;
    TEventLine after;
};

StepTrace makeStep(double step, double noiseDb = 0.0, unsigned seed = 1)
{
    const auto clean = [step](long i, double delay) {
        const double line = -10.0 - kFallPerPoint * static_cast<double>(i);
        const double share = std::clamp((static_cast<double>(i) - kStepAt - delay) / kPulsePoints, 0.0, 1.0);
        const double power = std::pow(10.0, line / 5.0) * (1.0 - share * (1.0 - std::pow(10.0, -step / 5.0)));
        return 5.0 * std::log10(power);
    };
    owntrace::Shape shape;
    const double delay = delayPoints(*owntrace::makeTrace(10000, [&](long i) { return clean(i, 0.0); }, shape));
    std::mt19937_64 random(seed);
    std::normal_distribution<double> noise(0.0, noiseDb > 0.0 ? noiseDb : 1.0);
    std::vector<double> levels;
    for (long i = 0; i < 10000; ++i)
        levels.push_back(clean(i, delay) + (noiseDb > 0.0 ? noise(random) : 0.0));
    StepTrace t;
    t.sd = owntrace::makeTrace(10000, [&](long i) { return levels[static_cast<std::size_t>(i)]; }, shape);
    const double kmPerPoint = kmOf(1.0);
    const double dbPerKm = kFallPerPoint / kmPerPoint;
    // The line in front ends inside the fall, as the walk leaves it on a
    // small step; the line behind starts once the fall is over.
    t.before.L1 = kmOf(4000);
    t.before.L2 = kmOf(kStepAt + 20);
    t.before.P1 = -10.0 - kFallPerPoint * 4000;
    t.before.P2 = -10.0 - kFallPerPoint * (kStepAt + 20);
    t.before.dBKm = dbPerKm;
    const long afterStart = kStepAt + kPulsePoints + static_cast<long>(delay) + 30;
    t.after.L1 = kmOf(static_cast<double>(afterStart));
    t.after.L2 = kmOf(9000);
    t.after.P1 = -10.0 - kFallPerPoint * static_cast<double>(afterStart) - step;
    t.after.P2 = -10.0 - kFallPerPoint * 9000 - step;
    t.after.dBKm = dbPerKm;
    return t;
}

TEST(LocateStep, TheWholeFallPlacesTheStep)
{
    StepTrace t = makeStep(0.2);
    const double truth = kmOf(kStepAt);
    const double spacing = kmOf(1.0);
    // Found 20 points late: moved back to the step, within a tenth of a point.
    const double late = kmOf(kStepAt + 20);
    EXPECT_NEAR(LocateStepKm(t.sd.get(), t.before, t.after, kPulseOwt, late), truth, 0.1 * spacing);
    // A gain is located the same way.
    StepTrace gain = makeStep(-0.2);
    EXPECT_NEAR(LocateStepKm(gain.sd.get(), gain.before, gain.after, kPulseOwt, late), truth, 0.1 * spacing);

    // Found early: the walk never sees a step before it begins, so a later
    // estimate leaves it where it is.
    const double early = kmOf(kStepAt - 10);
    EXPECT_DOUBLE_EQ(LocateStepKm(t.sd.get(), t.before, t.after, kPulseOwt, early), early);
    // More than a pulse late is not this step's.
    const double far = kmOf(kStepAt + 150);
    EXPECT_DOUBLE_EQ(LocateStepKm(t.sd.get(), t.before, t.after, kPulseOwt, far), far);
    // Lines closer than 0.03 dB: nothing to locate.
    StepTrace flat = makeStep(0.02);
    EXPECT_DOUBLE_EQ(LocateStepKm(flat.sd.get(), flat.before, flat.after, kPulseOwt, late), late);
    // No pulse: nothing to go by.
    EXPECT_DOUBLE_EQ(LocateStepKm(t.sd.get(), t.before, t.after, 0.0, late), late);
}

TEST(LocateStep, SmallStepInNoiseIsPlacedWithinAFewPoints)
{
    // 0.1 dB under 0.02 dB of noise a point: every point of the fall counts,
    // so the estimate stays within about a tenth of the pulse (100 points).
    double worst = 0.0;
    for (unsigned seed = 1; seed <= 20; ++seed) {
        StepTrace t = makeStep(0.1, 0.02, seed);
        const double late = kmOf(kStepAt + 40);
        const double found = LocateStepKm(t.sd.get(), t.before, t.after, kPulseOwt, late);
        worst = std::max(worst, std::fabs(found - kmOf(kStepAt)) / kmOf(1.0));
    }
    EXPECT_LT(worst, 12.0);
}

} // namespace
