// The analysis and monitoring thresholds: defaults and their settings files.
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "auto/thresholds.h"
#include "support/temp-dir.h"

namespace {

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace

TEST(ThresholdsTest, DefaultsAndReset)
{
    TTH th("my.ini");
    th.THLoss = 1.5;
    th.MinPin = 3;
    th.LongPath = 1;
    th.Reset();
    EXPECT_STREQ(th.FileName.data, "my.ini");
    const double doubles[] = {th.THLoss, th.THRef, th.THEnd, th.THEndPON, th.THSpare1, th.Event, th.dBkm,
                              th.THSpare2, th.polar, th.RefSat, th.MinLen, th.dNoise};
    const double expected[] = {0.2, -60.0, 20.0, 30.0, -40.0, 0.02, 0.25, 0.05, 0.1, -0.2, 0.0, -1.0};
    for (int i = 0; i < 12; ++i)
        EXPECT_DOUBLE_EQ(doubles[i], expected[i]) << i;
    EXPECT_EQ(th.THSpare3, 100);
    EXPECT_EQ(th.MinPin, 10);
    EXPECT_EQ(th.AvgPin, 100);
    EXPECT_EQ(th.UseGiven, 0);
    EXPECT_EQ(th.LongPath, 0);
    EXPECT_STREQ(TTH().FileName.data, "ThresH.ini");

    TdTH dth;
    EXPECT_STREQ(dth.FileName.data, "Monitor.ini");
    dth.dTHLoss = 9.0;
    dth.Reset();
    EXPECT_DOUBLE_EQ(dth.dTHLoss, 0.2);
    EXPECT_DOUBLE_EQ(dth.dTHRef, -60.0);
    EXPECT_DOUBLE_EQ(dth.d_dBkm, 0.25);
}

TEST(ThresholdsTest, RoundTripStoresOnlyTheListedKeys)
{
    testsupport::TempDir dir;
    const std::string file = dir.file("ThresH.ini");
    TTH out(file.c_str());
    out.THLoss = 0.15;
    out.THRef = -55.5;
    out.THEnd = 7.0;
    out.THEndPON = 25.0;
    out.Event = 0.03;
    out.dBkm = 0.4;
    out.polar = 0.2;
    out.RefSat = -1.5;
    out.MinPin = 17;
    out.THSpare1 = out.THSpare2 = out.MinLen = out.dNoise = 1.0;  // not stored
    out.THSpare3 = out.AvgPin = out.UseGiven = out.LongPath = 5;
    ASSERT_EQ(out.IniTH(nullptr, "w"), 1);
    const std::string text = readAll(file);
    EXPECT_NE(text.find("[NON]"), std::string::npos);
    for (const char* key : {"THSpare", "MinLen", "AvgPin", "dNoise", "UseGiven", "LongPath"})
        EXPECT_EQ(text.find(key), std::string::npos) << key;

    TTH in(file.c_str());
    ASSERT_EQ(in.IniTH(nullptr, "r"), 1);
    const double got[] = {in.THLoss, in.THRef, in.THEnd, in.THEndPON, in.Event, in.dBkm, in.polar, in.RefSat};
    const double want[] = {0.15, -55.5, 7.0, 25.0, 0.03, 0.4, 0.2, -1.5};
    for (int i = 0; i < 8; ++i)
        EXPECT_DOUBLE_EQ(got[i], want[i]) << i;
    EXPECT_EQ(in.MinPin, 17);
    EXPECT_DOUBLE_EQ(in.THSpare1, -40.0);
    EXPECT_EQ(in.AvgPin, 100);
    EXPECT_EQ(in.LongPath, 0);

    // A second section leaves the first alone; keys missing from a section,
    // or a missing section, keep the current values and still answer 1.
    TTH other(file.c_str());
    other.THLoss = 0.5;
    ASSERT_EQ(other.IniTH("Other", "w"), 1);
    EXPECT_TRUE(other.HasSection("NON"));
    EXPECT_TRUE(other.HasSection("Other"));
    EXPECT_FALSE(other.HasSection("non"));
    std::ofstream(file, std::ios::binary) << "[Part]\r\nTHLoss=0.7\r\n";
    TTH partial(file.c_str());
    partial.THRef = -42.0;
    ASSERT_EQ(partial.IniTH("Part", "r"), 1);
    EXPECT_DOUBLE_EQ(partial.THLoss, 0.7);
    EXPECT_DOUBLE_EQ(partial.THRef, -42.0);
    EXPECT_EQ(partial.IniTH("Absent", "r"), 1);
    EXPECT_DOUBLE_EQ(partial.THLoss, 0.7);
}

TEST(ThresholdsTest, AnswerCodes)
{
    testsupport::TempDir dir;
    const std::string missing = dir.file("none.ini");
    TTH th(missing.c_str());
    th.THLoss = 0.9;
    EXPECT_EQ(th.IniTH(nullptr, "r"), 0);
    EXPECT_DOUBLE_EQ(th.THLoss, 0.9);
    EXPECT_FALSE(th.HasSection("NON"));
    EXPECT_FALSE(th.HasSection(nullptr));
    EXPECT_EQ(TdTH(missing.c_str()).IniTH(nullptr, "r"), 0);
    // A folder cannot be written as a file: TTH answers 0, TdTH Write's own non-zero code.
    EXPECT_EQ(TTH(dir.path().c_str()).IniTH("NON", "w"), 0);
    EXPECT_NE(TdTH(dir.path().c_str()).IniTH("NON", "w"), 0);

    // TdTH answers 0 for a written file, and reads back what it wrote.
    const std::string file = dir.file("Monitor.ini");
    TdTH out(file.c_str());
    out.dTHLoss = 0.35;
    out.dTHRef = -45.0;
    out.d_dBkm = 0.125;
    EXPECT_EQ(out.IniTH("Mon", "w"), 0);
    EXPECT_NE(readAll(file).find("d(dBkm)=0.125"), std::string::npos);
    TdTH in(file.c_str());
    EXPECT_TRUE(in.HasSection("Mon"));
    EXPECT_FALSE(in.HasSection("NON"));
    ASSERT_EQ(in.IniTH("Mon", "r"), 1);
    EXPECT_DOUBLE_EQ(in.dTHLoss, 0.35);
    EXPECT_DOUBLE_EQ(in.dTHRef, -45.0);
    EXPECT_DOUBLE_EQ(in.d_dBkm, 0.125);
}
