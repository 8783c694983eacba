#include "util/command-line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> words(const char* line)
{
    TCommandLine split(line);
    std::vector<std::string> out;
    while (const char* word = split.GetNextWord())
        out.push_back(word);
    // Once at the end, it stays there.
    EXPECT_EQ(split.GetNextWord(), nullptr);
    return out;
}

std::vector<std::wstring> wideWords(const wchar_t* line)
{
    TCommandLine split(line);
    EXPECT_EQ(split.GetNextWord(), nullptr);
    std::vector<std::wstring> out;
    while (const wchar_t* word = split.GetNextWordW())
        out.push_back(word);
    return out;
}

using Words = std::vector<std::string>;

} // namespace

TEST(CommandLineTest, BlanksSeparateWords)
{
    EXPECT_EQ(words("otdr 1"), (Words{"otdr", "1"}));
    EXPECT_EQ(words("  fibertest   convert\tin.sor  "), (Words{"fibertest", "convert", "in.sor"}));
    EXPECT_EQ(words(""), Words{});
    EXPECT_EQ(words(" \t "), Words{});
    EXPECT_EQ(words(nullptr), Words{});
}

TEST(CommandLineTest, QuotedWordStaysWholeWithoutQuotes)
{
    EXPECT_EQ(words("open \"/mnt/usb/my traces/a.sor\" -v"), (Words{"open", "/mnt/usb/my traces/a.sor", "-v"}));
    EXPECT_EQ(words("\"\" x"), (Words{"", "x"}));
    // The closing quote ends the word and the next one starts right behind it.
    EXPECT_EQ(words("\"a b\"c"), (Words{"a b", "c"}));
    // Unterminated: the rest of the line, blanks included.
    EXPECT_EQ(words("app \"no end  here "), (Words{"app", "no end  here "}));
    // A quote inside a word is an ordinary character.
    EXPECT_EQ(words("a\"b c\""), (Words{"a\"b", "c\""}));
}

TEST(CommandLineTest, WorksOnItsOwnCopy)
{
    const char line[] = "a \"b c\" d";
    const std::string before = line;
    std::vector<std::string> seen;
    {
        TCommandLine split(line);
        const char* first = split.GetNextWord();
        const char* second = split.GetNextWord();
        seen = {first, second};
        EXPECT_STREQ(first, "a");
    }
    EXPECT_EQ(seen, (Words{"a", "b c"}));
    EXPECT_EQ(std::string(line), before);
}

TEST(CommandLineTest, WideFormFollowsTheSameRules)
{
    EXPECT_EQ(wideWords(L" 2 \"\u0444\u0430\u0439\u043b 1.sor\"\t-x \"open"),
              (std::vector<std::wstring>{L"2", L"\u0444\u0430\u0439\u043b 1.sor", L"-x", L"open"}));
    EXPECT_EQ(wideWords(static_cast<const wchar_t*>(nullptr)), std::vector<std::wstring>{});
    TCommandLine narrow("a b");
    EXPECT_EQ(narrow.GetNextWordW(), nullptr);
}
