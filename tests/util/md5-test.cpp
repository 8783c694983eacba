#include "util/md5.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string hex(const std::string& raw)
{
    std::string out;
    char two[3];
    for (unsigned char c : raw) {
        std::snprintf(two, sizeof two, "%02x", c);
        out += two;
    }
    return out;
}

} // namespace

// The test suite of RFC 1321, appendix A.5.
TEST(Md5Test, Rfc1321TestSuite)
{
    EXPECT_EQ(hex(TMd5::GetStringMd5Hash("a")), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(hex(TMd5::GetStringMd5Hash("abc")), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(hex(TMd5::GetStringMd5Hash("message digest")), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(hex(TMd5::GetStringMd5Hash("abcdefghijklmnopqrstuvwxyz")), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(hex(TMd5::GetStringMd5Hash("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789")),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(hex(TMd5::GetStringMd5Hash(
                  "12345678901234567890123456789012345678901234567890123456789012345678901234567890")),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Md5Test, EmptyDigestNeedsTheObjectAPI)
{
    // The convenience call answers zeros for "nothing given"; the digest of
    // zero bytes is still there through the object.
    char out[TMd5::DigestSize];
    TMd5 md5;
    md5.Get(reinterpret_cast<const unsigned char*>(""), 0, out);
    EXPECT_EQ(hex(std::string(out, sizeof out)), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(TMd5::GetStringMd5Hash(""), std::string(16, '\0'));
}

TEST(Md5Test, NullOrNonPositiveSizeGivesSixteenZeroBytes)
{
    const std::string zeros(16, '\0');
    EXPECT_EQ(TMd5::GetMd5Hash(nullptr, 10), zeros);
    const unsigned char data[] = {1, 2, 3};
    EXPECT_EQ(TMd5::GetMd5Hash(data, 0), zeros);
    EXPECT_EQ(TMd5::GetMd5Hash(data, -1), zeros);
}

TEST(Md5Test, PiecewiseUpdatesAcrossBlockBoundariesEqualOneCall)
{
    std::string data;
    for (int i = 0; i < 1000; ++i)
        data.push_back(static_cast<char>(i * 7 + 3));
    const std::string whole = TMd5::GetStringMd5Hash(data);
    for (int piece : {1, 3, 55, 56, 63, 64, 65, 129}) {
        TMd5 md5;
        for (std::size_t at = 0; at < data.size(); at += static_cast<std::size_t>(piece)) {
            const auto n = std::min<std::size_t>(static_cast<std::size_t>(piece), data.size() - at);
            md5.Update(reinterpret_cast<const unsigned char*>(data.data() + at), static_cast<int>(n));
        }
        char out[TMd5::DigestSize];
        md5.Final(out);
        EXPECT_EQ(std::string(out, sizeof out), whole) << "pieces of " << piece;
    }
}

TEST(Md5Test, ObjectIsReusableAfterInit)
{
    TMd5 md5;
    char first[16];
    char second[16];
    md5.Get(reinterpret_cast<const unsigned char*>("abc"), 3, first);
    md5.Get(reinterpret_cast<const unsigned char*>("abc"), 3, second);
    EXPECT_EQ(std::string(first, 16), std::string(second, 16));
    EXPECT_EQ(hex(std::string(first, 16)), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Md5Test, WordPackingIsLittleEndian)
{
    const unsigned char bytes[8] = {0x01, 0x02, 0x03, 0x04, 0xAA, 0xBB, 0xCC, 0xDD};
    std::uint32_t words[2];
    TMd5::ByteToDWord(words, bytes, 8);
    EXPECT_EQ(words[0], 0x04030201u);
    EXPECT_EQ(words[1], 0xDDCCBBAAu);
    unsigned char back[8];
    TMd5::DWordToByte(back, words, 8);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(back), 8), std::string(reinterpret_cast<const char*>(bytes), 8));
}
