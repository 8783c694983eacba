#include "sor/sor-block-general-parameters.h"

#include <gtest/gtest.h>

#include <string>

#include "sor-test-helpers.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::written;

namespace {

TSorBlockGeneralParameters sample()
{
    TSorBlockGeneralParameters block;
    block.LC = "DE";
    block.CID = "Cable 7";
    block.FID = "Fiber 12";
    block.FT = 657;
    block.NW = 1550;
    block.OL = "Exchange A";
    block.TL = "Cabinet B";
    block.CCD = "G.652D 48f";
    block.CDF = "RC";
    block.UO = -500;
    block.UOD = 1234;
    block.OP = "tech";
    block.CMT = "after repair";
    return block;
}

} // namespace

TEST(GeneralParametersTest, DefaultBlockAtRevision200HasTheExactLayout)
{
    TSorBlockGeneralParameters block;
    block.RevisionNo = 200;
    const std::string expected = Bytes().text("GenParams").raw("EN", 2).text(" ").text(" ").i16(652).i16(1310)
                                     .text(" ").text(" ").text(" ").raw("BC", 2).i32(0).i32(0).text(" ")
                                     .text(" ").s;
    EXPECT_EQ(written(block), expected);
    EXPECT_EQ(block.GetBlockSize(), static_cast<std::int32_t>(expected.size()));
}

TEST(GeneralParametersTest, FirstEditionHasNoNameNoFiberTypeAndNoOffsetDistance)
{
    TSorBlockGeneralParameters block = sample();
    block.RevisionNo = 100;
    const std::string expected = Bytes().raw("DE", 2).text("Cable 7").text("Fiber 12").i16(1550)
                                     .text("Exchange A").text("Cabinet B").text("G.652D 48f").raw("RC", 2)
                                     .i32(-500).text("tech").text("after repair").s;
    EXPECT_EQ(written(block), expected);

    TSorBlockGeneralParameters read;
    EXPECT_EQ(readBack(read, expected, 100), fsOk);
    // The fields the record lacks keep the reader's own values.
    TSorBlockGeneralParameters want = sample();
    want.FT = 652;
    want.UOD = 0;
    EXPECT_EQ(fieldLines(read), fieldLines(want));
}

TEST(GeneralParametersTest, EveryFieldSurvivesWriteAndRead)
{
    for (const std::uint16_t revision : {200, 209}) {
        TSorBlockGeneralParameters block = sample();
        TSorBlockGeneralParameters read;
        EXPECT_EQ(readBack(read, written(block, revision), revision), fsOk);
        EXPECT_EQ(fieldLines(read), fieldLines(block)) << "revision " << revision;
    }
}

TEST(GeneralParametersTest, TwoLetterCodesArePaddedOrCut)
{
    TSorBlockGeneralParameters block;
    block.RevisionNo = 100;
    block.LC = "ENG";
    block.CDF = "R";
    const std::string bytes = written(block);
    EXPECT_EQ(bytes.substr(0, 2), "EN");
    TSorBlockGeneralParameters read;
    EXPECT_EQ(readBack(read, bytes, 100), fsOk);
    EXPECT_EQ(std::string(read.LC.data), "EN");
    EXPECT_EQ(std::string(read.CDF.data), "R");
    EXPECT_EQ(read.UO, 0);
}

TEST(GeneralParametersTest, TruncatedBlockKeepsWhatWasReadAndReportsEndOfFile)
{
    TSorBlockGeneralParameters block = sample();
    const std::string bytes = written(block);
    // Cut inside the originating location text.
    const std::string cut = bytes.substr(0, bytes.find("Exchange") + 3);
    TSorBlockGeneralParameters read;
    EXPECT_EQ(readBack(read, cut, 209), fsEndOfFile);
    EXPECT_EQ(std::string(read.FID.data), "Fiber 12");
    EXPECT_EQ(read.NW, 1550);
    EXPECT_EQ(read.UO, 0);
}

TEST(GeneralParametersTest, AssignCopiesEveryField)
{
    const TSorBlockGeneralParameters source = sample();
    TSorBlockGeneralParameters copy;
    copy.Assign(source);
    EXPECT_EQ(fieldLines(copy), fieldLines(source));
}
