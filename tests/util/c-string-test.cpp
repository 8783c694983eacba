#include "util/c-string.h"

#include <gtest/gtest.h>

#include <climits>

TEST(CStringTest, CompareIgnoringCaseAnswersTheDifference)
{
    EXPECT_EQ(strcmpi("Trace", "tRACE"), 0);
    EXPECT_EQ(strcmpi("abc", "ABD"), 'c' - 'd');
    EXPECT_EQ(strcmpi("ab", "abc"), -'c');
    EXPECT_EQ(strcmpi(nullptr, "x"), 0);
    EXPECT_EQ(strcmpi("x", nullptr), 0);
    // Bytes compare as unsigned values, so a high byte sorts after ASCII.
    EXPECT_GT(strcmpi("\xe9", "z"), 0);

    EXPECT_EQ(_wcsicmp(L"Trace", L"tRACE"), 0);
    EXPECT_EQ(_wcsicmp(L"b", L"A"), 1);
    EXPECT_EQ(_wcsicmp(nullptr, L"x"), 0);
    // Values far apart must not overflow into the wrong sign.
    const wchar_t high[] = {static_cast<wchar_t>(0x7fffffff), 0};
    const wchar_t low[] = {static_cast<wchar_t>(INT_MIN), 0};
    EXPECT_GT(_wcsicmp(high, low), 0);
    EXPECT_LT(_wcsicmp(low, high), 0);
}

TEST(CStringTest, CaseConversionInPlace)
{
    char narrow[] = "Mixed Case 42";
    EXPECT_EQ(strlwr(narrow), narrow);
    EXPECT_STREQ(narrow, "mixed case 42");
    EXPECT_EQ(strupr(narrow), narrow);
    EXPECT_STREQ(narrow, "MIXED CASE 42");
    EXPECT_EQ(strlwr(nullptr), nullptr);
    EXPECT_EQ(strupr(nullptr), nullptr);

    wchar_t wide[] = L"Mixed";
    EXPECT_EQ(_wcslwr(wide), wide);
    EXPECT_STREQ(wide, L"mixed");
    EXPECT_EQ(_wcsupr(wide), wide);
    EXPECT_STREQ(wide, L"MIXED");
    EXPECT_EQ(_wcslwr(nullptr), nullptr);
    EXPECT_EQ(_wcsupr(nullptr), nullptr);
}
