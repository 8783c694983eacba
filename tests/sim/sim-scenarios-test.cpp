// The scenario library: every scenario, both directions, two wavelengths,
// reads back as a genuine trace of ours; the truth and the key events agree
// with the link; the same seed gives the same bytes.
#include <gtest/gtest.h>
#include <picojson.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "sim/sim-link.h"
#include "sim/sim-shot.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "support/files.h"

namespace {

std::vector<std::string> scenarios()
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(FIBERTEST_SCENARIOS_DIR))
        if (entry.path().extension() == ".json")
            paths.push_back(entry.path().string());
    std::sort(paths.begin(), paths.end());
    return paths;
}

SimShotOptions optionsFor(int nm, SimDirection direction)
{
    SimShotOptions options;
    options.wavelengthNm = nm;
    options.direction = direction;
    return options;
}

TEST(SimScenarios, EveryScenarioReadsBackAsOurOwnTrace)
{
    const std::vector<std::string> paths = scenarios();
    ASSERT_GE(paths.size(), 7u);
    for (const std::string& path : paths) {
        const std::string json = testsupport::readFile(path);
        for (int nm : {1310, 1550})
            for (SimDirection direction : {SimDirection::Forward, SimDirection::Backward}) {
                SCOPED_TRACE(path + " at " + std::to_string(nm) +
                             (direction == SimDirection::Forward ? " forward" : " backward"));
                std::string truthText;
                const std::string bytes = SimSynthesize(json, optionsFor(nm, direction), true, &truthText);
                TSorData data;
                TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
                data.Read(&file);
                ASSERT_EQ(file.Status, fsOk);
                EXPECT_EQ(data.Untrusted, 0);
                EXPECT_EQ(data.RevisionNo, 200);
                EXPECT_EQ(data.SupParams->SN, SimSupplierName);
                EXPECT_EQ(data.AUXParams->RevisionNo, 228);
                EXPECT_EQ(data.AUXParams->TYP, "RL");
                EXPECT_EQ(data.FxdParams->TPW, 1);
                EXPECT_EQ(data.DataPts->GetPointsSubBlockScaleFactor(0), 1000);
                EXPECT_EQ(data.DataPts->GetPointsNum(), data.FxdParams->NPPW[0]);
                EXPECT_NE(data.AUXParams->MM.at(0).BWU1, 0);

                // The truth and the key events name the same events at the same places.
                picojson::value truth;
                ASSERT_EQ(picojson::parse(truth, truthText), "");
                const picojson::array& events = truth.get("events").get<picojson::array>();
                ASSERT_EQ(data.KeyEvents->Events.count, static_cast<int>(events.size()));
                const double owtPerKm = data.FxdParams->GI * 1e-5 / (299792.5 * 1e-10);
                long previousEpt = -1;
                for (int i = 0; i < data.KeyEvents->Events.count; ++i) {
                    const TSorBlockKeyEvents1E& e = *data.KeyEvents->Events.data[i];
                    const picojson::value& t = events[static_cast<std::size_t>(i)];
                    EXPECT_NEAR(e.EPT, t.get("km").get<double>() * owtPerKm, 0.5001);
                    EXPECT_EQ(e.CMT, t.get("kind").get<std::string>().c_str());
                    const picojson::value& r = t.get("reflectance_dB");
                    EXPECT_EQ(e.ER, r.is<double>() ? std::lround(r.get<double>() * 1000.0) : 0L);
                    const picojson::value& loss = t.get("loss_dB");
                    // The truth keeps 1e-6 dB, the table 0.001 dB.
                    EXPECT_NEAR(e.EL, loss.is<double>() ? loss.get<double>() * 1000.0 : 0.0, 0.5001);
                    EXPECT_GE(e.EPT, previousEpt);
                    EXPECT_LE(e.ML0, e.ML1);
                    EXPECT_LE(e.ML1, std::max(e.EPT, e.ML0));
                    EXPECT_LE(e.ML2, e.ML3);
                    EXPECT_GE(e.ML2, e.EPT);
                    previousEpt = e.EPT;
                }
                EXPECT_EQ(data.KeyEvents->Events.data[events.size() - 1]->EC.data[1], 'E');
                EXPECT_DOUBLE_EQ(truth.get("fiber_end_km").get<double>(), events.back().get("km").get<double>());
            }
    }
}

TEST(SimScenarios, SameInputSameBytes)
{
    const std::string json = testsupport::readFile(std::string(FIBERTEST_SCENARIOS_DIR) + "/splices-25km.json");
    SimShotOptions options;
    const std::string a = SimSynthesize(json, options, false);
    const std::string b = SimSynthesize(json, options, false);
    EXPECT_EQ(a, b);
    options.seed = 26;
    const std::string c = SimSynthesize(json, options, false);
    EXPECT_EQ(c.size(), a.size());
    EXPECT_NE(c, a);

    // Without --with-events the table is empty.
    TSorData data;
    TSorFile file(a.data(), static_cast<unsigned long>(a.size()));
    data.Read(&file);
    EXPECT_EQ(data.KeyEvents->Events.count, 0);
}

TEST(SimScenarios, MacrobendShowsAtTheLongWavelength)
{
    const std::string json = testsupport::readFile(std::string(FIBERTEST_SCENARIOS_DIR) + "/macrobend.json");
    const SimShot at1310 = SimResolveShot(SimParseLink(json), optionsFor(1310, SimDirection::Forward));
    const SimShot at1550 = SimResolveShot(SimParseLink(json), optionsFor(1550, SimDirection::Forward));
    const auto bend = [](const SimShot& s) {
        return *std::find_if(s.events.begin(), s.events.end(),
                             [](const SimEvent& e) { return e.kind == SimElementKind::Bend; });
    };
    // Losses that differ between wavelengths by over 1 dB, as a macrobend's do.
    EXPECT_LT(bend(at1310).lossDb, 0.2);
    EXPECT_GT(bend(at1550).lossDb - bend(at1310).lossDb, 1.0);
}

} // namespace
