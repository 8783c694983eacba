// fibertest synth: the trace and the truth it writes, its options and its errors.
#include <gtest/gtest.h>
#include <picojson.h>

#include <filesystem>
#include <string>

#include "cli-app.h"
#include "cli-test-helpers.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "support/files.h"
#include "support/temp-dir.h"

using clitest::Outcome;
using clitest::parsedJson;
using clitest::runTool;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

const char* const kLink = R"({
  "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 1, "range_km": 10, "seed": 4},
  "link": [
    {"connector": {"loss_dB": 0.4, "reflectance_dB": -48}},
    {"fiber": {"km": 2.5}},
    {"splice": {"loss_dB": 0.1}},
    {"fiber": {"km": 1.5}},
    {"end": {"reflectance_dB": -14}}
  ]
})";

TEST(CliSynth, WritesAGenuineTraceAndItsTruth)
{
    TempDir dir;
    const std::string link = dir.file("link.json");
    writeFile(link, kLink);
    const Outcome r = runTool({"synth", link, "-o", dir.file("a.sor"), "--truth", dir.file("a.json"),
                               "--with-events"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "");

    TSorData data;
    ASSERT_EQ(data.Read(dir.file("a.sor").c_str(), "rb"), fsOk);
    EXPECT_EQ(data.Untrusted, 0);
    EXPECT_EQ(data.GenParams->NW, 1550);
    ASSERT_EQ(data.KeyEvents->Events.count, 3);
    EXPECT_EQ(data.KeyEvents->Events.data[1]->EL, 100);
    EXPECT_EQ(data.KeyEvents->Events.data[2]->ER, -14000);

    const picojson::value truth = parsedJson(readFile(dir.file("a.json")));
    EXPECT_EQ(truth.get("direction").get<std::string>(), "forward");
    EXPECT_EQ(truth.get("wavelength_nm").get<double>(), 1550.0);
    EXPECT_EQ(truth.get("pulse_ns").get<double>(), 100.0);
    EXPECT_DOUBLE_EQ(truth.get("fiber_end_km").get<double>(), 4.0);
    const picojson::array& events = truth.get("events").get<picojson::array>();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[1].get("kind").get<std::string>(), "splice");
    EXPECT_DOUBLE_EQ(events[1].get("km").get<double>(), 2.5);
    EXPECT_DOUBLE_EQ(events[1].get("loss_dB").get<double>(), 0.1);
    EXPECT_TRUE(events[1].get("reflectance_dB").is<picojson::null>());
    EXPECT_TRUE(events[2].get("loss_dB").is<picojson::null>());
    EXPECT_DOUBLE_EQ(events[2].get("reflectance_dB").get<double>(), -14.0);

    // The same input and seed, the same bytes; another seed, other noise.
    ASSERT_EQ(runTool({"synth", link, "-o", dir.file("b.sor"), "--with-events"}).status, cli::ExitDone);
    EXPECT_EQ(readFile(dir.file("a.sor")), readFile(dir.file("b.sor")));
    ASSERT_EQ(runTool({"synth", link, "-o", dir.file("c.sor"), "--with-events", "--seed", "5"}).status,
              cli::ExitDone);
    EXPECT_NE(readFile(dir.file("a.sor")), readFile(dir.file("c.sor")));
}

TEST(CliSynth, OptionsOverTheLinkFile)
{
    TempDir dir;
    const std::string link = dir.file("link.json");
    writeFile(link, kLink);
    const Outcome r = runTool({"synth", link, "-o", dir.file("b.sor"), "--truth", dir.file("b.json"),
                               "--wavelength", "1310", "--pulse", "30", "--direction", "backward"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    const picojson::value truth = parsedJson(readFile(dir.file("b.json")));
    EXPECT_EQ(truth.get("direction").get<std::string>(), "backward");
    EXPECT_EQ(truth.get("wavelength_nm").get<double>(), 1310.0);
    EXPECT_EQ(truth.get("pulse_ns").get<double>(), 30.0);
    // Seen from the far end the splice stands 1.5 km from the start.
    EXPECT_DOUBLE_EQ(truth.get("events").get<picojson::array>()[1].get("km").get<double>(), 1.5);
    TSorData data;
    ASSERT_EQ(data.Read(dir.file("b.sor").c_str(), "rb"), fsOk);
    EXPECT_EQ(data.KeyEvents->Events.count, 0);
}

TEST(CliSynth, UsageAndInputErrors)
{
    TempDir dir;
    const std::string link = dir.file("link.json");
    writeFile(link, kLink);
    const std::string out = dir.file("x.sor");

    const Outcome noOutput = runTool({"synth", link});
    EXPECT_EQ(noOutput.status, cli::ExitUsage);
    EXPECT_NE(noOutput.err.find("missing option '--output'"), std::string::npos) << noOutput.err;
    const Outcome badDirection = runTool({"synth", link, "-o", out, "--direction", "sideways"});
    EXPECT_EQ(badDirection.status, cli::ExitUsage);
    EXPECT_NE(badDirection.err.find("'forward' or 'backward', not 'sideways'"), std::string::npos);
    EXPECT_EQ(runTool({"synth", link, "-o", out, "--wavelength", "5000"}).status, cli::ExitUsage);
    EXPECT_EQ(runTool({"synth", link, "-o", out, "--seed", "-1"}).status, cli::ExitUsage);
    EXPECT_EQ(runTool({"synth", link, "-o", out, "--pulse", "0"}).status, cli::ExitUsage);

    const Outcome missing = runTool({"synth", dir.file("none.json"), "-o", out});
    EXPECT_EQ(missing.status, cli::ExitBadInput);
    EXPECT_EQ(missing.err.rfind("fibertest synth: cannot read '", 0), 0u) << missing.err;

    const std::string broken = dir.file("broken.json");
    writeFile(broken, R"({"link": [{"fiber": {"km": -1}}]})");
    const Outcome bad = runTool({"synth", broken, "-o", out, "--truth", dir.file("x.json")});
    EXPECT_EQ(bad.status, cli::ExitBadInput);
    EXPECT_EQ(bad.err, "fibertest synth: '" + broken + "': link[0].fiber.km: -1 is outside (0, 500]\n");
    // Nothing half-written.
    EXPECT_FALSE(std::filesystem::exists(out));
    EXPECT_FALSE(std::filesystem::exists(dir.file("x.json")));

    // A truth file that cannot be written takes the trace with it.
    const Outcome noTruth = runTool({"synth", link, "-o", out, "--truth", dir.file("no/such/folder/t.json")});
    EXPECT_EQ(noTruth.status, cli::ExitBadInput);
    EXPECT_FALSE(std::filesystem::exists(out));
}

} // namespace
