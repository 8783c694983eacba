// fibertest linkmap: the map of a link's traces, the file it writes, and its
// errors.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "cli-app.h"
#include "cli-test-helpers.h"
#include "link/link-map-json.h"
#include "support/files.h"
#include "support/temp-dir.h"

using clitest::Outcome;
using clitest::runTool;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

// A connector, a splice, a bend that only 1550 nm feels, the end.
const char* const kLink = R"({
  "otdr": {"wavelength_nm": 1550, "pulse_ns": 100, "spacing_m": 1, "range_km": 10, "seed": 4},
  "link": [{"connector": {"loss_dB": 0.4, "reflectance_dB": -48}}, {"fiber": {"km": 2.5}},
           {"splice": {"loss_dB": 0.3}}, {"fiber": {"km": 1.5}},
           {"bend": {"loss_dB": {"1310": 0.1, "1550": 1.5}}}, {"fiber": {"km": 1.0}},
           {"connector": {"loss_dB": 0.5, "reflectance_dB": -45}}, {"fiber": {"km": 0.5}},
           {"end": {"reflectance_dB": -14}}]
})";

// Four shots: 1310 and 1550 nm from both ends; with the true events, or raw.
std::vector<std::string> shoot(const TempDir& dir, bool withEvents)
{
    writeFile(dir.file("link.json"), kLink);
    std::vector<std::string> args;
    for (const char* direction : {"forward", "backward"})
        for (const char* nm : {"1310", "1550"}) {
            const std::string name = dir.file(std::string(direction) + "-" + nm + ".sor");
            std::vector<std::string> synth = {"synth", dir.file("link.json"), "-o", name, "--wavelength", nm,
                                              "--direction", direction};
            if (withEvents)
                synth.push_back("--with-events");
            const Outcome r = runTool(synth);
            EXPECT_EQ(r.status, cli::ExitDone) << r.err;
            args.push_back(direction[0] == 'f' ? "-f" : "-b");
            args.push_back(name);
        }
    return args;
}

std::vector<std::string> with(std::vector<std::string> head, const std::vector<std::string>& tail)
{
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

TEST(CliLinkMap, PrintsTheNodesAndWritesTheMap)
{
    TempDir dir;
    const std::vector<std::string> traces = shoot(dir, true);
    const Outcome r = runTool(with({"linkmap", "-o", dir.file("map.luscout")}, traces));
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    std::size_t at = 0;
    for (const char* row : {"linkStart ", "welding ", "macrobend ", "connector ", "linkEnd "}) {
        const std::size_t found = r.out.find(row, at);
        ASSERT_NE(found, std::string::npos) << row << "\n" << r.out;
        at = found;
    }
    EXPECT_NE(r.out.find("1310 nm: length 5.5"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("1550 nm: length 5.5"), std::string::npos) << r.out;

    // The file is the link-map format and holds the same nodes.
    const TLinkMap map = DeserializeLinkMapFromJson(readFile(dir.file("map.luscout")));
    ASSERT_EQ(map.GetNodesNum(), 5u);
    EXPECT_EQ(map.GetNode(2).GetType(), detail::TNode::macrobend);
    EXPECT_EQ(map.GetSourceTraces().size(), 4u);
    EXPECT_EQ(map.GetSourceTraces()[0].name, "forward-1310.sor");

    // --json prints that file; a folder as OUT gets the map under its usual name.
    const Outcome json = runTool(with({"linkmap", "--json", "-o", dir.path()}, traces));
    ASSERT_EQ(json.status, cli::ExitDone) << json.err;
    EXPECT_EQ(json.out, readFile(dir.file("link-map.luscout")) + "\n");
}

TEST(CliLinkMap, AnalysesRawTracesWhenAsked)
{
    TempDir dir;
    const std::vector<std::string> traces = shoot(dir, false);
    const Outcome refused = runTool(with({"linkmap", "-o", dir.file("map.luscout")}, traces));
    EXPECT_EQ(refused.status, cli::ExitBadInput);
    EXPECT_NE(refused.err.find("has no events: analyse it first"), std::string::npos) << refused.err;
    EXPECT_FALSE(std::ifstream(dir.file("map.luscout")).good());

    const Outcome r = runTool(with({"linkmap", "--analyze", "-o", dir.file("map.luscout")}, traces));
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    EXPECT_NE(r.out.find("macrobend "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("welding "), std::string::npos) << r.out;
}

TEST(CliLinkMap, UsageAndInputErrors)
{
    TempDir dir;
    const std::vector<std::string> traces = shoot(dir, true);
    EXPECT_EQ(runTool({"linkmap", "-o", dir.file("m")}).status, cli::ExitUsage);
    EXPECT_EQ(runTool(with({"linkmap"}, traces)).status, cli::ExitUsage);
    EXPECT_EQ(runTool(with({"linkmap", "--macrobend", "0", "-o", dir.file("m")}, traces)).status, cli::ExitUsage);
    const Outcome missing = runTool({"linkmap", "-f", dir.file("none.sor"), "-o", dir.file("m")});
    EXPECT_EQ(missing.status, cli::ExitBadInput);
    EXPECT_NE(missing.err.find("none.sor"), std::string::npos) << missing.err;
    // Nowhere to write: nothing half-written is left.
    const Outcome unwritable = runTool(with({"linkmap", "-o", dir.file("no/such/folder/m")}, traces));
    EXPECT_EQ(unwritable.status, cli::ExitBadInput);
}

} // namespace
