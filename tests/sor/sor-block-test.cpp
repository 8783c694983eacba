#include "sor/sor-block.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "sor/sor-block-crc.h"
#include "sor/sor-block-special.h"
#include "sor/sor-file.h"
#include "support/files.h"
#include "support/temp-dir.h"
#include "util/crc.h"
#include "util/program-log.h"

using testsupport::TempDir;

TEST(SorBlockTest, NamesOfBlockTypes)
{
    EXPECT_STREQ(GetBlockID(btMap), "Map");
    EXPECT_STREQ(GetBlockID(btGeneralParameters), "GenParams");
    EXPECT_STREQ(GetBlockID(btCRC), "Cksum");
    EXPECT_STREQ(GetBlockID(btSpecial), "Special Proprietary");
    EXPECT_STREQ(GetBlockID(btKeyEvents1E), "?");
    EXPECT_STREQ(GetBlockID(btRFTSEvents), "?") << "the log name; files carry the real one";
    EXPECT_STREQ(GetBlockID(btEmbData), "?");
}

// The same body read with and without its name in front: the first and the
// second edition go through the same code.
TEST(SorBlockTest, CanReadTakesTheNameWhenItIsThere)
{
    for (const bool named : {true, false}) {
        TSorFile file("", "m");
        if (named)
            file.Write(TString("Cksum"));
        file.Write(std::uint16_t(0xBEEF));
        file.Seek(0);
        TSorBlockCRC block;
        block.ReadRN(&file, named ? 200 : 100);
        EXPECT_EQ(block.CRC, 0xBEEF) << (named ? "named" : "unnamed");
        EXPECT_EQ(file.Status, fsOk);
    }
}

TEST(SorBlockTest, UnknownMajorRevisionIsSkippedAndLogged)
{
    TempDir dir;
    setenv("FIBERTEST_LOG_DIR", dir.path().c_str(), 1);
    {
        auto guard = initLogFile(std::string("sor-block-test"));
        TSorFile file("", "m");
        file.Write(TString("Cksum"));
        file.Write(std::uint16_t(0x1234));
        file.Seek(0);
        TSorBlockCRC skipped;
        skipped.ReadRN(&file, 300);
        EXPECT_EQ(skipped.CRC, 0) << "left at its default";
        TSorBlockCRC current;
        file.Seek(0);
        current.ReadRN(&file, 299);
        EXPECT_EQ(current.CRC, 0x1234) << "only the hundreds are compared";
    }
    unsetenv("FIBERTEST_LOG_DIR");
    const std::string log = testsupport::readFile(dir.file("sor-block-test.log"));
    EXPECT_NE(log.find("read error: RevNo=300 > 209"), std::string::npos) << log;
    EXPECT_EQ(log.find("RevNo=299"), std::string::npos);
}

TEST(SorBlockTest, SizeIsMeasuredByWriting)
{
    TSorBlockCRC crc;
    crc.RevisionNo = 200;
    EXPECT_EQ(crc.GetBlockSize(), 8) << "\"Cksum\", NUL and the value";
    crc.RevisionNo = 100;
    EXPECT_EQ(crc.GetBlockSize(), 2);
}

TEST(SorBlockTest, ChecksumCoversEverythingBeforeItsValue)
{
    TSorFile file("", "m");
    file.WriteBuf("some blocks", 11);
    TSorBlockCRC crc;
    crc.WriteRN(&file, 200);
    const std::string bytes(file.GetData(), file.GetDataSize());
    ASSERT_EQ(bytes.size(), 11u + 6 + 2);
    unsigned short expected = 0xFFFF;
    TCRC().get_crc_ccitt(expected, bytes.data(), static_cast<int>(bytes.size() - 2));
    EXPECT_EQ(crc.CRC, expected);
    EXPECT_EQ(static_cast<unsigned char>(bytes[bytes.size() - 2]), expected & 0xFF);
    EXPECT_EQ(static_cast<unsigned char>(bytes.back()), expected >> 8);
}

TEST(SorBlockTest, ForeignBlockRoundTripsAndShortReadIsBounded)
{
    std::string body = "XYZ";
    body.push_back('\0');
    for (int i = 0; i < 96; ++i)
        body.push_back(static_cast<char>(i * 37));
    TSorFile in("", "m");
    in.WriteBuf(body.data(), body.size());
    in.Seek(0);
    TSorBlockSpecial special(100);
    special.ReadRN(&in, 200);
    EXPECT_EQ(in.Status, fsOk);
    TSorFile out("", "m");
    special.Write(&out);
    EXPECT_EQ(std::string(out.GetData(), out.GetDataSize()), body);
    EXPECT_EQ(special.GetBlockSize(), 100);

    // A Map that claims two gigabytes for a block of a 100-byte file.
    in.Seek(0);
    TSorBlockSpecial huge(0x7FFFFFFF);
    huge.Read(&in);
    EXPECT_EQ(in.Status, fsEndOfFile);
    EXPECT_EQ(huge.Size, 100);
    EXPECT_EQ(huge.Data.size(), 100u);
}

TEST(SorBlockTest, HasRoomGuardsCounts)
{
    struct Probe : TSorBlock
    {
        static bool room(TSorFile* f, unsigned long count, unsigned long each) { return HasRoom(f, count, each); }
    };
    TSorFile file("", "m");
    file.WriteBuf("0123456789", 10);
    file.Seek(0);
    EXPECT_TRUE(Probe::room(&file, 5, 2));
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_FALSE(Probe::room(&file, 6, 2));
    EXPECT_EQ(file.Status, fsEndOfFile);
    file.Seek(0);
    EXPECT_FALSE(Probe::room(&file, 0xFFFFFFFFul, 0xFFFFFFFFul)) << "no overflow in count times size";
    TSorFile counting(nullptr, "vw");
    EXPECT_TRUE(Probe::room(&counting, 1000000, 100));
}
