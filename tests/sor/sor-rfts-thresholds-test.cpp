#include "sor/sor-rfts-thresholds.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "sor/sor-exception.h"
#include "sor/sor-file.h"

namespace {

template <class Record>
std::string bytesOf(Record& record)
{
    TSorFile file("", "m");
    record.Write(&file);
    return std::string(file.GetData(), file.GetDataSize());
}

template <class Record>
void readFrom(const std::string& bytes, Record& record, TSorFile& file)
{
    file.SetData(bytes.data(), bytes.size());
    file.Seek(0);
    record.Read(&file);
}

std::string le16(int value)
{
    const auto v = static_cast<std::uint16_t>(value);
    return std::string{static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)};
}

TThresholdsRFTSSet distinctSet(int base)
{
    TThresholdsRFTSSet set;
    set.Enabled = 0;
    TShortThreshold* parts[] = {&set.LT, &set.RT, &set.CT, &set.PT, &set.DT};
    for (TShortThreshold* part : parts) {
        part->Absolute = static_cast<std::int16_t>(base % 2);
        part->AbsoluteThreshold = static_cast<std::int16_t>(base + 1);
        part->RelativeThreshold = static_cast<std::int16_t>(-(base + 2));
        base += 10;
    }
    return set;
}

void expectSameThreshold(const TShortThreshold& a, const TShortThreshold& b)
{
    EXPECT_EQ(a.Absolute, b.Absolute);
    EXPECT_EQ(a.AbsoluteThreshold, b.AbsoluteThreshold);
    EXPECT_EQ(a.RelativeThreshold, b.RelativeThreshold);
}

} // namespace

TEST(ShortThresholdTest, ThresholdAccessorsFollowTheAbsoluteFlag)
{
    TShortThreshold t;
    t.SetAbsoluteThreshold(500);
    t.SetRelativeThreshold(-30);
    EXPECT_FALSE(t.IsAbsolute());
    EXPECT_EQ(t.GetThreshold(), -30);
    t.SetThreshold(70);
    EXPECT_EQ(t.GetRelativeThreshold(), 70);
    EXPECT_EQ(t.GetAbsoluteThreshold(), 500);

    t.MakeAbsolute(true);
    EXPECT_EQ(t.GetThreshold(), 500);
    t.SetThreshold(-9);
    EXPECT_EQ(t.GetAbsoluteThreshold(), -9);
    EXPECT_EQ(t.GetRelativeThreshold(), 70);
}

TEST(ShortThresholdTest, SmallRecordsThrowForANullFile)
{
    TShortThreshold threshold;
    TThresholdsRFTSSet set;
    TRFTSLevel level;
    TRFTSUniversalParameter parameter;
    TSorBlock* records[] = {&threshold, &set, &level, &parameter};
    for (TSorBlock* record : records) {
        try {
            record->Read(nullptr);
            ADD_FAILURE() << "Read of type " << record->GetBlockType() << " did not throw";
        } catch (const TSorException& e) {
            EXPECT_STREQ(e.what(), "Null pointer exception");
        }
        EXPECT_THROW(record->Write(nullptr), TSorException);
    }
}

TEST(RftsThresholdsSetTest, TakesTwentySixBytesAndLosesPT)
{
    TThresholdsRFTSSet set = distinctSet(100);
    const std::string bytes = bytesOf(set);
    ASSERT_EQ(bytes.size(), TThresholdsRFTSSet::FileSize);
    ASSERT_EQ(bytes.size(), 26u);
    // Enabled, then LT, RT, CT and DT; PT (base 130) is not among them.
    EXPECT_EQ(bytes.substr(0, 2), le16(0));
    EXPECT_EQ(bytes.substr(2, 6), le16(0) + le16(101) + le16(-102));
    EXPECT_EQ(bytes.substr(8, 6), bytesOf(set.RT));
    EXPECT_EQ(bytes.substr(14, 6), bytesOf(set.CT));
    EXPECT_EQ(bytes.substr(20, 6), bytesOf(set.DT));

    TThresholdsRFTSSet back;
    TSorFile file("", "m");
    readFrom(bytes, back, file);
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_EQ(file.Tell(), 26u);
    EXPECT_FALSE(back.IsEnabled());
    expectSameThreshold(back.LT, set.LT);
    expectSameThreshold(back.RT, set.RT);
    expectSameThreshold(back.CT, set.CT);
    expectSameThreshold(back.DT, set.DT);
    expectSameThreshold(back.PT, TShortThreshold());
}

TEST(RftsLevelTest, EndOfLinkThresholdIsStoredOnlyAboveRevision202)
{
    TRFTSLevel level(TString("Major"));
    level.Enabled = 0;
    level.LevelThresholdsSet = distinctSet(1);
    level.SetTNTS(2);
    level.GetThresholdsSet(0)->Assign(distinctSet(200));
    level.GetThresholdsSet(1)->Assign(distinctSet(300));
    level.EELT.MakeAbsolute(true);
    level.EELT.AbsoluteThreshold = 4321;

    const std::size_t withoutEelt = 2 + 6 + 26 + 2 + 2 * 26;
    level.RevisionNo = 202;
    EXPECT_EQ(bytesOf(level).size(), withoutEelt);
    level.RevisionNo = 203;
    const std::string bytes = bytesOf(level);
    ASSERT_EQ(bytes.size(), withoutEelt + 6);

    TRFTSLevel back;
    back.RevisionNo = 203;
    TSorFile file("", "m");
    readFrom(bytes, back, file);
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_EQ(back.LevelName, "Major");
    EXPECT_FALSE(back.IsEnabled());
    EXPECT_EQ(back.GetTNTS(), 2);
    ASSERT_EQ(back.ThresholdsSets.count, 2);
    expectSameThreshold(back.GetThresholdsSet(1)->DT, level.GetThresholdsSet(1)->DT);
    expectSameThreshold(back.LevelThresholdsSet.LT, level.LevelThresholdsSet.LT);
    expectSameThreshold(back.EELT, level.EELT);

    // Read at 202, the same level gives no EELT and stops before those bytes.
    TRFTSLevel older;
    older.RevisionNo = 202;
    older.EELT.AbsoluteThreshold = 77;  // a read starts from the defaults
    TSorFile again("", "m");
    readFrom(bytes, older, again);
    EXPECT_EQ(again.Tell(), withoutEelt);
    expectSameThreshold(older.EELT, TShortThreshold());
}

TEST(RftsLevelTest, SetCountBeyondTheFileEndsLikeAShortRead)
{
    // Enabled, an empty name, a level-wide set, then 65535 sets in 30 bytes.
    std::string bytes = le16(1) + std::string(1, '\0') + std::string(26, '\0') + le16(65535) + std::string(30, '\0');
    TRFTSLevel level;
    level.RevisionNo = 203;
    TSorFile file("", "m");
    readFrom(bytes, level, file);
    EXPECT_EQ(file.Status, fsEndOfFile);
    EXPECT_EQ(level.GetTNTS(), 0);
    EXPECT_EQ(level.ThresholdsSets.count, 0);
}

TEST(RftsUniversalParameterTest, SetValueFindsTheSmallestScale)
{
    struct Case {
        double value;
        int scale;
        int stored;
    };
    const Case cases[] = {
        {0.25, 100, 25},       {1.23456, 10000, 12346}, {3.0, 1, 3},     {-0.5, 10, -5},
        {0.29, 100, 29},       // 28.999999... counts as whole
        {-1.23456, 10000, -12346}, {0.0, 1, 0},         {1e-6, 1, 0}, {12.5, 10, 125}};
    for (const Case& c : cases) {
        TRFTSUniversalParameter p;
        p.SetValue(c.value);
        EXPECT_EQ(p.Scale, c.scale) << c.value;
        EXPECT_EQ(p.Value, c.stored) << c.value;
    }
    TRFTSUniversalParameter p(TString("x"), 0.25);
    EXPECT_DOUBLE_EQ(p.GetValue(), 0.25);

    // Beyond the 32-bit range values are clamped.
    p.SetValue(1e12);
    EXPECT_EQ(p.Value, std::numeric_limits<std::int32_t>::max());
    p.SetValue(-1e12);
    EXPECT_EQ(p.Value, std::numeric_limits<std::int32_t>::min());
    p.SetValue(std::nan(""));
    EXPECT_EQ(p.Value, 0);
    // A Scale of 0 can only come from a damaged file; it must not divide by zero.
    p.Value = 7;
    p.Scale = 0;
    EXPECT_DOUBLE_EQ(p.GetValue(), 7.0);
}

TEST(RftsUniversalParameterTest, NameIsTrimmedAndRecordIsNameValueScale)
{
    TRFTSUniversalParameter p(TString("  NoLinkDistance\t"), 1.5);
    EXPECT_EQ(p.Name, "NoLinkDistance");
    const std::string bytes = bytesOf(p);
    EXPECT_EQ(bytes, std::string("NoLinkDistance", 15) + le16(15) + le16(0) + le16(10));

    TRFTSUniversalParameter back;
    TSorFile file("", "m");
    readFrom(bytes, back, file);
    EXPECT_EQ(back.Name, "NoLinkDistance");
    EXPECT_EQ(back.Value, 15);
    EXPECT_EQ(back.Scale, 10);
}
