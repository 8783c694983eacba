#include "sor/sor-block-map.h"

#include <gtest/gtest.h>

#include <string>

#include "sor/sor-exception.h"
#include "sor/sor-file.h"

namespace {

// A Map of the second edition with the given entries, written by hand.
std::string mapBytes(std::uint16_t revision, std::int16_t nb,
                     const std::vector<std::tuple<std::string, std::uint16_t, std::int32_t>>& entries,
                     bool named = true)
{
    TSorFile f("", "m");
    if (named)
        f.Write(TString("Map"));
    f.Write(revision);
    std::int32_t size = 8 + (named ? 4 : 0);
    for (const auto& e : entries)
        size += static_cast<std::int32_t>(std::get<0>(e).size()) + 1 + 6;
    f.Write(size);
    f.Write(nb);
    for (const auto& [id, rev, bytes] : entries) {
        f.Write(TString(id.c_str()));
        f.Write(rev);
        f.Write(bytes);
    }
    return std::string(f.GetData(), f.GetDataSize());
}

TSorBlockMap readMap(const std::string& bytes, TSorFile& file)
{
    file.SetData(bytes.data(), bytes.size());
    file.Seek(0);
    TSorBlockMap map;
    map.Read(&file);
    return map;
}

} // namespace

TEST(SorBlockMapTest, EmptyMapSizes)
{
    TSorBlockMap map;
    EXPECT_EQ(map.NB, 1);
    EXPECT_EQ(map.GetBlockSize(), 12);
    TSorFile written("", "m");
    map.Write(&written);
    EXPECT_EQ(written.GetDataSize(), 12u) << "the computed size equals the written one";
    map.RevisionNo = 100;
    EXPECT_EQ(map.GetBlockSize(), 8);

    TSorBlockMap places(3);
    EXPECT_EQ(places.NB, 4);
    EXPECT_EQ(places.BID.length, 0);
}

TEST(SorBlockMapTest, ReadsBothEditions)
{
    const std::vector<std::tuple<std::string, std::uint16_t, std::int32_t>> entries = {
        {"GenParams", 200, 58}, {"DataPts", 200, 20012}};
    for (const bool named : {true, false}) {
        TSorFile file("", "m");
        const TSorBlockMap map = readMap(mapBytes(named ? 200 : 100, 3, entries, named), file);
        EXPECT_EQ(file.Status, fsOk);
        EXPECT_EQ(map.RevisionNo, named ? 200 : 100);
        ASSERT_EQ(map.GetEntriesNum(), 2);
        EXPECT_STREQ(map.GetEntry(1)->ID.data, "DataPts");
        EXPECT_EQ(map.GetEntry(1)->Size, 20012);
        EXPECT_EQ(map.GetEntry(9)->Size, 20012) << "an index past the end gives the last entry";
        EXPECT_EQ(file.Tell(), static_cast<unsigned long>(map.Size));
    }
}

TEST(SorBlockMapTest, RepairsStrayBytesInFrontOfTheName)
{
    const std::string good = mapBytes(200, 2, {{"GenParams", 200, 58}});
    const std::string stray = std::string("\x11\x22\x01\x00\x02\x00\x33\x44\x55\x66", 10) + good;
    TSorFile file("", "m");
    const TSorBlockMap map = readMap(stray, file);
    EXPECT_EQ(file.Status, fsOk);
    TSorFile plain("", "m");
    const TSorBlockMap reference = readMap(good, plain);
    EXPECT_EQ(map.Size, reference.Size + 10);
    ASSERT_EQ(map.GetEntriesNum(), 1);
    EXPECT_STREQ(map.GetEntry(0)->ID.data, "GenParams");
    EXPECT_STREQ(map.BID.data, "Map");

    // Without the pattern no repair is tried: the bytes are read as an
    // unnamed first-edition Map, with nonsense sizes.
    const std::string noPattern = std::string("\x11\x22\x33\x44\x55\x66\x77\x88\x99\xAA", 10) + good;
    TSorFile other("", "m");
    const TSorBlockMap nonsense = readMap(noPattern, other);
    EXPECT_NE(nonsense.Size, reference.Size + 10);
}

TEST(SorBlockMapTest, BadMapsFailCleanly)
{
    TSorFile newer("", "m");
    (void)readMap(mapBytes(300, 1, {}), newer);
    EXPECT_EQ(newer.Status, fsReadError);

    TSorFile negative("", "m");
    EXPECT_THROW((void)readMap(mapBytes(200, -1, {}), negative), TSorException);

    // NB says 30000 entries, the file holds one: no 30000 allocations, a short read.
    TSorFile hostile("", "m");
    const TSorBlockMap map = readMap(mapBytes(200, 30000, {{"GenParams", 200, 58}}), hostile);
    EXPECT_EQ(hostile.Status, fsEndOfFile);
    EXPECT_LE(map.GetEntriesNum(), 1);
    EXPECT_EQ(map.NB, map.GetEntriesNum() + 1);
}

TEST(SorBlockMapTest, TruncatedEntryIsKept)
{
    std::string bytes = mapBytes(200, 3, {{"GenParams", 200, 58}, {"DataPts", 200, 20012}});
    bytes.resize(bytes.size() - 3);  // the last entry loses most of its size
    TSorFile file("", "m");
    const TSorBlockMap map = readMap(bytes, file);
    EXPECT_EQ(file.Status, fsEndOfFile);
    ASSERT_EQ(map.GetEntriesNum(), 2);
    EXPECT_STREQ(map.GetEntry(1)->ID.data, "DataPts");
}

TEST(SorBlockMapTest, AssignAndWriteRoundTrip)
{
    TSorBlockMap map;
    map.AddEntry(new TSorBlockMapBlockInfo("GenParams", 200, 58));
    map.AddEntry(new TSorBlockMapBlockInfo("Cksum", 200, 8));
    map.Size = map.GetBlockSize();
    TSorBlockMap copy;
    copy.Assign(map);
    TSorFile file("", "m");
    copy.Write(&file);
    EXPECT_EQ(file.GetDataSize(), static_cast<unsigned long>(map.Size));
    file.Seek(0);
    TSorBlockMap back;
    back.Read(&file);
    EXPECT_EQ(back.NB, 3);
    EXPECT_EQ(back.Size, map.Size);
    EXPECT_STREQ(back.GetEntry(1)->ID.data, "Cksum");
}
