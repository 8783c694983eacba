#include "sor/sor-block-supplier-parameters.h"

#include <gtest/gtest.h>

#include <string>

#include "sor/sor-file.h"

namespace {

std::string written(TSorBlock& block)
{
    TSorFile file("", "m");
    block.Write(&file);
    return file.GetDataSize() == 0 ? std::string() : std::string(file.GetData(), file.GetDataSize());
}

std::int32_t readBack(TSorBlock& block, const std::string& bytes, std::uint16_t revision)
{
    TSorFile file(bytes.data(), bytes.size());
    block.ReadRN(&file, revision);
    return file.Status;
}

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

const char* texts(const TSorBlockSupplierParameters& b, int i)
{
    const TString* fields[] = {&b.SN, &b.MFID, &b.OTDR, &b.OMID, &b.OMSN, &b.SR, &b.OT};
    return fields[i]->data;
}

} // namespace

TEST(SupplierParametersTest, SevenTextsFollowTheNameInTheSecondEditionOnly)
{
    TSorBlockSupplierParameters block = sample();
    const char raw[] = "Maker\0HQ210\0unit 0042\0OM-1310/1550\0SN123456\0" "3.2.1\0calibrated [6.1]";
    const std::string body(raw, sizeof raw);  // the last NUL is the literal's own
    block.RevisionNo = 200;
    EXPECT_EQ(written(block), std::string("SupParams\0", 10) + body);
    block.RevisionNo = 100;
    EXPECT_EQ(written(block), body);

    // Defaults are single blanks.
    TSorBlockSupplierParameters blank;
    blank.RevisionNo = 100;
    EXPECT_EQ(written(blank), std::string(" \0 \0 \0 \0 \0 \0 \0", 14));
}

TEST(SupplierParametersTest, EveryTextSurvivesWriteAndReadInBothEditions)
{
    for (const std::uint16_t revision : {100, 209}) {
        TSorBlockSupplierParameters block = sample();
        block.RevisionNo = revision;
        TSorBlockSupplierParameters read;
        EXPECT_EQ(readBack(read, written(block), revision), fsOk);
        for (int i = 0; i < 7; ++i)
            EXPECT_STREQ(texts(read, i), texts(block, i)) << "revision " << revision << " field " << i;
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
    for (int i = 0; i < 7; ++i)
        EXPECT_STREQ(texts(copy, i), texts(source, i));
}
