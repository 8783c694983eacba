// TAuto's noise model and the splice searches on constructed stretches.
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "support/own-trace.h"
#include "auto/auto.h"
#include "auto/sor-filter.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"

namespace {

// 100 ns at 1550 nm, 5 x 100 ps a point; levels stored to 0.001 dB.
std::unique_ptr<TSorData> trace(const std::function<double(long)>& level, long n)
{
    return owntrace::makeTrace(n, level);
}

// Deterministic ripple of +-amplitude dB.
struct Ripple
{
    std::uint32_t state = 7u;
    double operator()(double amplitude)
    {
        state = state * 1664525u + 1013904223u;
        return (static_cast<double>(state >> 8) / 16777216.0 * 2.0 - 1.0) * amplitude;
    }
};

// An analysis object set up on a trace as a run would leave it.
void prepare(TAuto& a, TSorData* sor)
{
    a.Sor = sor;
    a.Points = sor->FxdParams->GetTotalPinPW();
    a.NF = -30.0;
    a.Spacing = 5.0;
    a.Pw0 = 101;
    a.Pw1 = 110;
    a.Pw3 = 130;
    a.KmPerPoint = static_cast<float>(5.0 * 299792.5 / 1.4682 * 1e-10);
    a.DbPerPoint = 0.0002f;
    a.Polar = 0.01;
}

} // namespace

TEST(AutoNoise, ClosedForms)
{
    const double p01 = -5.0 * std::log10(std::pow(10.0, 0.001 / 5.0) - 1.0) + 2.0;
    EXPECT_NEAR(TAuto::RequirePower(0.0, 1.0), p01, 1e-9);
    EXPECT_NEAR(TAuto::RequirePower(-1.0, 1.0), p01, 1e-9);
    EXPECT_NEAR(TAuto::RequirePower(0.001, 1.0), p01, 1e-9);
    EXPECT_NEAR(TAuto::RequirePower(0.1, 100.0), -5.0 * std::log10(std::pow(10.0, 0.02) - 1.0) - 5.0 + 2.0, 1e-9);
    // At 2 dB over the noise one point shows 5 log10(2) dB.
    EXPECT_NEAR(TAuto::RequireFault(2.0, 1.0), 5.0 * std::log10(2.0) + 0.002, 1e-9);
    EXPECT_NEAR(TAuto::RequireFault(2.0, 0.0), TAuto::RequireFault(2.0, 1.0), 1e-12);
    EXPECT_NEAR(TAuto::RequireFault(2.0, 4.0), 5.0 * std::log10(1.5) + 0.002, 1e-9);
    for (double p = -40.0; p <= 120.0; p += 0.5)
        EXPECT_GE(TAuto::RequireFault(p, 1000.0), 0.002) << p;
    // The two are each other's inverse, up to the fault's 0.002 dB floor.
    const double power = TAuto::RequirePower(0.05, 16.0);
    EXPECT_NEAR(TAuto::RequireFault(power, 16.0), 0.05 + 0.002, 1e-9);
    // Points needed: 10^((RequirePower(f, 1) - p) / 2.5), rounded up, at most 32767.
    const double need30 = TAuto::RequirePower(0.1, 1.0) - 2.5 * std::log10(29.5);
    EXPECT_EQ(TAuto::RequireAvgPin(need30, 0.1), 30);
    EXPECT_EQ(TAuto::RequireAvgPin(-100.0, 0.1), 32767);
    EXPECT_EQ(TAuto::RequireAvgPin(100.0, 0.1), 0);  // 0.999 added, then cut

    TAuto a;
    a.NF = -30.0;
    EXPECT_EQ(a.SetAvgPin(need30 - 30.0, 0.1, 1, 1000), 25);
    const double need20 = TAuto::RequirePower(0.1, 1.0) - 2.5 * std::log10(19.5);
    EXPECT_EQ(a.SetAvgPin(need20 - 30.0, 0.1, 1, 1000), 20);
    EXPECT_EQ(a.SetAvgPin(need30 - 30.0, 0.1, 1, 22), 22);
    EXPECT_EQ(a.SetAvgPin(need30 - 30.0, 0.1, 40, 1000), 40);
    a.BaseFault = 0.01;
    EXPECT_NEAR(a.GetFault(-28.0, 1.0), 5.0 * std::log10(2.0) + 0.012, 1e-9);
    // Without a document the pulse counts as 1 ns; with 100 ns 0.5 / 10 + 0.002.
    EXPECT_NEAR(a.GetTypPol(), 0.502, 1e-12);
    auto sor = trace([](long i) { return -3.0 - 0.0002 * i; }, 4000);
    a.Sor = sor.get();
    EXPECT_NEAR(a.GetTypPol(), 0.052, 1e-12);
}

TEST(AutoNoise, PolarisationOfAStretch)
{
    auto sor = trace([](long i) { return -3.0 - 0.001 * i; }, 4000);
    TAuto a;
    prepare(a, sor.get());
    float slope = 0.0f;
    float pol = 0.0f;
    ASSERT_EQ(a.GetPol(100, 1100, slope, pol), 1);
    EXPECT_NEAR(slope, 0.001f, 2e-6f);
    EXPECT_FLOAT_EQ(pol, 0.002f);  // a clean line is held to the floor
    // Too short, or reaching under NF + 3 dB: no measure.
    EXPECT_EQ(a.GetPol(100, 103, slope, pol), 0);
    a.NF = -5.0;
    EXPECT_EQ(a.GetPol(100, 3000, slope, pol), 0);

    Ripple ripple;
    auto rough = trace([&](long i) { return -3.0 - 0.001 * i + ripple(2.0); }, 4000);
    prepare(a, rough.get());
    ASSERT_EQ(a.GetPol(100, 3000, slope, pol), 1);
    EXPECT_FLOAT_EQ(pol, 0.25f);  // and a wild one to the ceiling
}

TEST(AutoNoise, BigSpliceSearch)
{
    Ripple ripple;
    auto clean = trace([&](long i) { return -3.0 - 0.0002 * i + ripple(0.01); }, 20000);
    // The pulse of 100 points spreads the step behind its start.
    auto stepped = trace(
        [&](long i) {
            const double share = std::clamp((i - 9000) / 100.0, 0.0, 1.0);
            return -3.0 - 0.0002 * i - 0.2 * share + ripple(0.01);
        },
        20000);
    TFEvent prev{};
    TFEvent found{};
    float value = 0.0f;
    TAuto a;
    prepare(a, clean.get());
    // A stretch of 4 points, and a clean fiber, yield nothing.
    EXPECT_EQ(a.SearchBigSplices(100, 104, 50, prev, value, found, nullptr), 0);
    EXPECT_EQ(a.SearchBigSplices(100, 19000, 50, prev, value, found, nullptr), 0);
    EXPECT_EQ(a.SearchNoiseSplices(100, 19000, 50, prev, value, found, nullptr), 0);
    // A 0.2 dB step is found where it is, with its size.
    prepare(a, stepped.get());
    const long at = a.SearchBigSplices(100, 19000, 50, prev, value, found, nullptr);
    EXPECT_NEAR(at, 9000, 4);
    EXPECT_EQ(found.Beg, at);
    EXPECT_EQ(found.Type, 'N');
    EXPECT_NEAR(value, 0.2, 0.02);
    // Behind the previous event's tail nothing is searched.
    prev.End = 9500;
    EXPECT_EQ(a.SearchBigSplices(100, 19000, 50, prev, value, found, nullptr), 0);
    // The weak search is off while the polarisation noise is small.
    prev = TFEvent{};
    a.Polar = 0.01;
    EXPECT_EQ(a.SearchWeakSplices(100, 19000, 50, prev, value, found, nullptr), 0);
}

TEST(AutoNoise, BigSpliceSearchOnSectionsOfTwoAttenuations)
{
    // A long pulse of 500 points; 0.0002 dB a point up to point 20000,
    // 0.00018 behind it (a section of another fiber, with no step), and a
    // 0.1 dB step spread over the pulse from point 30000. Over the reach of
    // the search's windows the slope change alone moves their difference by
    // about 0.04 dB on either half of the stretch.
    auto level = [](long i) {
        const double fiber = i < 20000 ? 0.0002 * i : 0.0002 * 20000 + 0.00018 * (i - 20000);
        return -3.0 - fiber;
    };
    Ripple ripple;
    auto sections = trace([&](long i) { return level(i) + ripple(0.01); }, 40000);
    auto stepped = trace(
        [&](long i) { return level(i) - 0.1 * std::clamp((i - 30000) / 500.0, 0.0, 1.0) + ripple(0.01); }, 40000);
    auto longPulse = [](TAuto& a, TSorData* sor) {
        prepare(a, sor);
        a.Pw0 = 501;
        a.Pw1 = 600;
        a.Pw3 = 800;
    };
    TFEvent prev{};
    TFEvent found{};
    float value = 0.0f;
    TAuto a;
    // The change of attenuation alone is no event.
    longPulse(a, sections.get());
    EXPECT_EQ(a.SearchBigSplices(100, 39000, 50, prev, value, found, nullptr), 0);
    // The step stands out of the noise of the windows, which the slope change
    // does not raise: it is found at its start and sized against the fiber
    // around it, not against the mean fall of the whole stretch.
    longPulse(a, stepped.get());
    const long at = a.SearchBigSplices(100, 39000, 50, prev, value, found, nullptr);
    EXPECT_NEAR(at, 30000, 60);
    EXPECT_EQ(found.Type, 'N');
    EXPECT_NEAR(value, 0.1, 0.01);
}
