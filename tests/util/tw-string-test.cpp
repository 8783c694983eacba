#include "util/tw-string.h"

#include <gtest/gtest.h>

#include <climits>

TEST(TwStringTest, ConstructionAndNumbers)
{
    const TwString null(static_cast<const wchar_t*>(nullptr));
    ASSERT_NE(null.data, nullptr);
    EXPECT_EQ(null.length, 0);
    EXPECT_TRUE(null == nullptr);
    EXPECT_EQ(TwString(-17), L"-17");
    EXPECT_EQ(TwString(0.25), L"0.250000");
    // "%lf" of 1e300 needs more than the 64-character buffer.
    EXPECT_EQ(TwString(1e300), L"1e+300");
    const TwString bounded(L"ab\0cd", 4);
    EXPECT_EQ(bounded.length, 4);
    EXPECT_EQ(bounded.data[3], L'\0');
}

TEST(TwStringTest, EditingAndSearching)
{
    TwString s(L"abcdef");
    s.Delete(4, 10);
    EXPECT_EQ(s, L"abcd");
    s.Delete(-1, 1);
    EXPECT_EQ(s, L"abcd");
    EXPECT_EQ(s.SubString(1, 2), L"bc");
    EXPECT_EQ(s.SubString(4, 1), L"");
    EXPECT_EQ(TwString(L"x-x-").ReverseFind(L"x"), 2);
    EXPECT_EQ(TwString(L"x").ReverseFind(L"xx"), -1);
    EXPECT_EQ(TwString(L"x-x-").Find(L"-", 2), 3);
    EXPECT_EQ(TwString(L" \ta ").Trim(), L"a");
    s += L"\u00e9";
    EXPECT_EQ(s + TwString(L"!"), L"abcd\u00e9!");

    TLuArray<TwString, TwString*> pieces;
    TwString(L"a;b;").Split(&pieces, TwString(L";"));
    ASSERT_EQ(pieces.count, 2);
    EXPECT_EQ(*pieces[0], L"a");
    EXPECT_EQ(*pieces[1], L"b");
}

TEST(TwStringTest, ParsingAndCase)
{
    EXPECT_EQ(TwString(L"").ToIntDef(7), 0);
    EXPECT_EQ(TwString(L"x").ToIntDef(7), 7);
    EXPECT_EQ(TwString(L"42nd").ToIntDef(7), 42);
    EXPECT_EQ(TwString(L"1e12").ToInt(), 1);
    EXPECT_EQ(TwString(L"77777777777").ToInt(), INT_MAX);
    EXPECT_DOUBLE_EQ(TwString(L"x").ToFloatDef(1.5), 1.5);
    EXPECT_DOUBLE_EQ(TwString(L" 3.25").ToFloat(), 3.25);
    EXPECT_EQ(TwString(L"OTDR").CompareNoCase(TwString(L"otdr")), 0);
    EXPECT_EQ(TwString(L"OTDR 2").ToLowerCase(), L"otdr 2");
    EXPECT_EQ(TwString(L"otdr 2").ToUpperCase(), L"OTDR 2");
    EXPECT_EQ(TwString(L"same").ToUnicode(), L"same");
}
