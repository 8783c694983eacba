#include "util/list-items.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string str(const TString& text)
{
    return std::string(text.data, static_cast<std::size_t>(text.length));
}

std::wstring str(const TwString& text)
{
    return std::wstring(text.data, static_cast<std::size_t>(text.length));
}

} // namespace

TEST(ListItemsTest, GetItemTakesTrimmedCommaSeparatedItems)
{
    const TString list("1310, 1550 ,\t1625\n");
    EXPECT_EQ(str(GetItem(list, 0)), "1310");
    EXPECT_EQ(str(GetItem(list, 1)), "1550");
    EXPECT_EQ(str(GetItem(list, 2)), "1625");
    EXPECT_EQ(str(GetItem(list, 3)), "");
    EXPECT_EQ(str(GetItem(list, -1)), "");
    EXPECT_EQ(str(GetItem(TString("a,,b"), 2)), "b");
    EXPECT_EQ(str(GetItem(TString("one item"), 0)), "one item");
}

TEST(ListItemsTest, CountStopsAtTheFirstEmptyItem)
{
    EXPECT_EQ(CountItems(TString("1310, 1550 ,1625")), 3);
    EXPECT_EQ(CountItems(TString("a,")), 1);
    EXPECT_EQ(CountItems(TString("a,,b")), 1);
    EXPECT_EQ(CountItems(TString(" , a")), 0);
    EXPECT_EQ(CountItems(TString("")), 0);
    // The text ends at its first NUL.
    EXPECT_EQ(CountItems(TString("a,b\0c,d", 7)), 2);
}

TEST(ListItemsTest, GetItemByIndexUsesCommandLineWords)
{
    const TString line("run \"my trace.sor\" -v a,b");
    EXPECT_EQ(str(GetItemByIndex(line, 0)), "run");
    EXPECT_EQ(str(GetItemByIndex(line, 1)), "my trace.sor");
    EXPECT_EQ(str(GetItemByIndex(line, 2)), "-v");
    EXPECT_EQ(str(GetItemByIndex(line, 3)), "a,b");
    EXPECT_EQ(str(GetItemByIndex(line, 4)), "");
    EXPECT_EQ(str(GetItemByIndex(line, -1)), "");
    EXPECT_EQ(str(GetItemByIndex(TString(), 0)), "");
}

TEST(ListItemsTest, WideFormsMatchTheNarrowOnes)
{
    const TwString list(L" SM-1550 ,\u0444\u0430\u0439\u043b , x,,y");
    EXPECT_EQ(CountItems(list), 3);
    EXPECT_EQ(str(GetItem(list, 0)), L"SM-1550");
    EXPECT_EQ(str(GetItem(list, 1)), L"\u0444\u0430\u0439\u043b");
    EXPECT_EQ(str(GetItem(list, 4)), L"y");
    const TwString line(L"open \"\u0444 1.sor\" now");
    EXPECT_EQ(str(GetItemByIndex(line, 1)), L"\u0444 1.sor");
    EXPECT_EQ(str(GetItemByIndex(line, 3)), L"");
}
