#include <gtest/gtest.h>
#include <picojson.h>

#include <sstream>
#include <string>

#include "cli-app.h"
#include "cli-test-helpers.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "support/files.h"
#include "support/temp-dir.h"

using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

using clitest::Outcome;
using clitest::runTool;

namespace {


std::vector<std::string> sharedTraces()
{
    std::vector<std::string> paths;
    const std::string dir = testsupport::tracesDir();
    for (const char* name : {"demo_ab.sor", "JDSU_MTS6000_1550_G.sor", "anritsu-mt1000a-1310_0045.sor",
                             "example1-noyes-ofl280.sor", "example2-exfo-maxtester730c.sor",
                             "example4-exfo-ftb4ftbx730c-mfdgainer-1310nm.sor", "EXFO_FTB7400_1550_U.SOR",
                             "anritsu-cma4500-issue15b.sor", "fibercloud-fc3200-otdr2.sor"})
        if (!dir.empty())
            paths.push_back(dir + "/" + name);
    return paths;
}

// A trace of ours in a temporary folder.
std::string writeSample(const TempDir& dir)
{
    TSorData data;
    data.GenParams->CID = "C-1";
    data.GenParams->NW = 1550;
    auto* event = new TSorBlockKeyEvents1E();
    event->EPT = 10000;
    event->EL = 250;
    data.KeyEvents->Events.AddData(event);
    data.KeyEvents->TNKE = 1;
    const std::string path = dir.file("sample.sor");
    EXPECT_EQ(data.Write(path.c_str(), "wb"), fsOk);
    return path;
}

void expectOneLineError(const Outcome& r, const std::string& command, const std::string& fragment)
{
    EXPECT_EQ(r.status, cli::ExitBadInput);
    EXPECT_EQ(r.err.rfind("fibertest " + command + ": ", 0), 0u) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
    EXPECT_NE(r.err.find(fragment), std::string::npos) << r.err;
}

} // namespace

TEST(CliTraceCommandsTest, InfoSummarisesEveryTrace)
{
    const auto traces = sharedTraces();
    if (traces.empty())
        GTEST_SKIP() << "the shared traces are not on this machine";
    for (const std::string& path : traces) {
        const auto r = runTool({"info", path});
        EXPECT_EQ(r.status, cli::ExitDone) << path << ": " << r.err;
        for (const char* label : {"Wavelength", "Pulse", "Spacing", "Points", "Length", "Checksum", "Key events"})
            EXPECT_NE(r.out.find(label), std::string::npos) << path << " lacks " << label;
    }
    const auto exfo = runTool({"info", traces[4]});
    EXPECT_NE(exfo.out.find("1312.9 nm"), std::string::npos) << "actual wavelength";
    EXPECT_NE(exfo.out.find("not valid under any known convention"), std::string::npos);
    EXPECT_NE(runTool({"info", traces[2]}).out.find("CRC-16/XMODEM"), std::string::npos);
}

TEST(CliTraceCommandsTest, DumpPrintsValidJsonOfEveryBlock)
{
    const auto traces = sharedTraces();
    if (traces.empty())
        GTEST_SKIP() << "the shared traces are not on this machine";
    for (const std::string& path : traces) {
        const auto r = runTool({"dump", path});
        ASSERT_EQ(r.status, cli::ExitDone) << path << ": " << r.err;
        picojson::value json;
        const std::string error = picojson::parse(json, r.out);
        ASSERT_TRUE(error.empty()) << path << ": " << error;
        const auto& blocks = json.get("blocks").get<picojson::array>();
        const auto& entries = json.get("map").get("entries").get<picojson::array>();
        ASSERT_EQ(blocks.size(), entries.size());
        bool sawPoints = false;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            EXPECT_EQ(blocks[i].get("name").to_str(), entries[i].get("ID").to_str());
            EXPECT_EQ(blocks[i].get("size").get<double>(), entries[i].get("Size").get<double>());
            if (blocks[i].get("name").to_str() == "DataPts") {
                sawPoints = true;
                EXPECT_TRUE(blocks[i].get("fields").is<picojson::object>());
            }
            if (blocks[i].get("foreign").get<bool>()) {
                EXPECT_FALSE(blocks[i].contains("fields"));
            }
        }
        EXPECT_TRUE(sawPoints) << path;
        EXPECT_TRUE(json.get("checksum").get("stored").is<double>());
    }
    const auto text = runTool({"dump", "--text", traces[0]});
    EXPECT_EQ(text.status, cli::ExitDone);
    EXPECT_NE(text.out.find("//==========================================="), std::string::npos);
    EXPECT_NE(text.out.find("TNKE"), std::string::npos);
}

TEST(CliTraceCommandsTest, PointsAreOneRowEach)
{
    TempDir dir;
    const std::string path = writeSample(dir);
    const auto r = runTool({"points", path});
    EXPECT_EQ(r.status, cli::ExitDone);
    EXPECT_EQ(r.out, "km,dB\n") << "a trace without points has only the header";
    const auto traces = sharedTraces();
    if (traces.empty())
        return;
    const auto jdsu = runTool({"points", traces[1]});
    EXPECT_EQ(jdsu.status, cli::ExitDone);
    std::istringstream lines(jdsu.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "km,dB");
    int rows = 0;
    double previous = -1e9;
    while (std::getline(lines, line)) {
        const double km = std::stod(line.substr(0, line.find(',')));
        EXPECT_GT(km, previous);
        previous = km;
        ++rows;
    }
    EXPECT_EQ(rows, 7519);
}

TEST(CliTraceCommandsTest, ResaveAndEditWriteWholeFiles)
{
    TempDir dir;
    const std::string in = writeSample(dir);
    const std::string out = dir.file("copy.sor");
    const std::string again = dir.file("again.sor");
    ASSERT_EQ(runTool({"resave", in, out}).status, cli::ExitDone);
    ASSERT_EQ(runTool({"resave", out, again}).status, cli::ExitDone);
    EXPECT_TRUE(readFile(out) == readFile(again)) << "a resaved file is a fixed point";

    const std::string edited = dir.file("edited.sor");
    const auto r = runTool({"edit", in, edited, "--cable-id", "CABLE 9", "--comment", "re-spliced 2026-11-20"});
    ASSERT_EQ(r.status, cli::ExitDone) << r.err;
    TSorData back;
    ASSERT_EQ(back.Read(edited.c_str(), "rb"), fsOk);
    EXPECT_STREQ(back.GenParams->CID.data, "CABLE 9");
    EXPECT_STREQ(back.GenParams->CMT.data, "re-spliced 2026-11-20");
    EXPECT_EQ(back.KeyEvents->TNKE, 1) << "the measurement is untouched";

    // In place.
    ASSERT_EQ(runTool({"edit", edited, edited, "--operator", "R. Ode"}).status, cli::ExitDone);
    ASSERT_EQ(back.Read(edited.c_str(), "rb"), fsOk);
    EXPECT_STREQ(back.GenParams->OP.data, "R. Ode");
    EXPECT_STREQ(back.GenParams->CID.data, "CABLE 9");

    EXPECT_EQ(runTool({"edit", in, edited}).status, cli::ExitUsage) << "nothing to change";
    EXPECT_EQ(runTool({"edit", in, edited, "--comment", std::string(2000, 'x')}).status, cli::ExitUsage);
}

TEST(CliTraceCommandsTest, BadInputEndsWithOneClearLine)
{
    TempDir dir;
    const std::string notes = dir.file("notes.txt");
    writeFile(notes, "Splice at 3.2 km, 0.05 dB. Connector at the far end.\n");
    for (const char* command : {"info", "dump", "points"})
        expectOneLineError(runTool({command, notes}), command, "not an SR-4731 trace");
    expectOneLineError(runTool({"info", dir.file("missing.sor")}), "info", "cannot read");
    const std::string empty = dir.file("empty.sor");
    writeFile(empty, "");
    expectOneLineError(runTool({"dump", empty}), "dump", "is empty");

    // A cut trace: the readers warn and show what there is; a copy is refused
    // and nothing is left behind.
    const std::string whole = readFile(writeSample(dir));
    const std::string cut = dir.file("cut.sor");
    writeFile(cut, whole.substr(0, whole.size() - 40));
    const auto info = runTool({"info", cut});
    EXPECT_EQ(info.status, cli::ExitDone);
    EXPECT_NE(info.err.find("ends early"), std::string::npos);
    const std::string target = dir.file("never.sor");
    expectOneLineError(runTool({"resave", cut, target}), "resave", "ends early");
    EXPECT_THROW(readFile(target), std::runtime_error);
    expectOneLineError(runTool({"resave", whole.empty() ? cut : writeSample(dir), dir.file("no/such/dir.sor")}),
                       "resave", "cannot write");
}
