#include "sor/sor-block-map.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::readBack;
using sortest::written;

namespace {

// A Map of the second edition with the given entries, written by hand.
std::string mapBytes(std::uint16_t revision, std::int16_t nb,
                     const std::vector<std::tuple<std::string, std::uint16_t, std::int32_t>>& entries,
                     bool named = true)
{
    std::int32_t size = 8 + (named ? 4 : 0);
    for (const auto& e : entries)
        size += static_cast<std::int32_t>(std::get<0>(e).size()) + 1 + 6;
    Bytes out;
    if (named)
        out.text("Map");
    out.i16(revision).i32(size).i16(nb);
    for (const auto& [id, rev, bytes] : entries)
        out.text(id).i16(rev).i32(bytes);
    return out.s;
}

} // namespace

TEST(SorBlockMapTest, EmptyMapSizes)
{
    TSorBlockMap map;
    EXPECT_EQ(map.NB, 1);
    EXPECT_EQ(map.GetBlockSize(), 12);
    EXPECT_EQ(written(map).size(), 12u) << "the computed size equals the written one";
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
        TSorBlockMap map;
        unsigned long end = 0;
        EXPECT_EQ(readBack(map, mapBytes(named ? 200 : 100, 3, entries, named), &end), fsOk);
        EXPECT_EQ(map.RevisionNo, named ? 200 : 100);
        ASSERT_EQ(map.GetEntriesNum(), 2);
        EXPECT_STREQ(map.GetEntry(1)->ID.data, "DataPts");
        EXPECT_EQ(map.GetEntry(1)->Size, 20012);
        EXPECT_EQ(map.GetEntry(9)->Size, 20012) << "an index past the end gives the last entry";
        EXPECT_EQ(end, static_cast<unsigned long>(map.Size));
    }
}

TEST(SorBlockMapTest, RepairsStrayBytesInFrontOfTheName)
{
    const std::string good = mapBytes(200, 2, {{"GenParams", 200, 58}});
    const std::string stray = std::string("\x11\x22\x01\x00\x02\x00\x33\x44\x55\x66", 10) + good;
    TSorBlockMap map;
    EXPECT_EQ(readBack(map, stray), fsOk);
    TSorBlockMap reference;
    (void)readBack(reference, good);
    EXPECT_EQ(map.Size, reference.Size + 10);
    ASSERT_EQ(map.GetEntriesNum(), 1);
    EXPECT_STREQ(map.GetEntry(0)->ID.data, "GenParams");
    EXPECT_STREQ(map.BID.data, "Map");

    // Without the pattern no repair is tried: the bytes are read as an
    // unnamed first-edition Map, with nonsense sizes.
    const std::string noPattern = std::string("\x11\x22\x33\x44\x55\x66\x77\x88\x99\xAA", 10) + good;
    TSorBlockMap nonsense;
    (void)readBack(nonsense, noPattern);
    EXPECT_NE(nonsense.Size, reference.Size + 10);
}

TEST(SorBlockMapTest, BadMapsFailCleanly)
{
    TSorBlockMap newer;
    EXPECT_EQ(readBack(newer, mapBytes(300, 1, {})), fsReadError);

    TSorBlockMap negative;
    EXPECT_THROW(readBack(negative, mapBytes(200, -1, {})), TSorException);

    // NB says 30000 entries, the file holds one: no 30000 allocations, a short read.
    TSorBlockMap map;
    EXPECT_EQ(readBack(map, mapBytes(200, 30000, {{"GenParams", 200, 58}})), fsEndOfFile);
    EXPECT_LE(map.GetEntriesNum(), 1);
    EXPECT_EQ(map.NB, map.GetEntriesNum() + 1);
}

TEST(SorBlockMapTest, TruncatedEntryIsKept)
{
    std::string bytes = mapBytes(200, 3, {{"GenParams", 200, 58}, {"DataPts", 200, 20012}});
    bytes.resize(bytes.size() - 3);  // the last entry loses most of its size
    TSorBlockMap map;
    EXPECT_EQ(readBack(map, bytes), fsEndOfFile);
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
    const std::string bytes = written(copy);
    EXPECT_EQ(bytes.size(), static_cast<std::size_t>(map.Size));
    TSorBlockMap back;
    EXPECT_EQ(readBack(back, bytes), fsOk);
    EXPECT_EQ(back.NB, 3);
    EXPECT_EQ(back.Size, map.Size);
    EXPECT_STREQ(back.GetEntry(1)->ID.data, "Cksum");
}
