#include "util/crc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

// The checksums written out bit by bit, as their definitions state them.
std::uint16_t bitwiseCcitt(std::uint16_t crc, const std::string& data)
{
    for (unsigned char byte : data) {
        crc = static_cast<std::uint16_t>(crc ^ (byte << 8));
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>((crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1);
    }
    return crc;
}

std::uint16_t bitwiseCrc16(std::uint16_t crc, const std::string& data)
{
    for (unsigned char byte : data)
        for (int bit = 0; bit < 8; ++bit, byte >>= 1) {
            const bool differ = ((crc ^ byte) & 1) != 0;
            crc = static_cast<std::uint16_t>(crc >> 1);
            if (differ)
                crc ^= 0xA001;
        }
    return crc;
}

std::uint16_t ccitt(std::uint16_t start, const std::string& data)
{
    unsigned short crc = start;
    TCRC().get_crc_ccitt(crc, data.data(), static_cast<int>(data.size()));
    return crc;
}

std::uint16_t crc16(std::uint16_t start, const std::string& data)
{
    unsigned short crc = start;
    TCRC().get_crc_16(crc, data.data(), static_cast<int>(data.size()));
    return crc;
}

std::string randomBytes(std::mt19937& rng, std::size_t n)
{
    std::uniform_int_distribution<int> byte(0, 255);
    std::string s(n, '\0');
    for (auto& c : s)
        c = static_cast<char>(byte(rng));
    return s;
}

} // namespace

TEST(CrcTest, CatalogueCheckValues)
{
    const std::string check = "123456789";
    EXPECT_EQ(ccitt(0xFFFF, check), 0x29B1);  // CRC-16/CCITT-FALSE, the trace-file checksum
    EXPECT_EQ(ccitt(0x0000, check), 0x31C3);  // CRC-16/XMODEM, which some makers store
    EXPECT_EQ(crc16(0x0000, check), 0xBB3D);  // CRC-16/ARC
    EXPECT_EQ(crc16(0xFFFF, check), 0x4B37);  // CRC-16/MODBUS
}

TEST(CrcTest, EmptyNegativeAndNullInputLeaveTheAccumulator)
{
    unsigned short crc = 0x1234;
    TCRC().get_crc_ccitt(crc, "abc", 0);
    TCRC().get_crc_ccitt(crc, "abc", -5);
    TCRC().get_crc_ccitt(crc, nullptr, 3);
    TCRC().get_crc_16(crc, "abc", 0);
    TCRC().get_crc_16(crc, nullptr, 3);
    EXPECT_EQ(crc, 0x1234);
}

// The fast paths must agree with the definitions on every length (both sides
// of the eight-byte stride) and however the stream is cut into pieces.
TEST(CrcTest, EqualsBitwiseDefinitionOnRandomInput)
{
    std::mt19937 rng(20261121);
    for (std::size_t length = 0; length < 300; ++length) {
        const std::string data = randomBytes(rng, length);
        const auto start = static_cast<std::uint16_t>(rng());
        ASSERT_EQ(ccitt(start, data), bitwiseCcitt(start, data)) << "length " << length;
        ASSERT_EQ(crc16(start, data), bitwiseCrc16(start, data)) << "length " << length;
    }
    const std::string big = randomBytes(rng, 1 << 20);
    EXPECT_EQ(ccitt(0xFFFF, big), bitwiseCcitt(0xFFFF, big));
}

TEST(CrcTest, PiecewiseFeedingEqualsOneCall)
{
    std::mt19937 rng(7);
    const std::string data = randomBytes(rng, 5000);
    for (int trial = 0; trial < 50; ++trial) {
        unsigned short crc = 0xFFFF;
        std::size_t at = 0;
        while (at < data.size()) {
            const std::size_t piece = std::min<std::size_t>(rng() % 40, data.size() - at);
            TCRC().get_crc_ccitt(crc, data.data() + at, static_cast<int>(piece));
            at += piece;
        }
        ASSERT_EQ(crc, ccitt(0xFFFF, data));
    }
}
