#include "util/t-string.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string bytes(const TString& s) { return std::string(s.data, static_cast<std::size_t>(s.length)); }

// Collects the pieces of Split as standard strings.
std::vector<std::string> split(const char* text, const char* delimiter)
{
    TLuArray<TString, TString*> pieces;
    TString(text).Split(&pieces, TString(delimiter));
    std::vector<std::string> out;
    for (int i = 0; i < pieces.count; ++i)
        out.push_back(bytes(*pieces[i]));
    return out;
}

// Switches LC_CTYPE for one test and restores it.
class CtypeLocale
{
public:
    explicit CtypeLocale(const char* name) : previous(std::setlocale(LC_CTYPE, nullptr))
    {
        ok = std::setlocale(LC_CTYPE, name) != nullptr;
    }
    ~CtypeLocale() { std::setlocale(LC_CTYPE, previous.c_str()); }
    bool ok = false;

private:
    std::string previous;
};

} // namespace

TEST(TStringTest, ConstructionKeepsAValidTerminatedBuffer)
{
    const TString null(static_cast<const char*>(nullptr));
    ASSERT_NE(null.data, nullptr);
    EXPECT_EQ(null.length, 0);
    EXPECT_EQ(null.data[0], '\0');
    EXPECT_TRUE(null == nullptr);
    EXPECT_FALSE(TString("a") == nullptr);

    // The bounded copy stops at the NUL but still claims n characters.
    const TString bounded("ab\0cd", 5);
    EXPECT_EQ(bounded.length, 5);
    EXPECT_EQ(bytes(bounded), std::string("ab\0\0\0", 5));
    EXPECT_EQ(TString("abc", 2), "ab");
    EXPECT_EQ(TString(static_cast<const char*>(nullptr), 3).length, 0);

    EXPECT_EQ(TString('x'), "x");
    EXPECT_EQ(TString(-42), "-42");
    EXPECT_EQ(TString(1234567890123L), "1234567890123");
    EXPECT_EQ(TString(1.5), "1.500000");
}

TEST(TStringTest, AssignmentFromOwnBufferIsSafe)
{
    TString s("hello");
    s = s.data + 2;
    EXPECT_EQ(s, "llo");
    s += s;
    EXPECT_EQ(s, "llollo");
    s = s;
    EXPECT_EQ(s.length, 6);
    s.SetString(nullptr);
    EXPECT_EQ(s.length, 0);
}

TEST(TStringTest, FormatKeepsOldContentsOnEmptyOrFailedResult)
{
    TString s("keep");
    s.Format("%s", "");
    EXPECT_EQ(s, "keep");
    s.Format(nullptr);
    EXPECT_EQ(s, "keep");
    s.Format("%d-%s", 7, "x");
    EXPECT_EQ(s, "7-x");
}

TEST(TStringTest, FormatBeyondTheScratchBufferIsComplete)
{
    const std::string big(40000, 'z');
    TString s;
    s.Format("<%s>", big.c_str());
    ASSERT_EQ(s.length, 40002);
    EXPECT_EQ(bytes(s), "<" + big + ">");
}

TEST(TStringTest, DeleteAndSubStringClipToTheString)
{
    TString s("abcdef");
    s.Delete(1, 2);
    EXPECT_EQ(s, "adef");
    s.Delete(2, 100);
    EXPECT_EQ(s, "ad");
    for (auto [pos, count] : {std::pair{-1, 1}, {2, 1}, {0, 0}, {0, -3}})
        s.Delete(pos, count);
    EXPECT_EQ(s, "ad");

    const TString t("abcdef");
    EXPECT_EQ(t.SubString(2, 3), "cde");
    EXPECT_EQ(t.SubString(4, 50), "ef");
    EXPECT_EQ(t.SubString(0, 0), "");
    EXPECT_EQ(t.SubString(6, 1), "");
    EXPECT_EQ(t.SubString(-1, 2), "");
    EXPECT_EQ(t.SubString(1, -1), "");
}

TEST(TStringTest, TrimRemovesControlBytesAndBlanksOnly)
{
    const TString s("\t\r\n a b \x1f\x7f");
    EXPECT_EQ(s.Trim(), "a b \x1f\x7f");
    EXPECT_EQ(TString(" \x01x\x02 ").Trim(), "x");
    EXPECT_EQ(TString(" x ").TrimLeft(), "x ");
    EXPECT_EQ(TString(" x ").TrimRight(), " x");
    // Bytes above 127 are not negative here: a non-breaking space in Latin-1 stays.
    EXPECT_EQ(TString("\xa0x\xa0").Trim(), "\xa0x\xa0");
    EXPECT_EQ(TString(" \t ").Trim().length, 0);
    EXPECT_EQ(TString().Trim().length, 0);
}

TEST(TStringTest, FindAndReverseFind)
{
    const TString s("abcabc");
    EXPECT_EQ(s.Find("bc"), 1);
    EXPECT_EQ(s.Find("bc", 2), 4);
    EXPECT_EQ(s.Find("bc", 5), -1);
    EXPECT_EQ(s.Find("bc", 6), -1);
    EXPECT_EQ(s.Find("bc", -1), -1);
    EXPECT_EQ(s.Find(""), -1);
    EXPECT_EQ(s.Find(nullptr), -1);
    EXPECT_EQ(s.Find("abcabcx"), -1);

    EXPECT_EQ(s.ReverseFind("bc"), 4);
    EXPECT_EQ(s.ReverseFind("abcabc"), 0);
    EXPECT_EQ(s.ReverseFind("abcabca"), -1);
    EXPECT_EQ(s.ReverseFind("x"), -1);
    EXPECT_EQ(s.ReverseFind(nullptr), -1);
}

TEST(TStringTest, SplitKeepsInnerEmptyPiecesButNoTrailingOne)
{
    using V = std::vector<std::string>;
    EXPECT_EQ(split("a,b,", ","), (V{"a", "b"}));
    EXPECT_EQ(split(",a", ","), (V{"", "a"}));
    EXPECT_EQ(split("a,,b", ","), (V{"a", "", "b"}));
    EXPECT_EQ(split("abc", ","), (V{"abc"}));
    EXPECT_EQ(split("", ","), V{});
    // The scan moves on by one character after a match.
    EXPECT_EQ(split("x::y", "::"), (V{"x", ":y"}));

    TLuArray<TString, TString*> pieces;
    pieces.AddData(new TString("old"));
    TString("p q").Split(&pieces, TString(" "));
    ASSERT_EQ(pieces.count, 3);
    EXPECT_EQ(*pieces[0], "old");
    TString("p q").Split(nullptr, TString(" "));
}

TEST(TStringTest, NumberParsingDefaultsOnlyWhenTextIsNotANumber)
{
    EXPECT_EQ(TString("").ToIntDef(7), 0);
    EXPECT_EQ(TString("   ").ToIntDef(7), 0);
    EXPECT_EQ(TString("x").ToIntDef(7), 7);
    EXPECT_EQ(TString("-").ToIntDef(7), 7);
    EXPECT_EQ(TString(" -12abc").ToIntDef(7), -12);
    EXPECT_EQ(TString("99999999999").ToInt(), INT_MAX);
    EXPECT_EQ(TString("-99999999999").ToInt(), INT_MIN);

    EXPECT_DOUBLE_EQ(TString("").ToFloatDef(2.5), 0.0);
    EXPECT_DOUBLE_EQ(TString("dB").ToFloatDef(2.5), 2.5);
    EXPECT_DOUBLE_EQ(TString("-0.25dB").ToFloatDef(2.5), -0.25);
    EXPECT_DOUBLE_EQ(TString("1e3").ToFloat(), 1000.0);
}

TEST(TStringTest, ComparisonIsOverTheWholeLength)
{
    EXPECT_TRUE(TString("abc") == TString("abc"));
    EXPECT_FALSE(TString("abc", 4) == TString("abc"));
    EXPECT_FALSE(TString("abc", 4) == "abc");
    EXPECT_TRUE(TString() == "");
    EXPECT_EQ(TString("ab") + "cd" + TString("ef"), "abcdef");
    EXPECT_EQ(TString("AbC").CompareNoCase(TString("aBc")), 0);
    EXPECT_LT(TString("abc").CompareNoCase(TString("ABD")), 0);
    EXPECT_EQ(TString("Mixed 1").ToLowerCase(), "mixed 1");
    EXPECT_EQ(TString("Mixed 1").ToUpperCase(), "MIXED 1");
}

TEST(TStringTest, WideConversionsFollowTheLocale)
{
    CtypeLocale utf8("C.UTF-8");
    if (!utf8.ok)
        GTEST_SKIP() << "no C.UTF-8 locale";
    const TwString wide = TString("Gr\xc3\xbc\xc3\x9f" "e").ToUnicode();
    EXPECT_EQ(wide, L"Gr\u00fc\u00dfe");
    // Five characters, seven bytes: the narrow buffer of five bytes ends
    // before the first character that no longer fits whole.
    EXPECT_EQ(wide.ToAnsi(), "Gr\xc3\xbc");
    EXPECT_EQ(TwString(L"plain").ToAnsi(), "plain");
    // An invalid sequence ends the text.
    EXPECT_EQ(TString("ab\xff" "cd").ToUnicode(), L"ab");
    EXPECT_EQ(TString("ok").ToAnsi(), "ok");
}
