// The evaluation of found events against the truth, apart from any analysis:
// a trace whose key events are the true ones scores perfectly, and each edit
// of its table moves the figures by exactly what the edit implies.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "sim/sim-evaluate.h"
#include "sim/sim-link.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "support/files.h"

namespace {

// Events at 0 (the port), 5 km (0.3 dB), 10 km (0.05 dB: too small), 13 km
// (a connector) and the reflective end at 15 km.
const char* const linkJson = R"({
  "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 0.5, "range_km": 20,
           "launch_dB": -3.0, "noise_floor_dB": -30.0, "seed": 4},
  "link": [{"connector": {"loss_dB": 0.5, "reflectance_dB": -45}}, {"fiber": {"km": 5}},
           {"splice": {"loss_dB": 0.3}}, {"fiber": {"km": 5}}, {"splice": {"loss_dB": 0.05}},
           {"fiber": {"km": 3}}, {"connector": {"loss_dB": 0.5, "reflectance_dB": -40}},
           {"fiber": {"km": 2}}, {"end": {"reflectance_dB": -14}}]})";

const double owtPerKm = 1.4682 / 299792.5e-10;

struct Shot
{
    std::unique_ptr<TSorData> data = std::make_unique<TSorData>();
    SimTruth truth;
};

Shot synth(const std::string& link, const SimShotOptions& options = {})
{
    Shot shot;
    std::string truth;
    const std::string bytes = SimSynthesize(link, options, true, &truth);
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    shot.data->Read(&file);
    shot.truth = SimParseTruth(truth);
    return shot;
}

TSorBlockKeyEvents1E& event(Shot& shot, int i)
{
    return *shot.data->KeyEvents->Events.data[i];
}

void addEvent(Shot& shot, double km)
{
    auto* e = new TSorBlockKeyEvents1E();
    e->EPT = static_cast<std::int32_t>(std::lround(km * owtPerKm));
    e->EC = "0F9999";
    shot.data->KeyEvents->Events.AddData(e);
}

std::string parseError(const std::string& json)
{
    try {
        (void)SimParseTruth(json);
    } catch (const SimError& e) {
        return e.what();
    }
    return "accepted";
}

TEST(SimEvaluate, TrueEventsInTheTableScorePerfectly)
{
    const Shot shot = synth(linkJson);
    const SimEvaluation r = SimEvaluate(shot.truth, *shot.data);
    EXPECT_NEAR(r.pulseLengthKm, 500.0 / owtPerKm, 1e-9);
    EXPECT_NEAR(r.toleranceKm, 0.001 + 250.0 / owtPerKm, 1e-6);
    ASSERT_EQ(r.trueEvents.size(), 5u);
    EXPECT_EQ(r.trueEvents[0].whyNot, "near the start");
    EXPECT_EQ(r.trueEvents[2].whyNot, "too small");
    // The backscatter ahead of the splice: launch less 5 km at 0.19 dB/km, over a floor at -30 dB.
    EXPECT_NEAR(r.trueEvents[1].levelAboveNoiseDb, 30.0 - 3.0 - 0.95, 0.1);
    EXPECT_EQ(r.detectable, 3);
    EXPECT_EQ(r.hits, 3);
    EXPECT_EQ(r.matchedUndetectable, 2);
    EXPECT_EQ(r.falseEvents, 0);
    EXPECT_EQ(r.beyondEnd, 0);
    EXPECT_EQ(r.recall, 1.0);
    EXPECT_EQ(r.precision, 1.0);
    EXPECT_LT(r.location.maxAbs, 0.6 / owtPerKm);
    EXPECT_EQ(r.loss.count, 2);
    EXPECT_LE(r.loss.maxAbs, 0.0005 + 1e-9);
    EXPECT_EQ(r.reflectance.count, 2);
    EXPECT_LE(r.reflectance.maxAbs, 0.0005 + 1e-9);
    EXPECT_TRUE(r.endWithinTolerance);
    EXPECT_NEAR(r.endKm, 15.0, 1e-5);

    // Every scenario, both ways, both wavelengths.
    for (const auto& entry : std::filesystem::directory_iterator(FIBERTEST_SCENARIOS_DIR)) {
        const std::string json = testsupport::readFile(entry.path().string());
        for (const int nm : {1310, 1550})
            for (const SimDirection direction : {SimDirection::Forward, SimDirection::Backward}) {
                SimShotOptions options;
                options.wavelengthNm = nm;
                options.direction = direction;
                const Shot s = synth(json, options);
                const SimEvaluation e = SimEvaluate(s.truth, *s.data);
                SCOPED_TRACE(entry.path().filename().string() + " " + std::to_string(nm));
                EXPECT_GT(e.detectable, 0);
                EXPECT_EQ(e.recall, 1.0);
                EXPECT_EQ(e.precision, 1.0);
                EXPECT_LT(e.location.maxAbs, 0.6 / owtPerKm);
                EXPECT_LE(e.loss.maxAbs, 0.0005 + 1e-6);
                EXPECT_TRUE(e.endWithinTolerance);
                EXPECT_EQ(e.beyondEnd, 0);
            }
    }
}

TEST(SimEvaluate, EditedTablesChangeTheFiguresExactly)
{
    const auto evaluate = [](void (*edit)(Shot&)) {
        Shot shot = synth(linkJson);
        edit(shot);
        return SimEvaluate(shot.truth, *shot.data);
    };
    SimEvaluation r = evaluate([](Shot& s) { event(s, 1).EPT += 30; });
    EXPECT_NEAR(*r.trueEvents[1].locationErrorKm, 30.0 / owtPerKm, 0.51 / owtPerKm);
    EXPECT_EQ(r.hits, 3);

    // Moved out of the tolerance: a miss and a false event.
    r = evaluate([](Shot& s) { event(s, 1).EPT += 320; });
    EXPECT_EQ(r.hits, 2);
    EXPECT_EQ(r.falseEvents, 1);
    EXPECT_DOUBLE_EQ(r.recall, 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(r.precision, 2.0 / 3.0);

    r = evaluate([](Shot& s) { s.data->KeyEvents->Events.DelData(1); });
    EXPECT_DOUBLE_EQ(r.recall, 2.0 / 3.0);
    EXPECT_EQ(r.precision, 1.0);

    // Extra events: in the fiber, and past the end.
    r = evaluate([](Shot& s) { addEvent(s, 7.5); addEvent(s, 15.02); });
    EXPECT_EQ(r.falseEvents, 2);
    EXPECT_EQ(r.beyondEnd, 1);
    EXPECT_DOUBLE_EQ(r.precision, 3.0 / 5.0);
    EXPECT_EQ(r.recall, 1.0);

    // One to one, nearest first: of two candidates the nearer one wins.
    r = evaluate([](Shot& s) {
        addEvent(s, 5.004);
        event(s, 1).EPT += 98;  // 2 m
    });
    EXPECT_EQ(r.trueEvents[1].matchedFound, 1);
    EXPECT_EQ(r.found[5].verdict, SimFoundVerdict::False);
    EXPECT_DOUBLE_EQ(r.precision, 3.0 / 4.0);

    r = evaluate([](Shot& s) {
        event(s, 1).EL = 350;
        event(s, 1).FullLoss = 350;
        event(s, 3).ER = -41500;
        event(s, 4).ER = 0;
    });
    EXPECT_NEAR(*r.trueEvents[1].lossErrorDb, 0.05, 1e-9);
    EXPECT_NEAR(*r.trueEvents[3].reflectanceErrorDb, -1.5, 1e-9);
    EXPECT_EQ(r.reflectanceMissing, 1);
    EXPECT_EQ(r.reflectance.count, 1);

    // A saturated peak gives a lower bound: far below the truth it is no
    // error, above it it is one.
    r = evaluate([](Shot& s) {
        event(s, 3).EC = "2F9999";
        event(s, 3).ER = -55000;
    });
    EXPECT_EQ(r.reflectanceSaturated, 1);
    EXPECT_FALSE(r.trueEvents[3].reflectanceErrorDb.has_value());
    r = evaluate([](Shot& s) {
        event(s, 3).EC = "2F9999";
        event(s, 3).ER = -30000;
    });
    EXPECT_EQ(r.reflectanceSaturated, 0);
    EXPECT_NEAR(*r.trueEvents[3].reflectanceErrorDb, 10.0, 1e-9);

    // Without an end mark the farthest event stands for the end.
    r = evaluate([](Shot& s) {
        event(s, 4).EC = "1F9999";
        event(s, 4).EPT += 400;
    });
    EXPECT_NEAR(r.endErrorKm, 400.0 / owtPerKm, 0.51 / owtPerKm);
    EXPECT_FALSE(r.endWithinTolerance);
    EXPECT_EQ(r.beyondEnd, 1);
}

TEST(SimEvaluate, DetectabilityFollowsEachRuleAtItsBoundary)
{
    const Shot shot = synth(linkJson);
    const auto whyNot = [&shot](const std::function<void(SimTruth&)>& edit, std::size_t i) {
        SimTruth truth = shot.truth;
        edit(truth);
        return SimEvaluate(truth, *shot.data).trueEvents[i].whyNot;
    };
    EXPECT_EQ(whyNot([](SimTruth& t) { t.events[2].lossDb = 0.1; }, 2), "");
    EXPECT_EQ(whyNot([](SimTruth& t) { t.events[2].lossDb = -0.1; }, 2), "");
    EXPECT_EQ(whyNot([](SimTruth& t) { t.events[2].lossDb = 0.0999; }, 2), "too small");
    EXPECT_EQ(whyNot([](SimTruth& t) { t.events[2].reflectanceDb = -60.0; }, 2), "");
    EXPECT_EQ(whyNot([](SimTruth& t) { t.events[2].reflectanceDb = -60.001; }, 2), "too small");

    const double pulseKm = 500.0 / owtPerKm;
    const auto moveSecondSplice = [](double km) { return [km](SimTruth& t) { t.events[2].km = km; }; };
    EXPECT_EQ(whyNot(moveSecondSplice(5.0 + 2.0 * pulseKm + 1e-9), 1), "");
    EXPECT_EQ(whyNot(moveSecondSplice(5.0 + 2.0 * pulseKm - 1e-6), 1), "close to a neighbour");
    EXPECT_EQ(whyNot([&](SimTruth& t) { t.events.erase(t.events.begin()); t.events[0].km = 1.5 * pulseKm; }, 0),
              "near the start");

    // The noise floor raised to 5 dB below the level, then a little more.
    const double level = SimEvaluate(shot.truth, *shot.data).trueEvents[1].levelAboveNoiseDb - 30.0;
    EXPECT_EQ(whyNot([&](SimTruth& t) { t.noiseFloorDb = level - 5.0; }, 1), "");
    EXPECT_EQ(whyNot([&](SimTruth& t) { t.noiseFloorDb = level - 5.0 + 1e-6; }, 1), "in the noise");
    // Below 15 dB over the noise the loss error is not measured: the connector at 13 km drops out.
    SimTruth truth = shot.truth;
    truth.noiseFloorDb = SimEvaluate(shot.truth, *shot.data).trueEvents[3].levelAboveNoiseDb - 30.0 - 14.99;
    EXPECT_EQ(SimEvaluate(truth, *shot.data).loss.count, 1);
}

TEST(SimEvaluate, PercentileAndBadInput)
{
    std::vector<double> values;
    for (int i = 1; i <= 20; ++i)
        values.push_back(i % 2 == 0 ? i : -i);
    EXPECT_EQ(SimPercentile95Abs(values), 19.0);
    values.push_back(-21.0);
    EXPECT_EQ(SimPercentile95Abs(values), 20.0);
    EXPECT_EQ(SimPercentile95Abs({-3.0}), 3.0);
    EXPECT_EQ(SimPercentile95Abs({}), 0.0);

    const std::string head = R"({"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 0.5, "fiber_end_km": 1, )";
    EXPECT_EQ(parseError(head + R"("events": [{"km": 1, "kind": "end"}]})"), "accepted");
    EXPECT_EQ(parseError("[1"), "truth: not JSON: syntax error at line 1 near: ");
    EXPECT_EQ(parseError("{}"), "wavelength_nm: missing");
    EXPECT_EQ(parseError(head + R"("events": {}})"), "events: needs a list");
    EXPECT_EQ(parseError(head + R"("events": [{"km": -1, "kind": "end"}]})"),
              "events[0].km: needs a number from 0 to 10000, not -1");
    EXPECT_EQ(parseError(head + R"("events": [{"km": 1}]})"), "events[0].kind: missing");
    EXPECT_EQ(parseError(head + R"("events": [{"km": 1, "kind": "end", "loss_dB": "x"}]})"),
              "events[0].loss_dB: needs a number");

    TSorData empty;
    SimTruth truth = SimParseTruth(head + R"("events": [{"km": 1, "kind": "end"}]})");
    truth.groupIndex = 1.4682;
    try {
        (void)SimEvaluate(truth, empty);
        ADD_FAILURE() << "a trace without points was evaluated";
    } catch (const SimError& e) {
        EXPECT_STREQ(e.what(), "trace: has no points");
    }
}

} // namespace
