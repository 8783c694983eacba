// The simulator's input: reading a link, its errors, and resolving it for one
// shot (wavelength, direction, grid).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "sim/sim-link.h"
#include "sim/sim-shot.h"

namespace {

std::string errorOf(const std::string& json, const SimLimits& limits = {})
{
    try {
        const SimLink link = SimParseLink(json, limits);
        (void)SimResolveShot(link, {}, limits);
    } catch (const SimError& e) {
        return e.what();
    }
    return "no error";
}

SimShot shotOf(const std::string& json, SimShotOptions options = {})
{
    return SimResolveShot(SimParseLink(json), options);
}

const char* const kLink = R"({
  "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 0.5, "range_km": 40,
           "group_index": 1.4682, "launch_dB": -3.0, "noise_floor_dB": -30.0},
  "link": [
    {"connector": {"loss_dB": 0.5, "reflectance_dB": -45}},
    {"fiber": {"km": 5.0, "dB_per_km": {"1310": 0.33, "1550": 0.19}}},
    {"splice": {"loss_dB": 0.08}},
    {"fiber": {"km": 3.0, "dB_per_km": 0.25}},
    {"bend": {"loss_dB": {"1310": 0.05, "1550": 0.4}}},
    {"splitter": {"ratio": 8, "excess_dB": 0.6, "reflectance_dB": -55}},
    {"fiber": {"km": 2.0}},
    {"end": {"reflectance_dB": -14}}
  ]
})";

TEST(SimLink, ValuesByWavelengthAndDefaults)
{
    const SimShot at1550 = shotOf(kLink);
    ASSERT_EQ(at1550.sections.size(), 3u);
    EXPECT_DOUBLE_EQ(at1550.sections[0].dBPerKm, 0.19);
    EXPECT_DOUBLE_EQ(at1550.sections[1].dBPerKm, 0.25);
    EXPECT_DOUBLE_EQ(at1550.sections[2].dBPerKm, SimDefaultAttenuation(1550));
    EXPECT_DOUBLE_EQ(at1550.backscatterDb, SimDefaultBackscatter(1550));
    ASSERT_EQ(at1550.events.size(), 5u);
    EXPECT_DOUBLE_EQ(at1550.events[2].lossDb, 0.4);
    // A splitter loses its split and its excess loss.
    EXPECT_NEAR(at1550.events[3].lossDb, 10.0 * std::log10(8.0) + 0.6, 1e-12);
    EXPECT_EQ(at1550.splitterRatios, std::vector<int>{8});

    SimShotOptions options;
    options.wavelengthNm = 1310;
    options.pulseNs = 30;
    const SimShot at1310 = shotOf(kLink, options);
    EXPECT_EQ(at1310.wavelengthNm, 1310);
    EXPECT_DOUBLE_EQ(at1310.pulseNs, 30.0);
    EXPECT_DOUBLE_EQ(at1310.sections[0].dBPerKm, 0.33);
    EXPECT_DOUBLE_EQ(at1310.events[2].lossDb, 0.05);

    // Defaults of an empty otdr: a standard range beyond the link and a
    // spacing that keeps the points within 128000.
    const SimShot plain = shotOf(R"({"link": [{"fiber": {"km": 9}}]})");
    EXPECT_DOUBLE_EQ(plain.rangeKm, 20.0);
    EXPECT_DOUBLE_EQ(plain.spacingM, 0.25);
    EXPECT_DOUBLE_EQ(plain.pulseNs, 100.0);
    EXPECT_DOUBLE_EQ(plain.launchDb, -3.0);
    EXPECT_DOUBLE_EQ(plain.noiseFloorDb, -31.0);
    ASSERT_EQ(plain.events.size(), 1u);  // the implicit non-reflective end
    EXPECT_EQ(plain.events[0].kind, SimElementKind::End);
    EXPECT_FALSE(plain.events[0].reflectanceDb);
    EXPECT_DOUBLE_EQ(plain.fiberEndKm, 9.0);
}

TEST(SimLink, GridAsTheTraceStoresIt)
{
    const SimShot shot = shotOf(kLink);
    // 0.5 m at the group index 1.4682: 24.4869 x 100 ps a point.
    EXPECT_EQ(shot.gi, 146820);
    EXPECT_NEAR(shot.owtPerKm, 1.4682 / 299792.5 * 1e10, 1e-6);
    EXPECT_EQ(shot.ds, 244869);
    EXPECT_EQ(shot.rangeOwt, std::lround(40.0 * shot.owtPerKm));
    EXPECT_EQ(shot.points, static_cast<long>(std::floor(shot.rangeOwt / 24.4869)) + 1);
    EXPECT_DOUBLE_EQ(shot.events[1].km, 5.0);
    EXPECT_DOUBLE_EQ(shot.events[2].km, 8.0);
    EXPECT_DOUBLE_EQ(shot.events[4].km, 10.0);
    // Levels: the launch, then each loss along the way.
    EXPECT_DOUBLE_EQ(shot.backscatterLevelAt(0.0), -3.0);
    EXPECT_NEAR(shot.backscatterLevelAt(6.0), -3.0 - 5 * 0.19 - 0.08 - 0.25, 1e-12);
    EXPECT_TRUE(std::isinf(shot.backscatterLevelAt(10.0)));
}

TEST(SimLink, BackwardIsTheLinkFromItsFarEnd)
{
    SimShotOptions back;
    back.direction = SimDirection::Backward;
    const SimShot shot = shotOf(kLink, back);
    ASSERT_EQ(shot.events.size(), 5u);
    // The port stays first and the end last; the rest runs reversed.
    EXPECT_EQ(shot.events[0].kind, SimElementKind::Connector);
    EXPECT_TRUE(shot.events[0].atPort);
    EXPECT_EQ(shot.events[1].kind, SimElementKind::Splitter);
    EXPECT_DOUBLE_EQ(shot.events[1].km, 2.0);
    EXPECT_EQ(shot.events[2].kind, SimElementKind::Bend);
    EXPECT_DOUBLE_EQ(shot.events[2].km, 2.0);
    EXPECT_EQ(shot.events[3].kind, SimElementKind::Splice);
    EXPECT_DOUBLE_EQ(shot.events[3].km, 5.0);
    EXPECT_EQ(shot.events[4].kind, SimElementKind::End);
    EXPECT_DOUBLE_EQ(shot.events[4].km, 10.0);
    EXPECT_DOUBLE_EQ(shot.sections[0].dBPerKm, SimDefaultAttenuation(1550));
    // The bend comes after the splitter now: its light lost the split first.
    EXPECT_NEAR(shot.events[2].lossBeforeDb, 2.0 * SimDefaultAttenuation(1550) + 10.0 * std::log10(8.0) + 0.6,
                1e-12);
}

TEST(SimLink, UnlikeFibersShowDifferentStepsEachWay)
{
    const std::string json = R"({"link": [
        {"fiber": {"km": 2, "backscatter_dB": -81.0}},
        {"splice": {"loss_dB": -0.1, "loss_back_dB": 0.3}},
        {"fiber": {"km": 2, "backscatter_dB": -81.0}},
        {"connector": {"loss_dB": 0.2}},
        {"fiber": {"km": 2, "backscatter_dB": -80.0}}]})";
    const SimShot forward = shotOf(json);
    SimShotOptions back;
    back.direction = SimDirection::Backward;
    const SimShot backward = shotOf(json, back);

    // The light loses the mean of the two steps either way.
    EXPECT_NEAR(forward.events[0].lossDb, 0.1, 1e-12);
    EXPECT_NEAR(forward.events[0].apparentLossDb, -0.1, 1e-12);
    EXPECT_NEAR(backward.events[1].apparentLossDb, 0.3, 1e-12);
    // A fiber of 1 dB more backscatter lifts the trace by 0.5 dB behind a
    // connector forward and drops it backward.
    EXPECT_NEAR(forward.events[1].apparentLossDb, 0.2 - 0.5, 1e-12);
    EXPECT_NEAR(backward.events[0].apparentLossDb, 0.2 + 0.5, 1e-12);
    // The trace's own levels agree with the steps.
    EXPECT_NEAR(forward.backscatterLevelAt(2.0) - forward.backscatterLevelAt(2.0 - 1e-9), 0.1, 1e-6);
    EXPECT_NEAR(backward.backscatterLevelAt(4.0 - 1e-9) - backward.backscatterLevelAt(4.0), 0.3, 1e-6);
}

TEST(SimLink, ErrorsNameTheKey)
{
    EXPECT_EQ(errorOf("{"), "not valid JSON: syntax error at line 1 near: ");
    EXPECT_EQ(errorOf("[]"), "the link file: expected an object");
    EXPECT_EQ(errorOf(R"({"otdr": {}})"), "link: missing");
    EXPECT_EQ(errorOf(R"({"link": []})"), "link: expected a list of elements");
    EXPECT_EQ(errorOf(R"({"link": [{"connector": {"loss_dB": 0.3}}]})"), "link: no fiber");
    EXPECT_EQ(errorOf(R"({"link": [{"fibre": {"km": 1}}]})"),
              "link[0].fibre: unknown element (connector, fiber, splice, bend, splitter or end)");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1, "length": 2}}]})"), "link[0].fiber.length: unknown key");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1, "_note": "comments pass"}}], "_about": "x"})"), "no error");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 0}}]})"), "link[0].fiber.km: 0 is outside (0, 500]");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": "1"}}]})"), "link[0].fiber.km: expected a number");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1}}, {"splice": {}}]})"), "link[1].splice.loss_dB: missing");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1}}, {"bend": {"loss_dB": {"1310": 0.1}}}]})"),
              "link[1].bend.loss_dB: no value for 1550 nm");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1, "dB_per_km": {"C-band": 0.2}}}]})"),
              "link[0].fiber.dB_per_km: 'C-band' is not a wavelength in nm (600 to 1700)");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1}}, {"end": {}}, {"fiber": {"km": 1}}]})"),
              "link[2].fiber: nothing may follow the end of the link");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1}}, {"splice": {"loss_dB": -0.1}}, {"fiber": {"km": 1}}]})"),
              "link[1].splice: a negative loss (a gainer) needs loss_back_dB, the loss seen from the far end");
    EXPECT_EQ(errorOf(R"({"otdr": {"ghosts": 1}, "link": [{"fiber": {"km": 1}}]})"),
              "otdr.ghosts: expected true or false");
    EXPECT_EQ(errorOf(R"({"otdr": {"seed": 1.5}, "link": [{"fiber": {"km": 1}}]})"),
              "otdr.seed: expected a whole number, not 1.5");
    EXPECT_EQ(errorOf(R"({"otdr": {"pulse_ns": 0.5}, "link": [{"fiber": {"km": 1}}]})"),
              "otdr.pulse_ns: 0.5 is outside [1, 20000]");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1}}, {"splitter": {"ratio": 1}}]})"),
              "link[1].splitter.ratio: 1 is outside [2, 1024]");
}

TEST(SimLink, LimitsStopHostileSizes)
{
    SimLimits limits;
    limits.maxPoints = 1000;
    EXPECT_EQ(errorOf(R"({"otdr": {"range_km": 1, "spacing_m": 0.5}, "link": [{"fiber": {"km": 0.4}}]})", limits),
              "otdr.range_km: a range of 1 km at 0.5 m makes 2001 points; at most 1000");
    limits.maxElements = 2;
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 1}}, {"fiber": {"km": 1}}, {"fiber": {"km": 1}}]})", limits),
              "link: 3 elements; at most 2");
    EXPECT_EQ(errorOf(R"({"link": [{"fiber": {"km": 300}}, {"fiber": {"km": 300}}]})"),
              "link: the fibers add up to 600 km; at most 500");
    // Nesting deeper than the parser follows is an error, not a crash.
    EXPECT_EQ(errorOf(std::string(100000, '[')).rfind("not valid JSON", 0), 0u);
}

} // namespace
