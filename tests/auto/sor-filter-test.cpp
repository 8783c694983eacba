// The filter frame: undoing filters exactly, the AUX record of the mode, the
// block switch, the strength classes, and the fast filters on inputs with a
// known answer.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "auto/sor-filter.h"
#include "filter-test-helpers.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"

using filtertest::levels;
using filtertest::makeTrace;

namespace {

// A falling fiber with a ripple, a step of 1 dB and a noise tail.
double rippleLevel(long i)
{
    if (i > 3000)
        return -32.0 + 0.3 * std::sin(static_cast<double>(i) * 1.7);
    const double step = i > 1500 ? 1.0 : 0.0;
    return -5.0 - 0.0002 * static_cast<double>(i) - step + 0.05 * std::sin(static_cast<double>(i) * 0.9);
}

} // namespace

TEST(SorFilterFrame, ModeZeroRestoresTheRawTraceExactly)
{
    for (int mode : {1, 3, 5, 6, 7}) {
        auto sor = makeTrace(4000, rippleLevel);
        sor->AUXParams->SetFilterLevel(2.0, 0);
        const std::vector<float> raw = levels(*sor);
        const auto rawPoints = sor->DataPts->GetSubBlock()->Points;
        TSorFilter f(sor.get());
        f.SetLvlK(0.5);
        f.SetFilter(mode);
        EXPECT_TRUE(sor->AUXParams->isFilter()) << mode;
        ASSERT_NE(sor->BackupDataPts, nullptr) << mode;
        if (mode != 6 && mode != 3) {
            EXPECT_NE(levels(*sor), raw) << "mode " << mode << " filtered nothing";
        }
        // A second filter starts from the raw points, not from the first's result.
        f.SetFilter(mode);
        f.SetFilter(0);
        EXPECT_FALSE(sor->AUXParams->isFilter()) << mode;
        EXPECT_EQ(sor->BackupDataPts, nullptr) << mode;
        EXPECT_EQ(levels(*sor), raw) << mode;
        EXPECT_EQ(sor->DataPts->GetSubBlock()->Points, rawPoints) << mode;
    }
}

TEST(SorFilterFrame, FlagsBackupAndSwitch)
{
    auto sor = makeTrace(1000, rippleLevel);
    const std::vector<float> raw = levels(*sor);
    TSorFilter f(sor.get());
    // Without a backup mode 0 changes nothing but the flag, and the switch is a no-op.
    sor->AUXParams->SetFlagFilter(1);
    f.SetFilter(0);
    EXPECT_FALSE(sor->AUXParams->isFilter());
    EXPECT_EQ(levels(*sor), raw);
    TSorBlockDataPoints* active = sor->DataPts;
    f.SwitchDataPointsBlocks();
    EXPECT_EQ(sor->DataPts, active);

    sor->AUXParams->SetFilterLevel(2.0, 0);
    f.SetFilter(5);
    TSorBlockDataPoints* filtered = sor->DataPts;
    TSorBlockDataPoints* backup = sor->BackupDataPts;
    f.SwitchDataPointsBlocks();
    EXPECT_EQ(sor->DataPts, backup);
    EXPECT_EQ(sor->BackupDataPts, filtered);
    EXPECT_EQ(levels(*sor), raw);
    f.SwitchDataPointsBlocks();
    // A negative mode applies the mode the AUX block records.
    f.SetFilter(-1);
    EXPECT_TRUE(sor->AUXParams->isFilter());
    f.EraseFilterStory();
    EXPECT_FALSE(sor->AUXParams->isFilter());
    EXPECT_EQ(sor->BackupDataPts, nullptr);
}

TEST(SorFilterFrame, StrengthClassesCycleAndStoreTheTaps)
{
    auto sor = makeTrace(2000, rippleLevel);
    TSorFilter f(sor.get());
    EXPECT_EQ(f.IncLevelF(0), 0);
    EXPECT_EQ(f.IncLevelF(1), 1);
    EXPECT_EQ(sor->AUXParams->TMC, f.K);
    EXPECT_EQ(f.K, static_cast<long>(f.CalcFPin(0.5) + 0.75));
    EXPECT_NEAR(f.GetFLevel(), std::log(static_cast<double>(f.K)) / std::log(f.CalcFPin(1.0)), 1e-12);
    EXPECT_TRUE(sor->AUXParams->isFilter());
    EXPECT_EQ(f.IncLevelF(0), 1);
    EXPECT_EQ(f.IncLevelF(1), 2);
    EXPECT_EQ(f.IncLevelF(1), 0);
    EXPECT_FALSE(sor->AUXParams->isFilter());
    EXPECT_EQ(f.GetFLevel(), 0.0);
    // The taps stored by one filter become another's response, as 1/10000.
    TSorFilter other(nullptr);
    EXPECT_EQ(f.IncLevelF(1), 1);
    other.SetAFC(sor.get());
    ASSERT_EQ(other.K, f.K);
    for (long j = 0; j < f.K; ++j)
        EXPECT_DOUBLE_EQ(other.Weights[j], sor->AUXParams->MC[static_cast<std::size_t>(j)] / 10000.0);
    EXPECT_EQ(other.PwFall, f.PwFall);
    other.SetAFC(nullptr);
    EXPECT_EQ(other.K, f.K);
}

TEST(SorFilterFast, KnownAnswers)
{
    // A flat trace is a fixed point of every filter.
    {
        auto sor = makeTrace(3000, [](long) { return -10.0; });
        sor->AUXParams->SetFilterLevel(3.0, 0);
        const std::vector<float> raw = levels(*sor);
        TSorFilter f(sor.get());
        f.FastFilter(sor.get());
        f.PONFilter(sor.get(), 0.7f, 20.0f, 0, 2999);
        const std::vector<float> out = levels(*sor);
        for (std::size_t i = 0; i < out.size(); ++i)
            ASSERT_NEAR(out[i], raw[i], 0.002) << i;
    }
    // On a simulated fiber a stronger level leaves less ripple about the
    // straight line, and neither moves the line.
    {
        const auto residual = [](double level, double& mean) {
            auto c = filtertest::simulate(filtertest::readScenario("gainer.json"));
            c.sor->AUXParams->SetFilterLevel(level, 0);
            TSorFilter f(c.sor.get());
            if (level > 0.0)
                f.FastFilter(c.sor.get());
            // Least squares over 2000..6000 and the rms about the line.
            double sx = 0, sy = 0, sxx = 0, sxy = 0;
            const long a = 2000, b = 6000;
            for (long i = a; i < b; ++i) {
                const double x = static_cast<double>(i), y = c.sor->NumToLevel(i);
                sx += x, sy += y, sxx += x * x, sxy += x * y;
            }
            const double n = static_cast<double>(b - a);
            const double k = (n * sxy - sx * sy) / (n * sxx - sx * sx);
            const double b0 = (sy - k * sx) / n;
            double sum2 = 0;
            for (long i = a; i < b; ++i) {
                const double d = c.sor->NumToLevel(i) - (k * static_cast<double>(i) + b0);
                sum2 += d * d;
            }
            mean = sy / n;
            return std::sqrt(sum2 / n);
        };
        double rawMean = 0, weakMean = 0, strongMean = 0;
        const double raw = residual(0.0, rawMean);
        const double weak = residual(1.0, weakMean);
        const double strong = residual(5.0, strongMean);
        EXPECT_LT(weak, raw);
        EXPECT_LT(strong, weak);
        EXPECT_NEAR(weakMean, rawMean, 0.01);
        EXPECT_NEAR(strongMean, rawMean, 0.01);
    }
    // PONFilter with k = 1 is the first-order recursion on a step of
    // linear power: after j points the rise is 1 - a^(j+1) of the step.
    {
        auto sor = makeTrace(400, [](long i) { return i < 100 ? -20.0 : -10.0; });
        auto* aux = sor->AUXParams;
        const double low = aux->Log5ToLin(-20.0, 0);
        const double high = aux->Log5ToLin(-10.0, 0);
        TSorFilter f(sor.get());
        const float tau = 10.0f;
        f.PONFilter(sor.get(), 1.0f, tau, 50, 399);
        const double a = std::exp(-1.0 / tau);
        for (long j : {0L, 5L, 30L}) {
            const double y = high - (high - low) * std::pow(a, j + 1);
            EXPECT_NEAR(sor->NumToLevel(100 + j), aux->LinToLog5(y), 0.002) << j;
        }
        EXPECT_NEAR(sor->NumToLevel(99), -20.0, 1e-9);
        // k = 0 leaves the samples as they are.
        auto flat = makeTrace(400, [](long i) { return i < 100 ? -20.0 : -10.0; });
        const std::vector<float> raw = levels(*flat);
        TSorFilter g(flat.get());
        g.PONFilter(flat.get(), 0.0f, tau, 0, 399);
        const std::vector<float> out = levels(*flat);
        for (std::size_t i = 0; i < out.size(); ++i)
            ASSERT_NEAR(out[i], raw[i], 0.002) << i;
    }
}

TEST(SorFilterNoise, ClosedForms)
{
    float out = -1.0f;
    // Alternating +1 / -1 differences: ((P + M) / 2 - |P - M|) / count = 1/2.
    const float alternating[] = {0, 1, 0, 1, 0, 1, 0, 1, 0};
    EXPECT_NEAR(TSorFilter::CalcLinfNoise(0, 8, 1, 0.0f, alternating, out), std::sqrt(0.5f), 1e-6);
    EXPECT_NEAR(out, std::sqrt(0.5f), 1e-6);
    // A straight ramp has no noise at all.
    const float ramp[] = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(TSorFilter::CalcLinfNoise(0, 8, 1, 0.0f, ramp, out), 0.0f);
    // Differences over the limit are left out: the one jump of 100 goes.
    const float jump[] = {0, 1, 0, 1, 0, 100, 101, 100, 101, 100};
    EXPECT_NEAR(TSorFilter::CalcLinfNoise(0, 9, 1, 2.0f, jump, out), std::sqrt(0.5f), 1e-6);
    // Without the limit the one-way jump outweighs the ripple: a step is no noise.
    EXPECT_EQ(TSorFilter::CalcLinfNoise(0, 9, 1, 0.0f, jump, out), 0.0f);
    // Every second pair with step 2: all differences 0.
    EXPECT_EQ(TSorFilter::CalcLinfNoise(0, 8, 2, 0.0f, alternating, out), 0.0f);
    // Degenerate ranges.
    EXPECT_EQ(TSorFilter::CalcLinfNoise(5, 5, 1, 0.0f, ramp, out), 0.0f);
    EXPECT_EQ(TSorFilter::CalcLinfNoise(0, 8, 0, 0.0f, ramp, out), 0.0f);
    EXPECT_EQ(TSorFilter::CalcLinfNoise(0, 8, 1, 0.0f, nullptr, out), 0.0f);
}

TEST(SorFilterZeroCorrect, OnlyOnVeryLongTracesWithLongPulses)
{
    // The range in km is AR x 299792.5 / 1.4682 x 1e-10.
    const auto owtOfKm = [](double km) { return static_cast<std::int32_t>(km / (299792.5 / 1.4682 * 1e-10)); };
    struct Case
    {
        double km;
        double ns;
        int applied;
    };
    for (const Case c : {Case{100.0, 20000, 0}, Case{200.0, 10000, 0}, Case{200.0, 10001, 1}}) {
        auto sor = makeTrace(3000, rippleLevel, c.ns);
        sor->FxdParams->AR = owtOfKm(c.km);
        TSorFilter f(sor.get());
        f.SetFilter(7);
        EXPECT_EQ(sor->AUXParams->ZeroCorrectApplied, c.applied) << c.km << " km " << c.ns << " ns";
        f.SetFilter(0);
        f.SetFilter(7);
        EXPECT_EQ(sor->AUXParams->ZeroCorrectApplied, c.applied) << "once";
    }
}
