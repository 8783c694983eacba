// The physics of the simulator, checked on its own traces read back through
// the trace document: attenuation, steps, reflections, noise, the end, the
// receiver and saturation.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "ref/ref-event.h"
#include "sim/sim-link.h"
#include "sim/sim-model.h"
#include "sim/sim-shot.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"

namespace {

// A shot, saved and loaded again as any trace is.
struct Loaded
{
    SimShot shot;
    SimModelOutput model;
    std::string bytes;
    std::unique_ptr<TSorData> data = std::make_unique<TSorData>();
    int status = -1;

    [[nodiscard]] double step() const { return shot.stepOwt(); }
    [[nodiscard]] long pointAt(double km) const { return std::lround(shot.kmToOwt(km) / step()); }
    [[nodiscard]] double kmOf(long n) const { return n * step() / shot.owtPerKm; }
    [[nodiscard]] double level(long n) const { return data->NumToLevel(n); }
    [[nodiscard]] long points() const { return data->DataPts->GetPointsNum(); }
};

Loaded simulate(const std::string& json, SimShotOptions options = {})
{
    Loaded l;
    l.shot = SimResolveShot(SimParseLink(json), options);
    l.model = SimRunModel(l.shot);
    TSorData built;
    SimBuildTrace(l.shot, l.model, built, false);
    TSorFile out("", "m");
    built.Write(&out);
    l.bytes.assign(out.GetData(), out.GetDataSize());
    TSorFile in(l.bytes.data(), static_cast<unsigned long>(l.bytes.size()));
    l.data->Read(&in);
    l.status = in.Status;
    return l;
}

// Least-squares line of level over km between two places.
struct Line
{
    double slope = 0.0;  // dB per km
    double at0 = 0.0;    // level at 0 km
    [[nodiscard]] double at(double km) const { return at0 + slope * km; }
};

Line fit(const Loaded& l, double fromKm, double toKm)
{
    double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (long p = l.pointAt(fromKm); p <= l.pointAt(toKm); ++p) {
        const double x = l.kmOf(p);
        const double y = l.level(p);
        n += 1;
        sx += x;
        sy += y;
        sxx += x * x;
        sxy += x * y;
    }
    Line line;
    line.slope = (n * sxy - sx * sy) / (n * sxx - sx * sx);
    line.at0 = (sy - line.slope * sx) / n;
    return line;
}

double peakBetween(const Loaded& l, double fromKm, double toKm)
{
    double peak = -100.0;
    for (long p = l.pointAt(fromKm); p <= l.pointAt(toKm); ++p)
        peak = std::max(peak, l.level(p));
    return peak;
}

std::string quietLink(const std::string& otdr, const std::string& elements)
{
    return R"({"otdr": {"spacing_m": 0.5, "range_km": 20, "launch_dB": -3, "noise_floor_dB": -60, )" + otdr +
           R"(}, "link": [)" + elements + "]}";
}

TEST(SimModel, AttenuationAndSplicesAtHighSignalToNoise)
{
    const std::string json = quietLink(R"("pulse_ns": 100, "receiver_mhz": 40)",
                                       R"({"connector": {"loss_dB": 0.3, "reflectance_dB": -50}},
        {"fiber": {"km": 5, "dB_per_km": {"1310": 0.34, "1550": 0.19}}},
        {"splice": {"loss_dB": 0.05}},
        {"fiber": {"km": 4, "dB_per_km": {"1310": 0.36, "1550": 0.25}}},
        {"splice": {"loss_dB": 0.2}},
        {"fiber": {"km": 3, "dB_per_km": 0.22}})");
    for (int nm : {1310, 1550}) {
        SCOPED_TRACE(nm);
        SimShotOptions options;
        options.wavelengthNm = nm;
        const Loaded l = simulate(json, options);
        ASSERT_EQ(l.status, fsOk);
        const double attenuation[] = {nm == 1310 ? 0.34 : 0.19, nm == 1310 ? 0.36 : 0.25, 0.22};
        const double starts[] = {0.0, 5.0, 9.0};
        for (int s = 0; s < 3; ++s) {
            const Line line = fit(l, starts[s] + 0.2, starts[s] + 2.9);
            EXPECT_NEAR(-line.slope, attenuation[s], attenuation[s] * 0.01) << "section " << s;
        }
        // The step across a splice: the lines on both sides at the splice.
        for (const auto& [km, loss] : {std::pair{5.0, 0.05}, std::pair{9.0, 0.2}}) {
            const Line before = fit(l, km - 2.0, km - 0.05);
            const Line after = fit(l, km + 0.1, km + 2.0);
            EXPECT_NEAR(before.at(km) - after.at(km), loss, 0.01) << "splice at " << km;
        }
    }
}

TEST(SimModel, ReflectionPeaksFollowTheirReflectance)
{
    const std::string json = R"({"otdr": {"spacing_m": 0.5, "range_km": 20, "launch_dB": -20, "noise_floor_dB": -60},
        "link": [{"fiber": {"km": 2}}, {"connector": {"loss_dB": 0, "reflectance_dB": -62}},
                 {"fiber": {"km": 2}}, {"connector": {"loss_dB": 0, "reflectance_dB": -48}},
                 {"fiber": {"km": 2}}, {"connector": {"loss_dB": 0, "reflectance_dB": -35}},
                 {"fiber": {"km": 2}}]})";
    for (double pulse : {20.0, 100.0, 1000.0}) {
        SimShotOptions options;
        options.pulseNs = pulse;
        const Loaded l = simulate(json, options);
        ASSERT_EQ(l.status, fsOk);
        const double bc = -0.1 * l.data->FxdParams->BC;
        const double pulseKm = 5.0 * pulse / l.shot.owtPerKm;
        for (const auto& [km, r] : {std::pair{2.0, -62.0}, std::pair{4.0, -48.0}, std::pair{6.0, -35.0}}) {
            const double base = fit(l, km - 1.0, km - 0.05).at(km);
            const double height = peakBetween(l, km, km + 2.0 * pulseKm) - base;
            EXPECT_NEAR(height, RefEventReflectionPower(r, pulse, bc), 0.5) << pulse << " ns, " << r << " dB";
        }
    }
}

TEST(SimModel, NoiseAndEnd)
{
    for (double floorDb : {-25.0, -40.0}) {
        SCOPED_TRACE(floorDb);
        const Loaded l = simulate(R"({"otdr": {"pulse_ns": 10, "receiver_mhz": 100, "spacing_m": 0.5,
            "range_km": 10, "launch_dB": -3, "noise_floor_dB": )" + std::to_string(floorDb) + R"(},
            "link": [{"fiber": {"km": 4.321}}, {"end": {}}]})");
        ASSERT_EQ(l.status, fsOk);
        // The end: where the trace leaves its backscatter line.
        const Line line = fit(l, 3.3, 4.3);
        long n = l.pointAt(4.0);
        while (n < l.points() && l.level(n) >= line.at(l.kmOf(n)) - 0.1)
            ++n;
        const double endPoint = l.shot.kmToOwt(4.321) / l.step();
        EXPECT_LE(std::fabs(n - endPoint), 1.0);

        // The noise past the end: zero-mean in the linear domain, its RMS at the floor.
        const TSorBlockAUXParameters& aux = *l.data->AUXParams;
        double sum = 0.0, squares = 0.0;
        long count = 0;
        for (long p = l.pointAt(4.6); p < l.points(); ++p) {
            const double x = aux.Log5ToLin(l.level(p), 0);
            sum += x;
            squares += x * x;
            ++count;
        }
        const double rms = std::sqrt(squares / count);
        EXPECT_NEAR(aux.LinToLog5(rms), floorDb, 0.5);
        EXPECT_LT(std::fabs(sum / count), 0.05 * rms);
        // The file's noise figures say the same.
        EXPECT_NEAR(aux.GetNoisePeak(), floorDb + 2.4, 1e-3);
        EXPECT_NEAR(l.data->FxdParams->GetNF(), floorDb + 2.4, 1e-3);
    }
}

// Points of a reflection near `km` that stand more than 0.5 dB above the
// backscatter behind it.
long deadZonePoints(const Loaded& l, double km)
{
    const Line after = fit(l, km + 1.0, km + 2.0);
    long n = l.pointAt(km) - 2;
    while (l.level(n) <= after.at(l.kmOf(n)) + 0.5)
        ++n;
    const long start = n;
    while (l.level(n) > after.at(l.kmOf(n)) + 0.5)
        ++n;
    return n - start;
}

TEST(SimModel, DeadZonesGrowWithThePulseAndWithSaturation)
{
    const std::string json = R"({"otdr": {"spacing_m": 0.5, "range_km": 20, "launch_dB": -3, "noise_floor_dB": -60},
        "link": [{"fiber": {"km": 3}}, {"connector": {"loss_dB": 0.2, "reflectance_dB": -45}},
                 {"fiber": {"km": 3}}, {"connector": {"loss_dB": 0.2, "reflectance_dB": -14}},
                 {"fiber": {"km": 3}}]})";
    long previous = 0;
    for (double pulse : {10.0, 100.0, 1000.0}) {
        SimShotOptions options;
        options.pulseNs = pulse;
        const Loaded l = simulate(json, options);
        const long pulsePoints = std::lround(5.0 * pulse / l.step());
        const long unsaturated = deadZonePoints(l, 3.0);
        const long saturated = deadZonePoints(l, 6.0);
        EXPECT_GE(unsaturated, pulsePoints) << pulse;
        EXPECT_GT(unsaturated, previous) << pulse;
        EXPECT_GT(saturated, unsaturated + 2) << pulse;
        previous = unsaturated;
        // The saturated reflection stands flat at the top of the scale.
        long flat = 0;
        for (long n = l.pointAt(6.0); n < l.pointAt(6.0) + 2 * pulsePoints + 4; ++n)
            flat += l.level(n) == 0.0 ? 1 : 0;
        EXPECT_GE(flat, pulsePoints - 2) << pulse;
    }
}

TEST(SimModel, ReceiverFallMatchesItsBandwidth)
{
    const Loaded l = simulate(R"({"otdr": {"pulse_ns": 1000, "receiver_mhz": 2, "spacing_m": 0.5, "range_km": 20,
        "launch_dB": -25, "noise_floor_dB": -60},
        "link": [{"fiber": {"km": 2}}, {"connector": {"loss_dB": 0, "reflectance_dB": -30}}, {"fiber": {"km": 2}}]})");
    const long peak = [&l] {
        long best = l.pointAt(2.0);
        for (long n = best; n < l.pointAt(2.3); ++n)
            if (l.level(n) > l.level(best))
                best = n;
        return best;
    }();
    // The fall from 1 dB to 6 dB below the peak.
    long a = peak;
    while (l.level(a) > l.level(peak) - 1.0)
        ++a;
    long b = a;
    while (l.level(b) > l.level(peak) - 6.0)
        ++b;
    const double fallDbPerKm = (l.level(a) - l.level(b)) / (l.kmOf(b) - l.kmOf(a));
    const double bwu = l.data->AUXParams->MM.at(0).BWU1;
    EXPECT_NEAR(bwu, 5.0 / std::log(10.0) / SimReceiverTauOwt(2.0) * l.shot.owtPerKm, 0.5);
    EXPECT_NEAR(fallDbPerKm, bwu, 0.05 * bwu);
}

TEST(SimModel, GainerOneWayLossTheOther)
{
    const std::string json = quietLink(R"("pulse_ns": 100)", R"({"fiber": {"km": 4}},
        {"splice": {"loss_dB": -0.12, "loss_back_dB": 0.32}}, {"fiber": {"km": 4}})");
    for (SimDirection direction : {SimDirection::Forward, SimDirection::Backward}) {
        SimShotOptions options;
        options.direction = direction;
        const Loaded l = simulate(json, options);
        const Line before = fit(l, 2.0, 3.95);
        const Line after = fit(l, 4.1, 6.0);
        const double expected = direction == SimDirection::Forward ? -0.12 : 0.32;
        EXPECT_NEAR(before.at(4.0) - after.at(4.0), expected, 0.01);
    }
}

TEST(SimModel, GhostsShowWhereTheEchoLands)
{
    const std::string link = R"("launch_dB": -3, "noise_floor_dB": -40, "spacing_m": 0.5, "range_km": 10},
        "link": [{"connector": {"loss_dB": 0.5, "reflectance_dB": -16}}, {"fiber": {"km": 1.5}},
                 {"connector": {"loss_dB": 0.5, "reflectance_dB": -20}}, {"fiber": {"km": 3}}]})";
    const Loaded plain = simulate(R"({"otdr": {"ghosts": false, )" + link);
    const Loaded ghosts = simulate(R"({"otdr": {"ghosts": true, )" + link);
    ASSERT_FALSE(ghosts.model.ghosts.empty());
    const SimGhost& g = ghosts.model.ghosts.front();
    EXPECT_NEAR(g.km, 3.0, 1e-9);
    // Port -16 dB and the connector -20 dB twice; the backscatter at 3 km has
    // crossed the connector's 0.5 dB both ways, which the echo never did.
    EXPECT_NEAR(g.reflectanceDb, -16.0 - 20.0 - 20.0 + 2 * 0.5, 1e-9);
    const double base = fit(plain, 2.5, 2.99).at(3.0);
    const double height = peakBetween(ghosts, 3.0, 3.03) - base;
    EXPECT_NEAR(height, RefEventReflectionPower(g.reflectanceDb, 100.0, -0.1 * ghosts.data->FxdParams->BC), 0.5);
    // Elsewhere the two traces are the same, noise and all.
    for (long n = ghosts.pointAt(0.5); n < ghosts.pointAt(2.5); ++n)
        ASSERT_EQ(ghosts.level(n), plain.level(n)) << n;
}

} // namespace
