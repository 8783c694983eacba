#include "cli-app.h"
#include "cli-test-helpers.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "support/temp-dir.h"
#include "util/version.h"

using clitest::Outcome;
using clitest::runTool;
using testsupport::TempDir;

namespace {


// Runs the installed-style program itself, for what only main() does.
Outcome runProgram(const std::string& args)
{
    const std::string command = std::string(FIBERTEST_TOOL) + " " + args + " 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return {-1, "", ""};
    std::string out;
    std::array<char, 4096> buffer;
    std::size_t n;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        out.append(buffer.data(), n);
    const int raw = pclose(pipe);
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, out, ""};
}

} // namespace

TEST(CliAppTest, HelpAndVersion)
{
    for (const auto& args : {std::vector<std::string>{"--help"}, {"-h"}, {"help"}}) {
        const auto r = runTool(args);
        EXPECT_EQ(r.status, cli::ExitDone);
        EXPECT_NE(r.out.find("Usage: fibertest <command>"), std::string::npos);
        for (const auto& command : cli::commands())
            EXPECT_NE(r.out.find("  " + command.name + " "), std::string::npos) << command.name << " is not listed";
        EXPECT_TRUE(r.err.empty());
    }
    const auto version = runTool({"--version"});
    EXPECT_EQ(version.status, cli::ExitDone);
    EXPECT_EQ(version.out, std::string("fibertest ") + FIBERTEST_VERSION + "\n");
}

TEST(CliAppTest, EveryCommandHasItsOwnHelp)
{
    for (const auto& command : cli::commands()) {
        const auto viaOption = runTool({command.name, "--help"});
        EXPECT_EQ(viaOption.status, cli::ExitDone) << command.name;
        EXPECT_EQ(viaOption.out.rfind("Usage: fibertest " + command.name, 0), 0u) << command.name;
        EXPECT_NE(viaOption.out.find("--help"), std::string::npos);
        EXPECT_EQ(runTool({"help", command.name}).out, viaOption.out);
        EXPECT_EQ(runTool({command.name, "--no-such-option", "-h"}).status, cli::ExitDone)
            << "help wins over a mistake on the same line";
    }
}

TEST(CliAppTest, UsageErrorsExitWithTwoAndAHint)
{
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "Usage: fibertest <command>"},
        {{"frobnicate"}, "fibertest: unknown command 'frobnicate'\nTry 'fibertest --help'.\n"},
        {{"--frobnicate"}, "fibertest: unknown option '--frobnicate'\nTry 'fibertest --help'.\n"},
        {{"help", "frobnicate"}, "fibertest: unknown command 'frobnicate'\nTry 'fibertest --help'.\n"},
        {{"demo", "--bogus"}, "fibertest: unknown option '--bogus'\nTry 'fibertest demo --help'.\n"},
        {{"demo", "a", "b"}, "fibertest: unexpected argument 'b'\nTry 'fibertest demo --help'.\n"},
    };
    for (const auto& [args, message] : cases) {
        const auto r = runTool(args);
        EXPECT_EQ(r.status, cli::ExitUsage);
        EXPECT_EQ(r.err.rfind(message, 0), 0u) << r.err;
        EXPECT_TRUE(r.out.empty());
    }
}

TEST(CliAppTest, ProgramReportsStatusAndOutput)
{
    const auto version = runProgram("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, std::string("fibertest ") + FIBERTEST_VERSION + "\n");
    EXPECT_EQ(runProgram("frobnicate").status, 2);
    TempDir dir;
    const auto demo = runProgram("demo " + dir.path());
    EXPECT_EQ(demo.status, 0);
    // The map of the built-in link, node by node: the rows stand in this order.
    std::size_t at = 0;
    for (const char* row : {"linkStart ", "welding ", "macrobend ", "connector ", "subscriberSplitter 1:8 ",
                            "linkEnd "}) {
        const std::size_t found = demo.out.find(row, at);
        ASSERT_NE(found, std::string::npos) << row << "\n" << demo.out;
        at = found;
    }
    // Its traces and the map are kept.
    for (const char* name : {"demo-1310nm-30ns-forward.sor", "demo-1550nm-300ns-backward.sor", "link-map.luscout"})
        EXPECT_TRUE(std::ifstream(dir.file(name)).good()) << name;
    EXPECT_EQ(runProgram("demo " + dir.path() + " > /dev/full").status, 1) << "a failed write of the output is reported";
}
