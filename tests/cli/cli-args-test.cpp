#include "cli-args.h"

#include <gtest/gtest.h>

using cli::OptionSpec;
using cli::PositionalSpec;
using cli::UsageError;

namespace {

const std::vector<OptionSpec> options = {
    {"output", 'o', "FILE", "where to write", false},
    {"json", 0, "", "print JSON", false},
    {"forward", 'f', "FILE", "forward trace", true},
    {"seed", 0, "N", "random seed", false},
};

std::string usageErrorOf(const std::vector<std::string>& argv, const std::vector<PositionalSpec>& positionals)
{
    try {
        (void)cli::parseArgs(argv, options, positionals);
    } catch (const UsageError& e) {
        return e.what();
    }
    return "<accepted>";
}

} // namespace

TEST(CliArgsTest, AcceptsEveryOptionForm)
{
    const auto parsed = cli::parseArgs({"in.sor", "-o", "a.sor", "--json", "--forward=1.sor", "-f", "2.sor", "--", "-x"},
                                       options, {{"IN"}, {"REST", false, true}});
    EXPECT_EQ(parsed.value("output"), "a.sor");
    EXPECT_TRUE(parsed.has("json"));
    EXPECT_FALSE(parsed.has("seed"));
    EXPECT_EQ(parsed.values("forward"), (std::vector<std::string>{"1.sor", "2.sor"}));
    EXPECT_EQ(parsed.positional(), (std::vector<std::string>{"in.sor", "-x"}));
    EXPECT_EQ(parsed.value("seed", "7"), "7");
}

TEST(CliArgsTest, DashAloneIsAnArgument)
{
    const auto parsed = cli::parseArgs({"-", "-o", "-"}, options, {{"IN"}});
    EXPECT_EQ(parsed.positional(), std::vector<std::string>{"-"});
    EXPECT_EQ(parsed.value("output"), "-");
}

TEST(CliArgsTest, ReportsEachMistakeByName)
{
    const std::vector<PositionalSpec> one = {{"IN"}};
    EXPECT_EQ(usageErrorOf({"a", "--bogus"}, one), "unknown option '--bogus'");
    EXPECT_EQ(usageErrorOf({"a", "-q"}, one), "unknown option '-q'");
    EXPECT_EQ(usageErrorOf({"a", "-of"}, one), "unknown option '-of'");
    EXPECT_EQ(usageErrorOf({"a", "-o"}, one), "option '-o' needs a value FILE");
    EXPECT_EQ(usageErrorOf({"a", "--json=yes"}, one), "option '--json' takes no value");
    EXPECT_EQ(usageErrorOf({"a", "-o", "x", "--output", "y"}, one), "option '--output' is given more than once");
    EXPECT_EQ(usageErrorOf({}, one), "missing argument IN");
    EXPECT_EQ(usageErrorOf({"a", "b"}, one), "unexpected argument 'b'");
    EXPECT_EQ(usageErrorOf({}, {{"IN", false}}), "<accepted>");
}

TEST(CliArgsTest, NumbersAreCheckedWhole)
{
    auto parse = [](const std::string& value) { return cli::parseArgs({"--seed", value}, options, {}); };
    EXPECT_EQ(parse("42").integer("seed", 0), 42);
    EXPECT_EQ(parse("-3").integer("seed", 0), -3);
    EXPECT_DOUBLE_EQ(parse("1.5e3").number("seed", 0), 1500.0);
    EXPECT_EQ(cli::parseArgs({}, options, {}).integer("seed", 9), 9);
    for (const char* bad : {"", "4x", "x", "1.5", "99999999999999999999"}) {
        try {
            (void)parse(bad).integer("seed", 0);
            ADD_FAILURE() << "accepted '" << bad << "'";
        } catch (const UsageError& e) {
            EXPECT_EQ(std::string(e.what()), std::string("option '--seed' needs a whole number, not '") + bad + "'");
        }
    }
    EXPECT_THROW((void)parse("1e999").number("seed", 0), UsageError);
    EXPECT_THROW((void)parse("one").number("seed", 0), UsageError);
}
