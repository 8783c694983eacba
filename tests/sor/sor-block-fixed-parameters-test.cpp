#include "sor/sor-block-fixed-parameters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::written;

namespace {

// Two segments: 100 points 2.0 apart with a 10 ns pulse, then 50 points
// 4.0 apart with a 100 ns pulse; the data begin at -1500 (AO 0, FPO 1500).
TSorBlockFixedParameters twoSegments()
{
    TSorBlockFixedParameters block;
    block.SetTPW(2);
    block.PWU = {10, 100};
    block.DS = {20000, 40000};
    block.NPPW = {100, 50};
    block.FPO = 1500;
    block.GI = 146800;
    return block;
}

// Every field set to a value of its own, so that a field written or read
// in the wrong place shows.
TSorBlockFixedParameters sample()
{
    TSorBlockFixedParameters block = twoSegments();
    block.DTS = 1700000000;
    block.UD = "mt";
    block.AW = 15502;
    block.AO = -300;
    block.AOD = 7;
    block.NAV = 65536;
    block.AT = 180;
    block.AR = 1000000;
    block.ARD = 9;
    block.NF = 40000;
    block.NFSF = 1076;
    block.PO = 12345;
    block.LT = 100;
    block.RT = 60000;
    block.ET = 5000;
    block.BC = -810;
    block.TT = "RF";
    block.WC0 = 1;
    block.WC1 = -2;
    block.WC2 = 3;
    block.WC3 = -4;
    return block;
}

} // namespace

TEST(FixedParametersLayoutTest, SecondEditionWritesWholeArraysInTurn)
{
    TSorBlockFixedParameters block = sample();
    block.RevisionNo = 200;
    const std::string expected =
        Bytes()
            .text("FxdParams").i32(1700000000).raw("mt", 2).i16(15502).i32(-300).i32(7)  // up to AOD
            .i16(2).i16(10).i16(100).i32(20000).i32(40000).i32(100).i32(50)              // TPW, PWU, DS, NPPW
            .i32(146800).i16(-810).i32(65536).i16(180).i32(1000000).i32(9).i32(1500)     // GI to FPO
            .i16(40000).i16(1076).i16(12345).i16(100).i16(60000).i16(5000)               // NF to ET
            .raw("RF", 2).i32(1).i32(-2).i32(3).i32(-4)                                  // TT, WC
            .s;
    EXPECT_EQ(written(block), expected);
}

TEST(FixedParametersLayoutTest, FirstEditionOmitsAodAtArdTtAndWindow)
{
    TSorBlockFixedParameters block = sample();
    block.RevisionNo = 100;
    const std::string expected =
        Bytes()
            .i32(1700000000).raw("mt", 2).i16(15502).i32(-300)                  // up to AO
            .i16(2).i16(10).i16(100).i32(20000).i32(40000).i32(100).i32(50)     // TPW, PWU, DS, NPPW
            .i32(146800).i16(-810).i32(65536).i32(1000000).i32(1500)            // GI, BC, NAV, AR, FPO
            .i16(40000).i16(1076).i16(12345).i16(100).i16(60000).i16(5000)      // NF to ET
            .s;
    EXPECT_EQ(written(block), expected);

    TSorBlockFixedParameters read;
    EXPECT_EQ(readBack(read, expected, 100), fsOk);
    TSorBlockFixedParameters want = sample();
    want.AOD = 0;
    want.AT = 0;
    want.ARD = 0;
    want.TT = "ST";
    want.WC0 = want.WC1 = want.WC2 = want.WC3 = 0;
    EXPECT_EQ(fieldLines(read), fieldLines(want));
}

TEST(FixedParametersLayoutTest, EveryFieldSurvivesWriteAndRead)
{
    TSorBlockFixedParameters block = sample();
    TSorBlockFixedParameters read;
    read.SetTPW(5);
    EXPECT_EQ(readBack(read, written(block), 209), fsOk);
    EXPECT_EQ(fieldLines(read), fieldLines(block));
    EXPECT_EQ(read.PWU.size(), 2u);
}

TEST(FixedParametersLayoutTest, HostileOrCutSegmentCountAllocatesNothing)
{
    // 32767 segments would need 327670 bytes; the block has a few dozen.
    TSorBlockFixedParameters block = sample();
    block.RevisionNo = 100;
    std::string bytes = written(block);
    bytes[12] = '\xFF';
    bytes[13] = '\x7F';
    TSorBlockFixedParameters read;
    EXPECT_EQ(readBack(read, bytes, 100), fsEndOfFile);
    EXPECT_EQ(read.TPW, 3);
    EXPECT_EQ(read.DS.size(), 3u);

    // Arrays that the rest cannot hold are not started on.
    TSorBlockFixedParameters shortArrays;
    EXPECT_EQ(readBack(shortArrays, written(block).substr(0, 33), 100), fsEndOfFile);
    EXPECT_EQ(shortArrays.TPW, 3);
    EXPECT_EQ(shortArrays.AO, -300);

    // A block that ends behind the arrays keeps what it has.
    TSorBlockFixedParameters cut;
    EXPECT_EQ(readBack(cut, written(block).substr(0, 42), 100), fsEndOfFile);
    EXPECT_EQ(cut.TPW, 2);
    EXPECT_EQ(cut.NPPW, (std::vector<std::int32_t>{100, 50}));
    EXPECT_EQ(cut.BC, -810);
    EXPECT_EQ(cut.NAV, 0);

    // A negative count leaves no arrays, and writes and reads back as such.
    TSorBlockFixedParameters negative = sample();
    negative.SetTPW(-1);
    TSorBlockFixedParameters again;
    EXPECT_EQ(readBack(again, written(negative), 209), fsOk);
    EXPECT_EQ(again.TPW, -1);
    EXPECT_TRUE(again.NPPW.empty());
    EXPECT_EQ(again.ET, 5000);
}

TEST(FixedParametersLayoutTest, SetTpwAndAssignKeepArraysTpwLong)
{
    TSorBlockFixedParameters block = twoSegments();
    block.SetTPW(2);
    EXPECT_EQ(block.NPPW, (std::vector<std::int32_t>{100, 50}));  // same count: untouched
    block.SetTPW(4);
    EXPECT_EQ(block.NPPW, (std::vector<std::int32_t>{0, 0, 0, 0}));
    EXPECT_EQ(block.PWU.size(), 4u);
    EXPECT_EQ(block.DS.size(), 4u);

    const TSorBlockFixedParameters source = sample();
    TSorBlockFixedParameters copy;
    copy.Assign(source);
    EXPECT_EQ(fieldLines(copy), fieldLines(source));
    copy.NPPW[0] = 1;
    EXPECT_EQ(source.NPPW[0], 100);
}

TEST(FixedParametersTimeTest, PointsAndTimesWalkTheSegments)
{
    const TSorBlockFixedParameters block = twoSegments();
    EXPECT_EQ(block.GetTotalPinPW(), 150);
    EXPECT_DOUBLE_EQ(block.GetOwtDataOffset(), -1500.0);
    EXPECT_DOUBLE_EQ(block.GetMinOwt(), -1500.0);
    EXPECT_DOUBLE_EQ(block.GetMaxOwt(), -1100.0);
    // Past the end the last time holds: no extrapolation.
    for (const auto& [n, owt] : {std::pair<long, double>{0, -1500.0}, {99, -1302.0}, {100, -1300.0},
                                 {120, -1220.0}, {151, -1100.0}, {1000000, -1100.0}})
        EXPECT_DOUBLE_EQ(block.NumToOwt(n), owt) << n;
    for (long n = 0; n < 150; ++n)
        EXPECT_NEAR(block.OwtTofNum(block.NumToOwt(n)), static_cast<double>(n), 1e-9) << n;
    // The boundary time -1300 belongs to the later segment, with its pulse.
    for (const auto& [owt, n] : {std::pair<double, double>{-1499.0, 0.5}, {-1298.0, 100.5}, {-1500.5, -1.0},
                                 {-1099.0, 150.0}, {-1300.0, 100.0}})
        EXPECT_DOUBLE_EQ(block.OwtTofNum(owt), n) << owt;
    for (const auto& [n, segment] : {std::pair<long, int>{-5, 0}, {99, 0}, {100, 1}, {150, 1}, {100000, 1}})
        EXPECT_EQ(block.NumToNPW(n), segment) << n;
    EXPECT_DOUBLE_EQ(block.GetNsPulse(-1300.0), 100.0);
    EXPECT_DOUBLE_EQ(block.GetNsPulse(-1300.5), 10.0);
    EXPECT_DOUBLE_EQ(block.GetNsPulse(-2000.0), 10.0);

    EXPECT_DOUBLE_EQ(block.dOwtTodNum(10, 8.0), 4.0);
    EXPECT_DOUBLE_EQ(block.dOwtTodNum(120, 8.0), 2.0);
    // 2.0 x 100 ps at 299792.5 km/s over a group index of 1.468.
    EXPECT_NEAR(block.LenDS(), 2.0e-10 * 299792.5 / 1.468, 1e-15);
}

TEST(FixedParametersTimeTest, AcquisitionOffsetTakesPrecedenceOverFrontPanel)
{
    TSorBlockFixedParameters block = twoSegments();
    block.AO = 250;
    EXPECT_DOUBLE_EQ(block.NumToOwt(0), 250.0);
    EXPECT_DOUBLE_EQ(block.OwtTofNum(254.0), 2.0);
}

TEST(FixedParametersTimeTest, DegenerateTablesGiveDefinedValues)
{
    TSorBlockFixedParameters none = twoSegments();
    none.SetTPW(0);
    EXPECT_EQ(none.GetTotalPinPW(), 0);
    EXPECT_EQ(none.NumToNPW(5), -1);
    EXPECT_DOUBLE_EQ(none.NumToOwt(5), -1500.0);
    EXPECT_DOUBLE_EQ(none.OwtTofNum(-1400.0), 0.0);
    EXPECT_DOUBLE_EQ(none.OwtTofNum(-1600.0), -1.0);
    EXPECT_DOUBLE_EQ(none.dOwtTodNum(5, 10.0), 0.0);
    EXPECT_DOUBLE_EQ(none.GetNsPulse(0.0), 0.0);
    EXPECT_DOUBLE_EQ(none.LenDS(), 0.0);

    // A segment without spacing (a broken file) yields numbers, not infinities.
    TSorBlockFixedParameters flat = twoSegments();
    flat.DS[1] = 0;
    EXPECT_DOUBLE_EQ(flat.dOwtTodNum(120, 8.0), 0.0);
    EXPECT_DOUBLE_EQ(flat.GetMaxOwt(), -1300.0);
    EXPECT_DOUBLE_EQ(flat.OwtTofNum(-1300.0), 150.0);
    EXPECT_DOUBLE_EQ(flat.GetNsPulse(std::nan("")), 10.0);
}

TEST(FixedParametersNoiseTest, NoiseFloorScaling)
{
    TSorBlockFixedParameters block;
    block.NF = 40000;  // above 32767: counts as unsigned
    block.NFSF = 1000;
    EXPECT_DOUBLE_EQ(block.GetNF(), -40.0);
    block.NFSF = 0;
    EXPECT_DOUBLE_EQ(block.GetNF(), -40.0);
    block.NF = 1234;
    EXPECT_DOUBLE_EQ(block.GetNF(), -1.234);

    // Below -65.535 the scale grows so that the level fits 16 bits.
    block.NFSF = 1000;
    block.SetNF(-70.0);
    EXPECT_EQ(block.NFSF, 1076);
    EXPECT_EQ(block.NF, 65055);
    EXPECT_NEAR(block.GetNF(), -70.0, 1e-3);
    // A smaller level keeps the larger scale.
    block.SetNF(-30.0);
    EXPECT_EQ(block.NFSF, 1076);
    EXPECT_NEAR(block.GetNF(), -30.0, 1e-3);

    TSorBlockFixedParameters edge;
    edge.SetNF(-65.535);
    EXPECT_EQ(edge.NFSF, 1000);
    EXPECT_EQ(edge.NF, 65534);  // truncated: 65.535 / 1000 x 1e6 falls just short in binary
    edge.NFSF = 0;
    edge.SetNF(-20.0);
    EXPECT_EQ(edge.NFSF, 1000);
    EXPECT_EQ(edge.NF, 20000);
}

TEST(FixedParametersNoiseTest, LevelsOutsideTheFieldsSaturate)
{
    TSorBlockFixedParameters block;
    block.SetNF(3.0);
    EXPECT_EQ(block.NF, 0);
    block.SetNF(-1e9);
    EXPECT_EQ(block.NFSF, 32767);
    EXPECT_EQ(block.NF, 65535);
    block.SetNF(std::nan(""));
    EXPECT_EQ(block.NF, 0);
}

TEST(FixedParametersLayoutTest, DumpShowsTheDateBesideTheStamp)
{
    TSorBlockFixedParameters block = sample();
    const std::string text = sortest::dampOf(block);
    EXPECT_NE(text.find("// FxdParams \n"), std::string::npos);
    EXPECT_NE(text.find("DTS  = 1700000000 =" + std::string(block.GetDateTimeStr().data) + "\n"), std::string::npos);
    EXPECT_NE(text.find("NPPW[1] = 50"), std::string::npos);
}
