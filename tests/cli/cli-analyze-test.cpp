// fibertest analyze: the table and summary it prints, the trace it saves, its
// thresholds file and its errors.
#include <gtest/gtest.h>
#include <picojson.h>

#include <string>
#include <utility>
#include <vector>

#include "cli-app.h"
#include "cli-test-helpers.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "support/files.h"
#include "support/temp-dir.h"

using clitest::Outcome;
using clitest::parsedObject;
using clitest::runTool;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const char* const kLink = R"({
  "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 1, "range_km": 10, "seed": 4},
  "link": [{"connector": {"loss_dB": 0.4, "reflectance_dB": -48}}, {"fiber": {"km": 2.5}},
           {"splice": {"loss_dB": 0.5}}, {"fiber": {"km": 1.5}}, {"end": {"reflectance_dB": -14}}]
})";

void synth(const TempDir& dir)
{
    writeFile(dir.file("link.json"), kLink);
    const Outcome r =
        runTool({"synth", dir.file("link.json"), "-o", dir.file("a.sor"), "--truth", dir.file("a.json")});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
}

TEST(CliAnalyze, PrintsTheTableAndSavesTheAnalysedTrace)
{
    TempDir dir;
    synth(dir);
    Outcome r = runTool({"analyze", dir.file("a.sor"), "-o", dir.file("b.sor"), "--json"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    picojson::object o = parsedObject(r.out);
    ASSERT_TRUE(o["events"].is<picojson::array>()) << r.out;
    const picojson::array& events = o["events"].get<picojson::array>();
    ASSERT_GE(events.size(), 2u) << r.out;
    for (const picojson::value& v : events) {
        picojson::object e = v.get<picojson::object>();
        const std::string code = e["code"].get<std::string>();
        ASSERT_EQ(code.size(), 6u);
        // Null where a value does not apply: no loss at the end, no reflectance on a non-reflective event.
        EXPECT_EQ(e["loss_dB"].is<picojson::null>(), code[1] == 'E') << code;
        if (code[0] == '0') {
            EXPECT_TRUE(e["reflectance_dB"].is<picojson::null>()) << code;
        }
        EXPECT_TRUE(e["km"].is<double>());
        EXPECT_TRUE(e.count("attenuation_dB_per_km") == 1);
    }
    const picojson::object last = events.back().get<picojson::object>();
    EXPECT_EQ(o["length_km"].get<double>(), last.at("km").get<double>());
    EXPECT_TRUE(o["total_loss_dB"].is<double>());
    EXPECT_TRUE(o["orl_dB"].is<double>());

    // The saved trace holds the table that was printed.
    TSorData data;
    ASSERT_EQ(data.Read(dir.file("b.sor").c_str(), "rb"), fsOk);
    EXPECT_EQ(static_cast<std::size_t>(data.KeyEvents->Events.count), events.size());
    EXPECT_EQ(data.KeyEvents->Events.data[0]->EN, 1);

    r = runTool({"analyze", dir.file("a.sor")});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    EXPECT_EQ(r.out.rfind("   #  code        km        loss dB   refl dB  att dB/km  total dB\n", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("\nFiber length  "), std::string::npos);
    EXPECT_NE(r.out.find("\nTotal loss    "), std::string::npos);
    EXPECT_NE(r.out.find("\nORL           "), std::string::npos);

    // The analysed trace evaluates against its truth.
    r = runTool({"evaluate", dir.file("a.json"), dir.file("b.sor"), "--json"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    EXPECT_TRUE(parsedObject(r.out)["end"].get<picojson::object>()["found"].get<bool>());
}

TEST(CliAnalyze, ReadsThresholdsFromAnIniSectionAndRefusesBadOnes)
{
    TempDir dir;
    synth(dir);
    const std::string ini = dir.file("th.ini");
    writeFile(ini, "[NON]\nTHLoss=0.2\n[coarse]\nTHLoss=3.0\nTHRef=-20.0\n");
    // The thresholds in force go into the saved trace's fixed parameters.
    const auto thresholdsSaved = [&](const std::vector<std::string>& options) {
        std::vector<std::string> args = {"analyze", dir.file("a.sor"), "-o", dir.file("t.sor"), "--ini", ini};
        args.insert(args.end(), options.begin(), options.end());
        const Outcome run = runTool(args);
        EXPECT_EQ(run.status, cli::ExitDone) << run.err;
        TSorData data;
        EXPECT_EQ(data.Read(dir.file("t.sor").c_str(), "rb"), fsOk);
        return std::make_pair(data.FxdParams->LT, data.FxdParams->RT);
    };
    EXPECT_EQ(thresholdsSaved({}), std::make_pair(std::uint16_t{200}, std::uint16_t{60000}));
    EXPECT_EQ(thresholdsSaved({"--section", "coarse"}), std::make_pair(std::uint16_t{3000}, std::uint16_t{20000}));

    Outcome r = runTool({"analyze", dir.file("a.sor"), "--ini", ini, "--section", "fine"});
    EXPECT_EQ(r.status, cli::ExitBadInput);
    EXPECT_EQ(r.err, "fibertest analyze: '" + ini + "' has no section 'fine'\n");
    r = runTool({"analyze", dir.file("a.sor"), "--ini", dir.file("none.ini")});
    EXPECT_EQ(r.status, cli::ExitBadInput);
    EXPECT_EQ(r.err, "fibertest analyze: cannot read thresholds from '" + dir.file("none.ini") + "'\n");
    r = runTool({"analyze", dir.file("a.sor"), "--section", "coarse"});
    EXPECT_EQ(r.status, cli::ExitUsage);
    r = runTool({"analyze", dir.file("a.json")});
    EXPECT_EQ(r.status, cli::ExitBadInput);
    EXPECT_EQ(r.out, "");
}

} // namespace
