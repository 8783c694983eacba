#include "sor/sor-block-supplier-parameters.h"

#include <gtest/gtest.h>

#include <string>

#include "sor-test-helpers.h"
#include "sor/sor-file.h"

using sortest::fieldLines;
using sortest::readBack;
using sortest::written;

namespace {

TSorBlockSupplierParameters sample()
{
    TSorBlockSupplierParameters block;
    block.SN = "Maker";
    block.MFID = "HQ210";
    block.OTDR = "unit 0042";
    block.OMID = "OM-1310/1550";
    block.OMSN = "SN123456";
    block.SR = "3.2.1";
    block.OT = "calibrated [6.1]";
    return block;
}

} // namespace

TEST(SupplierParametersTest, SevenTextsFollowTheNameInTheSecondEditionOnly)
{
    TSorBlockSupplierParameters block = sample();
    const char raw[] = "Maker\0HQ210\0unit 0042\0OM-1310/1550\0SN123456\0" "3.2.1\0calibrated [6.1]";
    const std::string body(raw, sizeof raw);  // the last NUL is the literal's own
    EXPECT_EQ(written(block, 200), std::string("SupParams\0", 10) + body);
    EXPECT_EQ(written(block, 100), body);

    // Defaults are single blanks.
    TSorBlockSupplierParameters blank;
    EXPECT_EQ(written(blank, 100), std::string(" \0 \0 \0 \0 \0 \0 \0", 14));
}

TEST(SupplierParametersTest, EveryTextSurvivesWriteAndReadInBothEditions)
{
    for (const std::uint16_t revision : {100, 209}) {
        TSorBlockSupplierParameters block = sample();
        TSorBlockSupplierParameters read;
        EXPECT_EQ(readBack(read, written(block, revision), revision), fsOk);
        EXPECT_EQ(fieldLines(read), fieldLines(block)) << "revision " << revision;
    }
}

TEST(SupplierParametersTest, TruncatedBlockReportsEndOfFile)
{
    TSorBlockSupplierParameters block = sample();
    const std::string bytes = written(block);
    TSorBlockSupplierParameters read;
    EXPECT_EQ(readBack(read, bytes.substr(0, bytes.find("SN123") + 2), 209), fsEndOfFile);
    EXPECT_STREQ(read.OMID.data, "OM-1310/1550");
    EXPECT_STREQ(read.OMSN.data, "SN");
}

TEST(SupplierParametersTest, AssignCopiesEveryText)
{
    const TSorBlockSupplierParameters source = sample();
    TSorBlockSupplierParameters copy;
    copy.Assign(source);
    EXPECT_EQ(fieldLines(copy), fieldLines(source));
}
