#include "sor/sor-file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/files.h"
#include "support/temp-dir.h"
#include "util/crc.h"

using testsupport::TempDir;

namespace {

std::string bytesOf(const TSorFile& file)
{
    return std::string(file.GetData(), file.GetDataSize());
}

std::uint16_t ccittOf(const std::string& bytes)
{
    unsigned short crc = 0xFFFF;
    TCRC().get_crc_ccitt(crc, bytes.data(), static_cast<int>(bytes.size()));
    return crc;
}

} // namespace

TEST(SorFileTest, TypedWritesAreLittleEndianAndChecksummed)
{
    TSorFile file("", "m");
    file.Write(std::int16_t(-2));
    file.Write(std::uint16_t(0x1234));
    file.Write(std::int32_t(-100000));
    file.Write(std::uint32_t(0xA1B2C3D4u));
    file.Write(TString("Map"));
    const std::string expected("\xFE\xFF\x34\x12\x60\x79\xFE\xFF\xD4\xC3\xB2\xA1Map\0", 16);
    EXPECT_EQ(bytesOf(file), expected);
    EXPECT_EQ(file.CRC & 0xFFFF, ccittOf(expected));
    EXPECT_EQ(file.Status, fsOk);

    file.Seek(0);
    std::int16_t a = 0;
    std::uint16_t b = 0;
    std::int32_t c = 0;
    std::uint32_t d = 0;
    TString text;
    file.Read(a);
    file.Read(b);
    file.Read(c);
    file.Read(d);
    file.Read(text);
    EXPECT_EQ(a, -2);
    EXPECT_EQ(b, 0x1234);
    EXPECT_EQ(c, -100000);
    EXPECT_EQ(d, 0xA1B2C3D4u);
    EXPECT_STREQ(text.data, "Map");
    EXPECT_EQ(file.Tell(), 16u);
}

TEST(SorFileTest, ChecksumIsTheSameOnEveryBackend)
{
    auto writeSample = [](TSorFile& f) {
        f.Write(std::int16_t(7));
        f.Write(TString("GenParams"));
        f.Write(TString("EN"), 2);
        f.WriteBuf("\x01\x02\x03", 3);
    };
    TSorFile memory("", "m");
    TSorFile counting(nullptr, "vw");
    char buffer[64] = {};
    TSorFile fixed(buffer, sizeof buffer);
    writeSample(memory);
    writeSample(counting);
    writeSample(fixed);
    EXPECT_EQ(counting.Tell(), memory.GetDataSize());
    EXPECT_EQ(memory.CRC, counting.CRC);
    EXPECT_EQ(memory.CRC, fixed.CRC);
    EXPECT_EQ(static_cast<std::uint32_t>(memory.CRC) >> 16, 0xFFFFu) << "only the low 16 bits take part";
}

TEST(SorFileTest, CountingFileMeasuresWithoutStoring)
{
    TSorFile file(nullptr, "vw");
    file.Write(std::int16_t(1));
    file.Write(std::int32_t(2));
    file.Write(TString("Map"));
    EXPECT_EQ(file.Tell(), 10u);
    std::int32_t untouched = 42;
    file.Read(untouched);
    EXPECT_EQ(untouched, 42);
    file.Seek(1000);
    EXPECT_EQ(file.Tell(), 1000u);
    EXPECT_EQ(file.Status, fsOk);
}

TEST(SorFileTest, FixedWidthTextIsPaddedOrCut)
{
    const std::pair<TString, std::string> cases[] = {
        {TString("EN"), std::string("EN", 2)},
        {TString("E"), std::string("E\0", 2)},
        {TString(""), std::string("\0\0", 2)},
        {TString("ENG"), std::string("EN", 2)},
    };
    for (const auto& [text, expected] : cases) {
        TSorFile file("", "m");
        file.Write(text, 2);
        EXPECT_EQ(bytesOf(file), expected) << text.data;
    }
    TSorFile six("", "m");
    six.Write(TString("0F9999"), 6);
    EXPECT_EQ(bytesOf(six), "0F9999");

    TSorFile read("", "m");
    read.WriteBuf("E\0XY", 4);
    read.Seek(0);
    TString field("unchanged");
    read.Read(field, 0);
    EXPECT_STREQ(field.data, "unchanged");
    read.Read(field, 4);
    EXPECT_STREQ(field.data, "E") << "the field ends at its first NUL";
    EXPECT_EQ(read.Tell(), 4u);
}

TEST(SorFileTest, ShortReadsOnMemory)
{
    TSorFile file("", "m");
    file.WriteBuf("ab", 2);
    file.Seek(0);
    std::int32_t value = 99;
    file.Read(value);
    EXPECT_EQ(file.Status, fsEndOfFile);
    EXPECT_EQ(value, 99) << "the target stays";
    EXPECT_EQ(file.Tell(), 0u) << "the position stays";

    file.Seek(0);
    EXPECT_EQ(file.Status, fsOk) << "a good seek clears the status";
    char raw[8] = {};
    file.Read(raw, sizeof raw);
    EXPECT_EQ(file.Status, fsEndOfFile);
    EXPECT_EQ(std::string(raw, 2), "ab");
    EXPECT_EQ(file.Tell(), 2u);

    TSorFile text("", "m");
    text.WriteBuf("abc", 3);
    text.Seek(0);
    TString got;
    text.Read(got);
    EXPECT_EQ(text.Status, fsEndOfFile) << "text without NUL at the end of the data";
    EXPECT_STREQ(got.data, "abc");
}

TEST(SorFileTest, SeekLimitsOnMemory)
{
    TSorFile file("", "m");
    file.WriteBuf("0123456789", 10);
    file.Seek(10);
    EXPECT_EQ(file.Status, fsOk);
    file.Seek(11);
    EXPECT_EQ(file.Status, fsSeekError);
    EXPECT_EQ(file.Tell(), 10u);
    EXPECT_EQ(file.BytesLeft(), 0u);
    file.Seek(4);
    EXPECT_EQ(file.BytesLeft(), 6u);
}

TEST(SorFileTest, LongTextIsCutAtTheLimit)
{
    TSorFile file("", "m");
    const std::string long2000(2000, 'x');
    file.WriteBuf(long2000.data(), long2000.size());
    file.Seek(0);
    TString text;
    file.Read(text);
    EXPECT_EQ(text.length, 1024);
    EXPECT_EQ(file.Tell(), 1024u);
    EXPECT_EQ(file.Status, fsOk);
}

TEST(SorFileTest, ReadOnlyAndFullFixedBuffers)
{
    const char source[4] = {1, 2, 3, 4};
    TSorFile readOnly(source, sizeof source);
    readOnly.Write(std::int16_t(5));
    EXPECT_EQ(readOnly.Status, fsWriteError);
    EXPECT_EQ(readOnly.Tell(), 0u);
    std::int32_t value = 0;
    readOnly.Read(value);
    EXPECT_EQ(value, 0x04030201);

    char target[3] = {};
    TSorFile full(target, sizeof target);
    full.Write(std::int16_t(0x0102));
    EXPECT_EQ(full.Status, fsOk);
    full.Write(std::int16_t(0x0304));
    EXPECT_EQ(full.Status, fsSizeError);
    EXPECT_EQ(full.Tell(), 2u) << "nothing of a write that does not fit";
    full.SetData("xyz", 4);
    EXPECT_EQ(full.Status, fsSizeError);
}

TEST(SorFileTest, BackupRestoresUnlessCancelled)
{
    TSorFile file("", "m");
    file.WriteBuf("GenParams\0rest", 14);
    file.Seek(0);
    const std::int32_t crcBefore = file.CRC;
    {
        TSorFileStateBackup backup(&file);
        TString name;
        file.Read(name);
        file.Status = fsReadError;
    }
    EXPECT_EQ(file.Tell(), 0u);
    EXPECT_EQ(file.CRC, crcBefore);
    EXPECT_EQ(file.Status, fsOk);
    {
        TSorFileStateBackup backup(&file);
        TString name;
        file.Read(name);
        backup.Cancel();
    }
    EXPECT_EQ(file.Tell(), 10u);
    EXPECT_NE(file.CRC, crcBefore);
}

TEST(SorFileTest, SkipUtf16StringStopsAtTwoZeroBytes)
{
    TSorFile file("", "m");
    file.WriteBuf("a\0b\0\0\0tail", 10);
    file.Seek(0);
    file.SkipUtf16String();
    EXPECT_EQ(file.Tell(), 5u) << "the pair may straddle two characters";
    TSorFile unterminated("", "m");
    unterminated.WriteBuf("a\0b\0", 4);
    unterminated.Seek(0);
    unterminated.SkipUtf16String();
    EXPECT_EQ(unterminated.Status, fsEndOfFile);
    unterminated.SkipUtf16String();
    EXPECT_EQ(unterminated.Tell(), 4u) << "nothing happens while the status is set";
}

TEST(SorFileTest, MemorySetDataAndSize)
{
    TSorFile file("", "m");
    file.SetData("abcdef", 6);
    EXPECT_EQ(file.Tell(), 0u);
    file.Seek(6);
    file.SetDataSize(3);
    EXPECT_EQ(file.Tell(), 3u) << "the position is pulled back to the new end";
    file.SetData(nullptr, 5);
    EXPECT_EQ(bytesOf(file), std::string("abc\0\0", 5));
}

TEST(SorFileTest, DiskFiles)
{
    TempDir dir;
    const std::string path = dir.file("trace.sor");
    {
        TSorFile out(path.c_str(), "wb");
        ASSERT_EQ(out.Status, fsOk);
        EXPECT_STREQ(out.GetFileName(), path.c_str());
        out.Write(std::uint16_t(200));
        out.Write(TString("Map"));
    }
    EXPECT_EQ(testsupport::readFile(path), std::string("\xC8\0Map\0", 6));
    TSorFile in(path.c_str(), "rb");
    std::uint16_t revision = 0;
    TString name;
    in.Read(revision);
    EXPECT_EQ(in.BytesLeft(), 4u);
    in.Read(name);
    EXPECT_EQ(revision, 200);
    EXPECT_STREQ(name.data, "Map");
    std::int16_t past = 5;
    in.Read(past);
    EXPECT_EQ(in.Status, fsEndOfFile);
    EXPECT_EQ(past, 5);

    TSorFile missing(dir.file("missing.sor").c_str(), "rb");
    EXPECT_EQ(missing.Status, fsOpenError);
}

TEST(SorFileDeathTest, BufferAccessNeedsAMemoryFile)
{
    EXPECT_DEATH(
        {
            TSorFile counting(nullptr, "vw");
            (void)counting.GetDataSize();
        },
        "FileType == ftMemory");
    EXPECT_DEATH((void)TSorFile(nullptr, "rb"), "filename && mode");
}

// A text of 1024 bytes or more would read back cut, with the next field
// starting inside it; the writer cuts it so that its files read back.
TEST(SorFileTest, OverlongTextIsWrittenSoThatItReadsBack)
{
    TSorFile file("", "m");
    file.Write(TString(std::string(1500, 'c').c_str()));
    file.Write(std::int16_t(42));
    EXPECT_EQ(file.GetDataSize(), 1024u + 2u);
    file.Seek(0);
    TString text;
    std::int16_t next = 0;
    file.Read(text);
    file.Read(next);
    EXPECT_EQ(text.length, 1023);
    EXPECT_EQ(next, 42);
}
