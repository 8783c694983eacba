// fibertest evaluate: its report on a trace whose events are the true ones,
// on an edited table, and its errors.
#include <gtest/gtest.h>
#include <picojson.h>

#include <string>

#include "cli-app.h"
#include "cli-test-helpers.h"
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

// Detectable: the splice at 2.5 km and the end; the connector at the port is not.
const char* const kLink = R"({
  "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 1, "range_km": 10, "seed": 4},
  "link": [{"connector": {"loss_dB": 0.4, "reflectance_dB": -48}}, {"fiber": {"km": 2.5}},
           {"splice": {"loss_dB": 0.25}}, {"fiber": {"km": 1.5}}, {"end": {"reflectance_dB": -14}}]
})";

// Synthesises the link with its true events in the table.
void synth(const TempDir& dir)
{
    writeFile(dir.file("link.json"), kLink);
    const Outcome r = runTool({"synth", dir.file("link.json"), "-o", dir.file("a.sor"), "--truth",
                               dir.file("a.json"), "--with-events"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
}

TEST(CliEvaluate, ReportsAPerfectTableAndAnEditedOne)
{
    TempDir dir;
    synth(dir);
    Outcome r = runTool({"evaluate", dir.file("a.json"), dir.file("a.sor")});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    EXPECT_NE(r.out.find("Recall       100.0 % (2 of 2 detectable events found)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Precision    100.0 % (3 found: 2 hits, 0 false, 1 at events not required)\n"),
              std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Beyond end   0 events\n"), std::string::npos);
    EXPECT_NE(r.out.find("near the start"), std::string::npos);

    r = runTool({"evaluate", dir.file("a.json"), dir.file("a.sor"), "--json"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    picojson::object o = parsedObject(r.out);
    EXPECT_EQ(o["recall"].get<double>(), 1.0);
    EXPECT_EQ(o["precision"].get<double>(), 1.0);
    EXPECT_EQ(o["false"].get<double>(), 0.0);
    EXPECT_EQ(o["end"].get<picojson::object>()["within_tolerance"].get<bool>(), true);
    EXPECT_EQ(o["true"].get<picojson::array>().size(), 3u);
    EXPECT_TRUE(o["true"].get<picojson::array>()[0].get<picojson::object>()["found"].is<double>());

    // Drop the splice, move the end 40 m out: recall 1/2, one false event beyond the end.
    TSorData data;
    ASSERT_EQ(data.Read(dir.file("a.sor").c_str(), "rb"), fsOk);
    data.KeyEvents->Events.DelData(1);
    data.KeyEvents->Events.data[1]->EPT += 1959;  // 40 m at a group index of 1.4682
    ASSERT_EQ(data.Write(dir.file("b.sor").c_str(), "wb"), fsOk);
    r = runTool({"evaluate", dir.file("a.json"), dir.file("b.sor"), "--json"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    o = parsedObject(r.out);
    EXPECT_EQ(o["recall"].get<double>(), 0.0);
    EXPECT_EQ(o["precision"].get<double>(), 0.0);
    EXPECT_EQ(o["beyond_end"].get<double>(), 1.0);
    EXPECT_NEAR(o["end"].get<picojson::object>()["error_km"].get<double>(), 0.04, 2e-5);
    EXPECT_EQ(o["end"].get<picojson::object>()["within_tolerance"].get<bool>(), false);
    const picojson::array& found = o["found_events"].get<picojson::array>();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[1].get<picojson::object>().at("verdict").get<std::string>(), "false");
}

TEST(CliEvaluate, RefusesWhatItCannotUse)
{
    TempDir dir;
    synth(dir);
    writeFile(dir.file("bad.json"), R"({"wavelength_nm": 1550, "spacing_m": 1})");
    Outcome r = runTool({"evaluate", dir.file("bad.json"), dir.file("a.sor")});
    EXPECT_EQ(r.status, cli::ExitBadInput);
    EXPECT_EQ(r.err, "fibertest evaluate: '" + dir.file("bad.json") + "': pulse_ns: missing\n");
    EXPECT_EQ(r.out, "");

    r = runTool({"evaluate", dir.file("missing.json"), dir.file("a.sor")});
    EXPECT_EQ(r.status, cli::ExitBadInput);
    EXPECT_EQ(r.err, "fibertest evaluate: cannot read '" + dir.file("missing.json") +
                         "': No such file or directory\n");

    // The truth is not a trace.
    r = runTool({"evaluate", dir.file("a.json"), dir.file("a.json")});
    EXPECT_EQ(r.status, cli::ExitBadInput);

    r = runTool({"evaluate", dir.file("a.json")});
    EXPECT_EQ(r.status, cli::ExitUsage);
}

} // namespace
