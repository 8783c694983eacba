#include "sor/sor-rfts-thresholds.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "sor-test-helpers.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::written;

namespace {

TThresholdsRFTSSet distinctSet(int base)
{
    TThresholdsRFTSSet set;
    set.Enabled = 0;
    TShortThreshold* parts[] = {&set.LT, &set.RT, &set.CT, &set.PT, &set.DT};
    for (TShortThreshold* part : parts) {
        part->Absolute = static_cast<std::int16_t>(base / 10 % 2);
        part->AbsoluteThreshold = static_cast<std::int16_t>(base + 1);
        part->RelativeThreshold = static_cast<std::int16_t>(-(base + 2));
        base += 10;
    }
    return set;
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
    for (TSorBlock* record : records)
        EXPECT_TRUE(sortest::nullFileRefused(*record)) << "type " << record->GetBlockType();
}

TEST(RftsThresholdsSetTest, TakesTwentySixBytesAndLosesPT)
{
    TThresholdsRFTSSet set = distinctSet(100);
    const std::string bytes = written(set);
    ASSERT_EQ(bytes.size(), TThresholdsRFTSSet::FileSize);
    // Enabled, then LT, RT, CT and DT; PT (base 130) is not among them.
    EXPECT_EQ(bytes, Bytes().i16(0).i16(0).i16(101).i16(-102).i16(1).i16(111).i16(-112).i16(0).i16(121).i16(-122)
                         .i16(0).i16(141).i16(-142).s);

    TThresholdsRFTSSet back;
    unsigned long end = 0;
    EXPECT_EQ(readBack(back, bytes + "more", &end), fsOk);
    EXPECT_EQ(end, 26u);
    EXPECT_EQ(fieldLines(back), fieldLines(set));
    EXPECT_EQ(fieldLines(back.PT), fieldLines(TShortThreshold()));
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
    EXPECT_EQ(written(level, 202).size(), withoutEelt);
    const std::string bytes = written(level, 203);
    ASSERT_EQ(bytes.size(), withoutEelt + 6);
    EXPECT_EQ(bytes.substr(withoutEelt), Bytes().i16(1).i16(4321).i16(0).s);

    TRFTSLevel back;
    EXPECT_EQ(readBack(back, bytes, 203), fsOk);
    EXPECT_EQ(fieldLines(back), fieldLines(level));

    // Read at 202, the same level gives no EELT and stops before those bytes.
    TRFTSLevel older;
    older.EELT.AbsoluteThreshold = 77;  // a read starts from the defaults
    unsigned long end = 0;
    EXPECT_EQ(readBack(older, bytes, 202, &end), fsOk);
    EXPECT_EQ(end, withoutEelt);
    EXPECT_EQ(fieldLines(older.EELT), fieldLines(TShortThreshold()));
}

TEST(RftsLevelTest, SetCountBeyondTheFileEndsLikeAShortRead)
{
    // Enabled, an empty name, a level-wide set, then 65535 sets in 30 bytes.
    const std::string bytes = Bytes().i16(1).text("").raw(std::string(26, '\0')).i16(65535).raw(std::string(30, '\0')).s;
    TRFTSLevel level;
    EXPECT_EQ(readBack(level, bytes, 203), fsEndOfFile);
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
    const std::string bytes = written(p);
    EXPECT_EQ(bytes, Bytes().text("NoLinkDistance").i32(15).i16(10).s);

    TRFTSUniversalParameter back;
    EXPECT_EQ(readBack(back, bytes), fsOk);
    EXPECT_EQ(fieldLines(back), fieldLines(p));
}
