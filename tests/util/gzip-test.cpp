#include "util/gzip.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>

namespace {

// Inflates one gzip member with zlib directly, so the test does not depend
// on our own decompressor to judge our compressor.
std::string zlibInflate(const std::string& packed)
{
    z_stream z{};
    if (inflateInit2(&z, 31) != Z_OK)
        return "<init failed>";
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    z.avail_in = static_cast<uInt>(packed.size());
    std::string out;
    char buffer[4096];
    int rc;
    do {
        z.next_out = reinterpret_cast<Bytef*>(buffer);
        z.avail_out = sizeof buffer;
        rc = inflate(&z, Z_NO_FLUSH);
        out.append(buffer, sizeof buffer - z.avail_out);
    } while (rc == Z_OK);
    inflateEnd(&z);
    return rc == Z_STREAM_END ? out : "<inflate failed>";
}

std::string sampleText(std::size_t n)
{
    std::mt19937 rng(1);
    std::string s;
    const char* words[] = {"fiber ", "splice ", "connector ", "0.35 dB ", "\n"};
    while (s.size() < n)
        s += words[rng() % 5];
    s.resize(n);
    return s;
}

std::string randomBytes(std::size_t n)
{
    std::mt19937 rng(2);
    std::string s(n, '\0');
    for (auto& c : s)
        c = static_cast<char>(rng());
    return s;
}

} // namespace

TEST(GzipTest, CompressToGzipInflatesBackWithZlib)
{
    // Sizes below, at and well above the 32 KiB output step; random bytes
    // make output larger than one step.
    for (const std::string& input : {std::string("x"), sampleText(32768), sampleText(300000), randomBytes(100000)}) {
        const OptionalBuffer packed = compressToGzip(input.data(), input.size());
        ASSERT_TRUE(packed.first);
        const std::string bytes(packed.second.begin(), packed.second.end());
        ASSERT_GE(bytes.size(), 18u);
        EXPECT_EQ(static_cast<unsigned char>(bytes[0]), 0x1F);  // gzip magic
        EXPECT_EQ(static_cast<unsigned char>(bytes[1]), 0x8B);
        EXPECT_EQ(zlibInflate(bytes), input);
    }
}

TEST(GzipTest, StreamClassesRoundTripInPieces)
{
    const std::string input = sampleText(200000) + randomBytes(70000);
    GzipCompressor compressor;
    std::string packed;
    for (std::size_t at = 0; at < input.size(); at += 10007) {
        ASSERT_TRUE(compressor.write(input.substr(at, 10007)));
        packed += compressor.takeOutput();
    }
    ASSERT_TRUE(compressor.finish());
    packed += compressor.takeOutput();
    EXPECT_FALSE(compressor.write("late")) << "no input after the end";
    EXPECT_EQ(zlibInflate(packed), input);

    GzipDecompressor decompressor;
    std::string unpacked;
    for (std::size_t at = 0; at < packed.size(); at += 333) {
        ASSERT_TRUE(decompressor.write(packed.substr(at, 333)));
        unpacked += decompressor.takeOutput();
    }
    EXPECT_TRUE(decompressor.finished());
    EXPECT_EQ(unpacked, input);
}

TEST(GzipTest, OneShotHelpersAgree)
{
    const std::string input = sampleText(5000);
    const auto packed = GzipCompressor::compress(input, 1);
    ASSERT_TRUE(packed.first);
    const auto unpacked = GzipDecompressor::decompress(packed.second);
    ASSERT_TRUE(unpacked.first);
    EXPECT_EQ(unpacked.second, input);
    const auto empty = GzipCompressor::compress("");
    ASSERT_TRUE(empty.first);
    EXPECT_EQ(GzipDecompressor::decompress(empty.second), std::make_pair(true, std::string()));
}

TEST(GzipTest, DecompressorRefusesBadInput)
{
    const std::string packed = GzipCompressor::compress(sampleText(10000)).second;
    EXPECT_FALSE(GzipDecompressor::decompress("").first) << "empty input is not a gzip member";
    EXPECT_FALSE(GzipDecompressor::decompress("not gzip at all").first);
    EXPECT_FALSE(GzipDecompressor::decompress(packed.substr(0, packed.size() / 2)).first) << "truncated";
    std::string corrupt = packed;
    corrupt[corrupt.size() - 6] ^= 0x55;  // inside the CRC-32 of the trailer
    EXPECT_FALSE(GzipDecompressor::decompress(corrupt).first);
    EXPECT_FALSE(GzipDecompressor::decompress(packed + "junk").first) << "bytes after the member";

    GzipDecompressor failed;
    EXPECT_FALSE(failed.write("\x1F\x8B\x09garbage"));
    EXPECT_FALSE(failed.write(packed)) << "a failed stream stays failed";
}

TEST(GzipTest, DecompressorStopsAtItsOutputCeiling)
{
    // A megabyte of zeros packs into about a kilobyte: the classic bomb shape.
    const std::string zeros(1 << 20, '\0');
    const std::string packed = GzipCompressor::compress(zeros).second;
    ASSERT_LT(packed.size(), 5000u);
    EXPECT_FALSE(GzipDecompressor::decompress(packed, 100000).first);
    EXPECT_TRUE(GzipDecompressor::decompress(packed, 1 << 20).first);
}

TEST(GzipDeathTest, CompressToGzipAssertsItsArguments)
{
    EXPECT_DEATH((void)compressToGzip(nullptr, 10), "Assertion `data' failed");
    EXPECT_DEATH((void)compressToGzip("abc", 0), "Assertion `size > 0' failed");
}
