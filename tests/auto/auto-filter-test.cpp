// The auto filter on simulated links whose events are known, on ghosts, on
// the smoothing window, and on hostile input.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <random>
#include <string>
#include <vector>

#include "auto/sor-filter.h"
#include "filter-test-helpers.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"

using filtertest::SimCase;

namespace {

struct FilterRun
{
    safe_array<TFEvent, 100> events{};
    std::vector<short> widths;
    long count = 0;
    long pw = 1;
};

FilterRun runFilter(TSorData& sor)
{
    FilterRun r;
    r.widths.assign(static_cast<std::size_t>(std::max(1L, sor.DataPts->GetPointsNum())), 0);
    TSorFilter f(&sor);
    f.Result.events = r.events.data();
    f.Result.widths = r.widths.data();
    f.SetFilter(7);
    r.count = f.Result.count;
    r.pw = f.PwPoints;
    return r;
}

// Events of the truth that the walk must find by itself: strong
// reflections and large steps above the noise, apart from their neighbours.
bool mustFind(const SimCase& c, std::size_t k)
{
    const SimEvent& e = c.shot.events[k];
    const bool strong = (e.reflectanceDb && *e.reflectanceDb >= -55.0) || e.apparentLossDb >= 1.0;
    const double pulseKm = c.shot.pulseNs * 0.2 / c.shot.owtPerKm;
    for (std::size_t j = 0; j < c.shot.events.size(); ++j)
        if (j != k && std::fabs(c.shot.events[j].km - e.km) < 2 * pulseKm && c.shot.events[j].km < e.km)
            return false;
    const double level = c.shot.backscatterLevelAt(std::max(0.0, e.km - pulseKm));
    return strong && e.km > 1.5 * pulseKm && level > c.shot.noiseFloorDb + 10.0;
}

} // namespace

TEST(AutoFilterScenarios, FindsReflectionsStepsAndTheEnd)
{
    for (const char* name : {"building-2km.json", "gainer.json", "macrobend.json", "pon-1x32.json",
                             "saturating-front-ghost.json", "span-80km.json", "splices-25km.json"}) {
        for (int nm : {1310, 1550}) {
            for (unsigned seed : {1u, 2u, 3u}) {
                SimCase c = filtertest::simulate(filtertest::readScenario(name), nm, seed);
                const FilterRun r = runFilter(*c.sor);
                const std::string label = std::string(name) + " " + std::to_string(nm) + " seed " +
                                          std::to_string(seed);
                ASSERT_GE(r.count, 2) << label;
                const long tol = 2 + r.pw / 2 + 2;
                for (std::size_t k = 0; k < c.shot.events.size(); ++k) {
                    if (!mustFind(c, k))
                        continue;
                    const long at = filtertest::pointOfKm(c, c.shot.events[k].km);
                    bool found = false;
                    for (long e = 0; e < r.count; ++e)
                        found = found || std::labs(r.events.data()[e].Beg - at) <= tol;
                    EXPECT_TRUE(found) << label << ": nothing at point " << at;
                }
                // The end of the fiber closes the list, and nothing lies beyond it.
                const long end = filtertest::pointOfKm(c, c.shot.fiberEndKm);
                EXPECT_LE(std::labs(r.events.data()[r.count - 1].Beg - end), tol) << label;
                for (long e = 0; e < r.count; ++e) {
                    EXPECT_LE(r.events.data()[e].Beg, end + tol) << label << " event " << e;
                    EXPECT_LE(r.events.data()[e].Beg, r.events.data()[e].End) << label << " event " << e;
                    if (e > 0) {
                        EXPECT_LT(r.events.data()[e - 1].Beg, r.events.data()[e].Beg) << label << " event " << e;
                    }
                }
            }
        }
    }
}

TEST(AutoFilterScenarios, GhostOfTheFrontReflectionIsNoEvent)
{
    SimCase c = filtertest::simulate(filtertest::readScenario("saturating-front-ghost.json"));
    const FilterRun r = runFilter(*c.sor);
    // The strong reflection at 1.5 km echoes at 3 km, where the link has nothing.
    const long ghost = filtertest::pointOfKm(c, 3.0);
    for (long e = 0; e < r.count; ++e)
        if (std::labs(r.events.data()[e].Beg - ghost) <= 2 + r.pw) {
            EXPECT_EQ(r.events.data()[e].Type, 'g');
        }
}

TEST(AutoFilterScenarios, WindowGrowsAsTheSignalFalls)
{
    // 120 km of fiber whose backscatter sinks into the noise.
    const std::string link = R"({"otdr": {"wavelength_nm": 1550, "pulse_ns": 1000, "spacing_m": 2, "range_km": 140,
        "launch_dB": -3, "noise_floor_dB": -30, "seed": 4},
        "link": [{"connector": {"loss_dB": 0.3, "reflectance_dB": -50}}, {"fiber": {"km": 120}},
                 {"end": {"reflectance_dB": -60}}]})";
    SimCase c = filtertest::simulate(link);
    const double nf = c.shot.noiseFloorDb + 2.4;
    // Places where the signal stands 20, 10 and 4 dB over the noise floor.
    const auto placeAt = [&](double over) {
        for (double km = 1.0; km < 120.0; km += 0.05)
            if (c.shot.backscatterLevelAt(km) < nf + over)
                return filtertest::pointOfKm(c, km);
        return 0L;
    };
    const long high = placeAt(20.0), mid = placeAt(10.0), low = placeAt(4.0);
    ASSERT_LT(0, high);
    ASSERT_LT(high, mid);
    ASSERT_LT(mid, low);
    const FilterRun r = runFilter(*c.sor);
    const auto meanWidth = [&](long at) {
        double sum = 0;
        for (long i = at - 200; i < at + 200; ++i)
            sum += r.widths[static_cast<std::size_t>(i)];
        return sum / 400.0;
    };
    EXPECT_LT(meanWidth(high), meanWidth(mid));
    EXPECT_LT(meanWidth(mid), meanWidth(low));
    EXPECT_LE(meanWidth(low), 128.0 * 1.5);
    EXPECT_GE(meanWidth(high), 1.0);
}

TEST(AutoFilterHostile, DegenerateTracesSurvive)
{
    std::mt19937 rng(7);
    std::normal_distribution<double> gauss(0.0, 0.3);
    struct Case
    {
        long n;
        std::function<double(long)> level;
    };
    const std::vector<Case> cases = {
        {0, [](long) { return -10.0; }},
        {1, [](long) { return -10.0; }},
        {2, [](long) { return -10.0; }},
        {9, [](long i) { return -10.0 - static_cast<double>(i); }},
        {5000, [](long) { return -20.0; }},
        {5000, [&](long) { return -30.0 + gauss(rng); }},
        {5000, [](long i) { return i % 2 == 0 ? 0.0 : -60.0; }},
        {5000, [](long i) { return i == 2500 ? 0.0 : -65.0; }},
    };
    for (const Case& tc : cases) {
        auto sor = filtertest::makeTrace(tc.n, tc.level);
        const std::vector<float> raw = filtertest::levels(*sor);
        const FilterRun r = runFilter(*sor);
        EXPECT_GE(r.count, -1);
        EXPECT_LE(r.count, AutoFilterMaxEvents + 1);
        for (long e = 0; e < r.count; ++e) {
            EXPECT_GE(r.events.data()[e].Beg, 0) << tc.n;
            EXPECT_LT(r.events.data()[e].End, std::max(tc.n, 1L)) << tc.n;
        }
        TSorFilter f(sor.get());
        f.SetFilter(0);
        EXPECT_EQ(filtertest::levels(*sor), raw) << tc.n;
    }
    // A document the filter was never given.
    TSorFilter none(nullptr);
    none.SetFilter(7);
    EXPECT_EQ(none.AutoFilter(nullptr, nullptr, nullptr), -1);
}

TEST(AutoFilterRealTraces, EveryFileRunsAndIsRestored)
{
    namespace fs = std::filesystem;
    const fs::path dir(FIBERTEST_TRACES_DIR);
    if (!fs::is_directory(dir))
        GTEST_SKIP() << "no traces at " << dir;
    int files = 0;
    for (const auto& entry : fs::directory_iterator(dir)) {
        const std::string ext = entry.path().extension().string();
        if (ext != ".sor" && ext != ".SOR")
            continue;
        TSorData sor;
        if (sor.Read(entry.path().string().c_str(), "rb") != 0 || sor.DataPts->GetPointsNum() <= 0)
            continue;
        ++files;
        const std::vector<float> raw = filtertest::levels(sor);
        const FilterRun r = runFilter(sor);
        const long n = sor.DataPts->GetPointsNum();
        for (long e = 0; e < r.count; ++e) {
            EXPECT_GE(r.events.data()[e].Beg, 0) << entry.path();
            EXPECT_LT(r.events.data()[e].End, n) << entry.path();
        }
        TSorFilter f(&sor);
        f.SetFilter(0);
        EXPECT_EQ(filtertest::levels(sor), raw) << entry.path();
    }
    EXPECT_GT(files, 0);
}

TEST(AutoFilterStart, PolarisationDefaultByWavelength)
{
    // A ripple-free fiber into a noise tail: the measured polarisation noise
    // is below 0.001, and only the visible-light source keeps it.
    for (int nm : {1310, 651}) {
        std::mt19937 rng(3);
        std::normal_distribution<double> gauss(0.0, 1.0);
        auto sor = filtertest::makeTrace(
            20000, [&](long i) { return i < 12000 ? -3.0 - 0.00005 * static_cast<double>(i) : -38.0 + gauss(rng); },
            1000.0, -33.0);
        sor->GenParams->NW = static_cast<std::int16_t>(nm);
        TSorFilter f(sor.get());
        safe_array<TFEvent, 100> events{};
        f.Result.events = events.data();
        f.SetFilter(7);
        ASSERT_GE(f.Result.count, 2) << nm;
        if (nm == 651) {
            EXPECT_LT(f.Result.polarBegin, 0.001f);
        } else {
            EXPECT_FLOAT_EQ(f.Result.polarBegin, 4.0f / 1100.0f);
        }
    }
}

TEST(AutoFilterEnd, FiberRunningPastTheDataClosesWithAZeroEvent)
{
    // The link is longer than the acquisition: no end of fiber in the data.
    const std::string link = R"({"otdr": {"wavelength_nm": 1310, "pulse_ns": 100, "spacing_m": 1, "range_km": 5,
        "launch_dB": -3, "noise_floor_dB": -40, "seed": 2},
        "link": [{"connector": {"loss_dB": 0.3, "reflectance_dB": -45}}, {"fiber": {"km": 30}},
                 {"end": {"reflectance_dB": -14}}]})";
    SimCase c = filtertest::simulate(link);
    const FilterRun r = runFilter(*c.sor);
    ASSERT_EQ(r.count, 2);
    EXPECT_EQ(r.events.data()[1].Type, '0');
    EXPECT_EQ(r.events.data()[1].End, c.sor->DataPts->GetPointsNum() - 1);
}

TEST(AutoFilterMeasures, StepAndPeakGrades)
{
    // A step of linear power from A to B; the fall grade is
    // -int(log2((A - B) / threshold + 1)).
    {
        auto sor = filtertest::makeTrace(400, [](long i) { return i < 200 ? -10.0 : -12.0; });
        TSorFilter f(sor.get());
        const float a = f.Linf[100];
        const float b = f.Linf[300];
        EXPECT_EQ(f.FallAnalisys(150, 399, 4, 100, (a - b) / 7.5f), -3);   // log2(8.5)
        EXPECT_EQ(f.FallAnalisys(150, 399, 4, 100, (a - b) / 1.5f), -1);   // log2(2.5)
        EXPECT_EQ(f.FallAnalisys(150, 399, 4, 100, (a - b) * 1.01f), 0);   // not above the threshold
        EXPECT_EQ(f.FallAnalisys(150, 399, 4, 20, (a - b) / 7.5f), 0);     // the window ends before the step
        EXPECT_EQ(f.FallAnalisys(396, 399, 4, 2, 1.0f), 0);                 // fewer than 5 points left
    }
    // A flat pulse of 10 points over a flat fiber: the rise grade is
    // int(log2(height / threshold + 1)), the width the pulse's.
    {
        auto sor = filtertest::makeTrace(400, [](long i) { return i >= 200 && i < 210 ? -4.0 : -12.0; });
        TSorFilter f(sor.get());
        const float height = f.Linf[205] - f.Linf[100];
        long peak = 200;
        long width = 0;
        long flat = 0;
        EXPECT_EQ(f.RflAnalisys(nullptr, peak, 399, 2, 12, height / 15.5f, width, flat), 4);  // log2(16.5)
        EXPECT_EQ(peak, 209);
        EXPECT_EQ(flat, 9);
        EXPECT_EQ(width, 10);
        // A foot as high as the top is refused.
        peak = 202;
        EXPECT_EQ(f.RflAnalisys(nullptr, peak, 399, 2, 12, height / 15.5f, width, flat), -1);
        // So is a peak too close behind the previous event.
        TFEvent prev{};
        prev.PeakEnd = 195;
        prev.End = 199;
        prev.GradeUp = 12;
        peak = 200;
        EXPECT_EQ(f.RflAnalisys(&prev, peak, 399, 2, 12, height / 15.5f, width, flat), -1);
    }
}

namespace {

// A flat fiber at -12 dB with a 5-point peak of height `ha` at 100 and one of
// `hb` at 200 (and `hc` at 300), ending at 350 in the noise; the base behind
// 150 lies `stepDb` lower.
std::unique_ptr<TSorData> twoPeaks(double ha, double hb, double stepDb = 0.0, double hc = 0.0)
{
    return filtertest::makeTrace(400, [=](long i) {
        if (i >= 350)
            return -30.0;
        const double base = i < 150 ? -12.0 : -12.0 - stepDb;
        if (i >= 100 && i < 105)
            return base + ha;
        if (i >= 200 && i < 205)
            return base + hb;
        if (i >= 300 && i < 305)
            return base + hc;
        return base;
    }, 10.0);
}

TFEvent peakEvent(long beg, long grade)
{
    TFEvent e{};
    e.Beg = beg;
    e.Peak1 = beg + 2;
    e.PeakEnd = beg + 2;
    e.End = beg + 8;
    e.Aux = e.End;
    e.GradeUp = grade;
    e.Type = 'r';
    return e;
}

} // namespace

TEST(AutoFilterGhosts, EchoReflectanceAgainstTheSource)
{
    // Heights of 2 dB and h: the reflectances differ by
    // 10 log10((10^(h/5) - 1) / (10^(2/5) - 1)); an echo reaches at most the
    // source's, with 3 dB (a factor 2) of allowance.
    const double hSource = 2.0;
    const auto heightFor = [&](double ratio) {
        return 5.0 * std::log10(ratio * (std::pow(10.0, hSource / 5.0) - 1.0) + 1.0);
    };
    const TFEvent a = peakEvent(100, 8);
    const TFEvent b = peakEvent(200, 4);
    {
        auto sor = twoPeaks(hSource, heightFor(1.8));
        TSorFilter f(sor.get());
        EXPECT_TRUE(f.isGost(sor.get(), a, b));
    }
    {
        auto sor = twoPeaks(hSource, heightFor(2.3));
        TSorFilter f(sor.get());
        EXPECT_FALSE(f.isGost(sor.get(), a, b));
    }
    // A loss of 3 dB between them lowers the base at b but not the echo: it
    // stands 10^(3/5) higher over its base, and still counts as an echo.
    {
        auto sor = twoPeaks(hSource, heightFor(1.8 * std::pow(10.0, 0.6)), 3.0);
        TSorFilter f(sor.get());
        EXPECT_TRUE(f.isGost(sor.get(), a, b));
        auto flat = twoPeaks(hSource, heightFor(1.8 * std::pow(10.0, 0.6)));
        TSorFilter g(flat.get());
        EXPECT_FALSE(g.isGost(flat.get(), a, b));
    }
    // Nothing over its base is no source; a flat b is an echo lost in it.
    {
        auto sor = twoPeaks(0.0, 1.0);
        TSorFilter f(sor.get());
        EXPECT_FALSE(f.isGost(sor.get(), a, b));
        EXPECT_FALSE(f.isGost(nullptr, a, b));
    }
}

TEST(AutoFilterGhosts, WeakTwinAtTwiceTheDistanceIsMarked)
{
    // The launch at 0, a reflection at 100 and a weak one at 200 (twice its
    // distance, too short for the rule of strong reflections), then the end.
    auto sor = twoPeaks(4.0, 1.0);
    const auto run = [&](long twinGrade) {
        TSorFilter f(sor.get());
        TFEvent events[4] = {peakEvent(0, 0), peakEvent(100, 8), peakEvent(200, twinGrade), peakEvent(330, 9)};
        events[0].Type = 's';
        long count = 4;
        f.AutoFilterEventRemove(sor.get(), &count, events, 0);
        EXPECT_EQ(count, 4);
        return events[2].Type;
    };
    EXPECT_EQ(run(3), 'g');   // 8 >= 2 * 3
    EXPECT_EQ(run(4), 'g');   // 8 >= 2 * 4
    EXPECT_EQ(run(5), 'r');   // 8 < 2 * 5
}

TEST(AutoFilterGhosts, EchoBetweenTwoReflectionsEndsTheList)
{
    // Reflections at 100 and 200; 2 * 200 - 100 = 300 is where light bounced
    // between them comes back. Tolerance 3 * PwFall (30 points here).
    auto sor = twoPeaks(4.0, 3.0, 0.0, 1.0);
    const auto countAfter = [&](long tailBeg, long tailGrade) {
        TSorFilter f(sor.get());
        TFEvent events[5] = {peakEvent(0, 0), peakEvent(100, 8), peakEvent(200, 7), peakEvent(250, 5),
                             peakEvent(tailBeg, tailGrade)};
        events[0].Type = 's';
        long count = 5;
        f.AutoFilterEventRemove(sor.get(), &count, events, 0);
        return count;
    };
    EXPECT_EQ(countAfter(300, 3), 4);   // weaker than both, where the echo lies
    EXPECT_EQ(countAfter(340, 3), 5);   // 38 points off 2b - a, 36 off a + b
    EXPECT_EQ(countAfter(328, 3), 4);   // 28 points off: within
    EXPECT_EQ(countAfter(300, 7), 5);   // as strong as b: no echo of it
}

namespace {

// A fiber at -8 dB losing 0.2 dB/km (2e-5 dB a point of 0.1 m) that ends at
// 5500 in the noise, with `shape(i)` dB added; pulses of 10 ns.
std::unique_ptr<TSorData> fiberWith(const std::function<double(long)>& shape)
{
    return filtertest::makeTrace(6000, [&](long i) {
        return i > 5500 ? -40.0 : -8.0 - 0.00002 * static_cast<double>(i) + shape(i);
    }, 10.0);
}

// A peak `height` dB high rising over 15 points from `at` and falling over 15.
double triangle(long i, long at, double height)
{
    const long d = std::labs(i - at - 15);
    return d < 15 ? height * static_cast<double>(15 - d) / 15.0 : 0.0;
}

std::vector<long> begsIn(const FilterRun& r, long from, long to)
{
    std::vector<long> out;
    for (long e = 0; e < r.count; ++e)
        if (r.events.data()[e].Beg >= from && r.events.data()[e].Beg <= to)
            out.push_back(r.events.data()[e].Beg);
    return out;
}

} // namespace

TEST(AutoFilterWalk, WeakStepsCloseTogetherRestartTheWalk)
{
    // Five steps of 0.02 dB: each is a fall of grade 1 (GradeDown -1) with
    // pw2 = 12. A weight is (4.5 - 1) * 100 * 12 / (distance * 2); 60 points
    // apart the second and third weigh 35 each, and the walk goes back to
    // the second, less sensitive, until the run of steps is gone but the
    // first. 700 points apart they weigh 3 each and all stay.
    const auto steps = [](long gap) {
        return fiberWith([gap](long i) {
            double v = 0.0;
            for (long k = 0; k < 5; ++k)
                if (i >= 2000 + k * gap)
                    v -= 0.02;
            return v;
        });
    };
    {
        auto sor = steps(60);
        const FilterRun r = runFilter(*sor);
        EXPECT_EQ(begsIn(r, 1900, 2400), std::vector<long>({1999}));
        EXPECT_EQ(r.events.data()[r.count - 1].Type, 'E');
        EXPECT_LE(std::labs(r.events.data()[r.count - 1].Beg - 5500), 5);
    }
    {
        auto sor = steps(700);
        const FilterRun r = runFilter(*sor);
        EXPECT_EQ(begsIn(r, 1900, 5000), std::vector<long>({1999, 2699, 3399, 4099, 4799}));
        for (long e = 1; e + 1 < r.count; ++e)
            EXPECT_EQ(r.events.data()[e].GradeDown, -1) << e;
    }
}

TEST(AutoFilterWalk, StrongestReflectionSoFarAndTheEndInTheNoise)
{
    // Reflections rising 0.36, 0.18 and 1.2 dB: the first and the third are
    // each the strongest behind the launch when found ('R'), the second is
    // not ('r'). The fiber then falls into the noise without a reflection:
    // the end reached in the noise ('E').
    auto sor = fiberWith(
        [](long i) { return triangle(i, 2000, 0.36) + triangle(i, 3000, 0.18) + triangle(i, 4000, 1.2); });
    const FilterRun r = runFilter(*sor);
    std::string types;
    for (long e = 0; e < r.count; ++e)
        types += r.events.data()[e].Type;
    EXPECT_EQ(types, "sRrRE");
    ASSERT_EQ(r.count, 5);
    EXPECT_GT(r.events.data()[1].GradeUp, r.events.data()[2].GradeUp);
    EXPECT_GT(r.events.data()[3].GradeUp, r.events.data()[1].GradeUp);
}

TEST(AutoFilterStart, FrontOffsetOfTheInstrument)
{
    // The instrument's front offset of 500 OWT units is point 100 (5 units
    // a point, and 500 > 0.9 * 5 * 100): the launch is looked for there and
    // nothing in front of it counts.
    const auto firstEvent = [](double reflection) {
        auto sor = fiberWith([&](long i) { return triangle(i, 100, reflection) + (i < 10 ? 6.0 : 0.0); });
        sor->AUXParams->LFPO = 500;
        TSorFilter f(sor.get());
        safe_array<TFEvent, 100> events{};
        f.Result.events = events.data();
        f.SetFilter(7);
        EXPECT_GE(f.Result.count, 2);
        return std::make_pair(events.data()[0], f.PwFall);
    };
    {
        // No reflection at the front: a plain launch at the point where the
        // trace stops rising (the stored levels stay equal over a few points;
        // the climb ends within pw2 + rise of the front), its top one pulse
        // (PwFall) behind that.
        const auto [launch, pw] = firstEvent(0.0);
        EXPECT_EQ(launch.Type, 's');
        EXPECT_EQ(launch.Beg, 100);
        EXPECT_GE(launch.PeakEnd, 100);
        EXPECT_LT(launch.PeakEnd, 100 + 12 + 20);
        EXPECT_EQ(launch.Peak1, launch.PeakEnd + pw);
        EXPECT_EQ(launch.Width, pw);
        EXPECT_GT(launch.End, launch.Peak1);
    }
    {
        // A reflection at the front: the walk starts in its rise.
        const auto [launch, pw] = firstEvent(3.0);
        EXPECT_EQ(launch.Type, 'r');
        EXPECT_EQ(launch.Beg, 100);
        EXPECT_EQ(launch.PeakEnd, 115);
        EXPECT_GE(launch.GradeUp, 1);
    }
}

TEST(AutoFilterStart, DataBeginningInFrontOfThePanel)
{
    // A front panel offset of 1500 OWT units puts time zero at point 300,
    // beyond 300 / 5 + PwFall / 10 + 1: the walk starts there, inside the
    // launch's rise.
    const auto firstEvent = [](double reflection) {
        auto sor = fiberWith([&](long i) { return triangle(i, 300, reflection); });
        sor->FxdParams->FPO = 1500;
        return runFilter(*sor).events.data()[0];
    };
    const TFEvent plain = firstEvent(0.0);
    EXPECT_EQ(plain.Type, 'I');  // no reflection of its own
    EXPECT_EQ(plain.Beg, 300);
    const TFEvent reflecting = firstEvent(3.0);
    EXPECT_EQ(reflecting.Type, 'r');
    EXPECT_EQ(reflecting.Beg, 300);
    EXPECT_EQ(reflecting.PeakEnd, 315);
}

TEST(AutoFilterMeasures, SecondRiseInsideAReflection)
{
    // A peak of -2 dB at 200 falls 2 dB a point to the fiber at 205; at 206
    // a second peak. The steepest fall from half-way down (202) is 2 dB a
    // point, so the rise to the second must exceed 4 dB, and the tops must
    // differ by 1 dB at least. The second starts at the foot, 205.
    const auto detect = [](double second) {
        auto sor = filtertest::makeTrace(400, [&](long i) {
            static const double peak[] = {-9, -6, -4, -3, -2, -4, -6, -8, -10, -12};
            if (i >= 196 && i <= 205)
                return peak[i - 196];
            // The second falls 1 dB a point back to the fiber.
            if (i >= 206)
                return std::max(second - static_cast<double>(i - 206), -12.0);
            return -12.0;
        });
        TSorFilter f(sor.get());
        return f.DoubleRDetect(200, 20);
    };
    EXPECT_EQ(detect(-7.0), 205);   // rises 5 dB, its top 5 dB under the first
    EXPECT_EQ(detect(-7.9), 205);   // rises 4.1 dB, just over twice the fall
    EXPECT_EQ(detect(-8.5), 0);     // rises 3.5 dB, under twice the fall
    EXPECT_EQ(detect(-3.1), 205);   // its top 1.1 dB under the first
    EXPECT_EQ(detect(-2.5), 0);     // its top only 0.5 dB under the first
}

namespace {

// A peak of -2 dB at 200 over a fiber at -10 dB, then from 201 the settling
// trace `ring(k)` times the fiber's power, k = i - 201.
std::unique_ptr<TSorData> peakWithTail(const std::function<double(long)>& ring)
{
    return filtertest::makeTrace(1000, [&](long i) {
        if (i < 200)
            return -10.0;
        if (i > 900)
            return -30.0;
        if (i == 200)
            return -2.0;
        return -10.0 + 5.0 * std::log10(ring(i - 201));
    });
}

} // namespace

TEST(AutoFilterMeasures, RingingIsADampedSine)
{
    // Ringing of 12 points whose swing keeps 0.6 of itself a cycle, with its
    // minimum half a point behind the peak's fall: the 2-sample means find
    // the first minimum at 201 and the first maximum at 207, half a period.
    constexpr double period = 12.0;
    const auto damped = [&](long k) {
        const double t = static_cast<double>(k);
        return 1.0 - 0.2 * std::pow(0.6, t / period) * std::cos(6.283185307 * (t - 0.5) / period);
    };
    const auto square = [&](long k) {
        const double t = static_cast<double>(k);
        return 1.0 - 0.2 * std::pow(0.6, t / period) * (std::cos(6.283185307 * (t - 0.5) / period) > 0 ? 1.0 : -1.0);
    };
    {
        auto sor = peakWithTail(damped);
        TSorFilter f(sor.get());
        const float threshold = 0.01f * f.Linf[500];
        const long end = f.ZvonDetect(200, 990, threshold, 12, 400);
        EXPECT_EQ(f.Result.RingPeriod, 12);
        // The swing 0.4 * 0.6^c stays over 5 * 0.01 / sqrt(12) for 5 cycles.
        EXPECT_GT(end, 201 + 5 * 12);
        EXPECT_LT(end, 201 + 12 * 12);
    }
    {
        // The same swings as a square wave: no sine fits, no ringing.
        auto sor = peakWithTail(square);
        TSorFilter f(sor.get());
        EXPECT_EQ(f.ZvonDetect(200, 990, 0.01f * f.Linf[500], 12, 400), 0);
    }
    // The fit itself: a damped sine on a sloping line fits to rounding, the
    // square wave leaves about 0.43 of its swing.
    std::vector<float> sine;
    std::vector<float> wave;
    for (long k = 0; k < 48; ++k) {
        const double line = 100.0 - 0.5 * static_cast<double>(k);
        sine.push_back(static_cast<float>(line + 100.0 * (damped(k) - 1.0)));
        wave.push_back(static_cast<float>(line + 20.0 * (static_cast<double>(k % 12) < 6.0 ? 1.0 : -1.0)));
    }
    EXPECT_LT(DampedSineFitError(sine.data(), 48, 12.0f), 0.01f);
    EXPECT_GT(DampedSineFitError(wave.data(), 48, 12.0f), 0.3f * 20.0f);
    EXPECT_EQ(DampedSineFitError(sine.data(), 7, 12.0f), std::numeric_limits<float>::infinity());
    EXPECT_EQ(DampedSineFitError(sine.data(), 48, 2.5f), std::numeric_limits<float>::infinity());
}
