#include "sor/sor-checksum.h"

#include <gtest/gtest.h>

#include <string>

#include "sor-test-helpers.h"
#include "support/files.h"
#include "util/crc.h"

namespace {

TSorChecksumConvention conventionOf(const std::string& bytes)
{
    return CheckStoredChecksum(bytes.data(), static_cast<unsigned long>(bytes.size())).convention;
}

void storeValue(std::string& bytes, std::uint16_t value)
{
    bytes[bytes.size() - 2] = static_cast<char>(value & 0xFF);
    bytes[bytes.size() - 1] = static_cast<char>(value >> 8);
}

std::uint16_t crcOf(std::uint16_t start, const std::string& bytes, std::size_t length)
{
    unsigned short crc = start;
    TCRC().get_crc_ccitt(crc, bytes.data(), static_cast<int>(length));
    return crc;
}

} // namespace

TEST(SorChecksumTest, TellsTheConventions)
{
    auto data = sortest::makeSampleTrace();
    std::string bytes = sortest::writeToBytes(*data);
    const auto check = CheckStoredChecksum(bytes.data(), static_cast<unsigned long>(bytes.size()));
    EXPECT_EQ(check.convention, TSorChecksumConvention::CcittFalseBeforeValue);
    EXPECT_EQ(check.valueOffset, bytes.size() - 2);

    const std::size_t beforeValue = bytes.size() - 2;
    const std::size_t beforeName = bytes.size() - 8;  // "Cksum", NUL and the value
    storeValue(bytes, crcOf(0, bytes, beforeValue));
    EXPECT_EQ(conventionOf(bytes), TSorChecksumConvention::XmodemBeforeValue);
    storeValue(bytes, crcOf(0xFFFF, bytes, beforeName));
    EXPECT_EQ(conventionOf(bytes), TSorChecksumConvention::CcittFalseBeforeName);
    storeValue(bytes, crcOf(0, bytes, beforeName));
    EXPECT_EQ(conventionOf(bytes), TSorChecksumConvention::XmodemBeforeName);
    storeValue(bytes, 0);
    EXPECT_EQ(conventionOf(bytes), TSorChecksumConvention::NeverComputed);
    storeValue(bytes, static_cast<std::uint16_t>(crcOf(0xFFFF, bytes, beforeValue) ^ 1));
    EXPECT_EQ(conventionOf(bytes), TSorChecksumConvention::Mismatch);
}

TEST(SorChecksumTest, NoChecksumWhereThereIsNone)
{
    EXPECT_EQ(conventionOf(""), TSorChecksumConvention::NotFound);
    EXPECT_EQ(conventionOf("not a trace at all"), TSorChecksumConvention::NotFound);
    auto data = sortest::makeSampleTrace();
    const std::string bytes = sortest::writeToBytes(*data);
    EXPECT_EQ(conventionOf(bytes.substr(0, bytes.size() - 1)), TSorChecksumConvention::NotFound)
        << "the block runs past the end";
}

// The shared traces say in their notes which convention their makers used.
TEST(SorChecksumTest, OtherMakersFiles)
{
    const std::string dir = testsupport::tracesDir();
    if (dir.empty())
        GTEST_SKIP() << "the shared traces are not on this machine";
    const std::pair<const char*, TSorChecksumConvention> expected[] = {
        {"demo_ab.sor", TSorChecksumConvention::CcittFalseBeforeValue},
        {"example1-noyes-ofl280.sor", TSorChecksumConvention::CcittFalseBeforeValue},
        {"anritsu-mt1000a-1310_0045.sor", TSorChecksumConvention::XmodemBeforeValue},
        {"fibercloud-fc3200-otdr2.sor", TSorChecksumConvention::NeverComputed},
        {"example2-exfo-maxtester730c.sor", TSorChecksumConvention::Mismatch},
    };
    for (const auto& [name, convention] : expected)
        EXPECT_EQ(conventionOf(testsupport::readFile(dir + "/" + name)), convention) << name;
}
