#include "util/len-unit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const TDistanceUnit allUnits[] = {duKm, duMt, duFt, duKf, duMi};
const TDistanceUnit unknownUnit = static_cast<TDistanceUnit>(7);

std::string roundValue(double value, double span, int trim = 0)
{
    char buf[TLenUnit::FormatBufSize];
    TLenUnit::FormatRoundValueStr(buf, value, span, trim);
    return buf;
}

} // namespace

TEST(LenUnitTest, ConversionsBothWaysAndCodes)
{
    EXPECT_DOUBLE_EQ(TLenUnit::GetLen(1.5, duMt), 1500.0);
    EXPECT_DOUBLE_EQ(TLenUnit::GetLen(2.0, duFt), 6561.68);
    EXPECT_DOUBLE_EQ(TLenUnit::GetLen(0.3048, duKf), 1.0);
    EXPECT_DOUBLE_EQ(TLenUnit::GetLen(1.609344, duMi), 1.0);
    EXPECT_DOUBLE_EQ(TLenUnit::GetKm(10.0, duKf), 3.048);
    EXPECT_DOUBLE_EQ(TLenUnit::GetKm(2.5, unknownUnit), 2.5);
    const char* codes[] = {"km", "mt", "ft", "kf", "mi"};
    const char* names[] = {"km", "m", "ft", "kf", "mi"};
    const int decimals[] = {5, 0, 0, 4, 4};
    for (TDistanceUnit unit : allUnits) {
        const TLenUnit len(unit);
        EXPECT_DOUBLE_EQ(len.GetKm(len.GetLen(12.345)), 12.345) << unit;
        EXPECT_STREQ(len.GetDistanceUnitCode(), codes[unit]);
        EXPECT_EQ(TLenUnit::GetDistanceUnit(codes[unit]), unit);
        EXPECT_STREQ(len.GetLenUnitStr(), names[unit]);
        EXPECT_EQ(len.GetLenDecimal(), decimals[unit]);
    }
    EXPECT_EQ(TLenUnit::GetDistanceUnit("xx"), duKm);
    EXPECT_EQ(TLenUnit::GetDistanceUnit("m"), duKm);
    EXPECT_EQ(TLenUnit::GetDistanceUnit(nullptr), duKm);
}

TEST(LenUnitTest, SmallLengthsAndAttenuation)
{
    EXPECT_DOUBLE_EQ(TLenUnit(duKm).GetSmallLen(0.25), 250.0);
    EXPECT_STREQ(TLenUnit(duMt).GetSmallLenUnitStr(), "m");
    EXPECT_DOUBLE_EQ(TLenUnit(duMi).GetSmallLen(1.0), 3280.84);
    EXPECT_STREQ(TLenUnit(duKf).GetSmallLenUnitStr(), "ft");

    const struct
    {
        TDistanceUnit unit;
        double factor;
        const char* text;
    } cases[] = {{duKm, 1.0, "dB/km"},    {duMt, 1.0, "dB/km"},      {duFt, 0.3048, "dB/kf"},
                 {duKf, 0.3048, "dB/kf"}, {duMi, 1.60933, "dB/mi"}};
    for (const auto& c : cases) {
        const TLenUnit len(c.unit);
        EXPECT_DOUBLE_EQ(len.GetAttenuation(0.35), 0.35 * c.factor) << c.text;
        EXPECT_DOUBLE_EQ(len.SetAttenuation(len.GetAttenuation(0.35)), 0.35) << c.text;
        EXPECT_STREQ(len.GetAttenuationUnitStr(), c.text);
    }
    EXPECT_EQ(TLenUnit(unknownUnit).GetAttenuation(0.35), 0.0);
}

TEST(LenUnitTest, RoundValuePrecisionFollowsTheSpan)
{
    char buf[TLenUnit::FormatBufSize];
    TLenUnit::FormatRoundValueStr(buf, 1234.0);
    EXPECT_STREQ(buf, "1200");
    TLenUnit::FormatRoundValueStr(buf, 0.123);
    EXPECT_STREQ(buf, "0.12");
    // Each step starts where the span plus half its unit reaches a power of ten.
    EXPECT_EQ(roundValue(1234.0, 949.0), "1230");
    EXPECT_EQ(roundValue(1236.0, 95.0), "1240");
    EXPECT_EQ(roundValue(123.6, 94.0), "124");
    EXPECT_EQ(roundValue(3.456, 9.5), "3");
    EXPECT_EQ(roundValue(3.456, 9.4), "3.5");
    EXPECT_EQ(roundValue(3.456, 0.94), "3.46");
    EXPECT_EQ(roundValue(3.4561, 0.094), "3.456");
    // "Add a half and truncate" rounds towards zero below zero.
    EXPECT_EQ(roundValue(-1260.0, 1260.0), "-1200");
    EXPECT_EQ(roundValue(-3.7, 20.0), "-3");
}

TEST(LenUnitTest, RoundValueTrimOnlyAfterThePoint)
{
    EXPECT_EQ(roundValue(1.50, 0.5, 1), "1.5");
    EXPECT_EQ(roundValue(2.0, 0.5, 1), "2");
    EXPECT_EQ(roundValue(2.0, 0.5, 0), "2.00");
    EXPECT_EQ(roundValue(1200.0, 1200.0, 1), "1200");
    EXPECT_EQ(roundValue(100.0, 10.0, 1), "100");
    // Values beyond int and texts beyond the buffer stay defined.
    EXPECT_EQ(roundValue(1e300, 1e300), "2147483647");
    EXPECT_EQ(roundValue(1e300, 0.0).size(), std::size_t(TLenUnit::FormatBufSize - 1));
}

TEST(LenUnitTest, LaserAndLengthTexts)
{
    char buf[TLenUnit::FormatBufSize];
    TLenUnit::FormatLaserTypeStr(buf, 651, 850);
    EXPECT_STREQ(buf, "MM-850");
    TLenUnit::FormatLaserTypeStr(buf, 652, 1550);
    EXPECT_STREQ(buf, "SM-1550");
    TLenUnit(duKm).FormatLenStr(buf, 1.25);
    EXPECT_STREQ(buf, "1.25000 km");
    TLenUnit(duMt).FormatLenStr(buf, 1.25);
    EXPECT_STREQ(buf, "1250 m");
    TLenUnit(duFt).FormatLenStr(buf, 1.0);
    EXPECT_STREQ(buf, "3281 ft");
}

TEST(LenUnitDeathTest, NoAttenuationUnitForUnknownUnit)
{
    const TLenUnit len(unknownUnit);
    EXPECT_DEATH((void)len.GetAttenuationUnitStr(), "no attenuation unit for this distance unit");
}

// The table is shared by the whole process, so the switch happens in a child.
TEST(LenUnitDeathTest, SetLenUnitStrRestoresTableWithLowerCaseLevel)
{
    char buf[TLenUnit::FormatBufSize];
    TLenUnit::FormatLevelStr(buf, -12.3456);
    EXPECT_STREQ(buf, "-12.346 dB");
    EXPECT_EXIT(
        {
            TLenUnit::SetLenUnitStr();
            TLenUnit::FormatLevelStr(buf, 3.0);
            std::exit(std::strcmp(buf, "3.000 db") == 0 && std::strcmp(TLenUnit::GetLenUnitStr(duKf), "kf") == 0
                          ? 0
                          : 1);
        },
        testing::ExitedWithCode(0), "");
}
