#include "sor/sor-block-data-points.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-block-map.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"
#include "support/files.h"
#include "util/md5.h"

using sortest::Bytes;
using sortest::readBack;
using sortest::written;

namespace {

void fill(TSorBlockDataPoints& block, const std::vector<std::uint16_t>& raw, std::int16_t sf = 1000)
{
    block.GetSubBlock()->Points = raw;
    block.GetSubBlock()->SF = sf;
    block.RebuildWholeCache();
}

// A "DataPts" block by hand: name, TNDP, TSF, then one sub-block of TPS
// `tps` (which may lie about the points) and scale factor `sf`.
std::string dataPtsBytes(std::int16_t tsf, std::int32_t tps, const std::vector<std::uint16_t>& points,
                         std::int16_t sf = 1000)
{
    Bytes out = Bytes().text("DataPts").i32(tps).i16(tsf).i32(tps).i16(sf);
    for (const std::uint16_t p : points)
        out.i16(p);
    return out.s;
}

std::vector<unsigned char> md5(const std::vector<unsigned char>& bytes)
{
    const std::string d = TMd5::GetMd5Hash(bytes.data(), static_cast<int>(bytes.size()));
    return {d.begin(), d.end()};
}

} // namespace

// ---- levels and the cache ----

TEST(DataPointsLevelTest, RawPointsScaleToLevels)
{
    TSorBlockDataPoints block;
    fill(block, {0, 1000, 65535});
    EXPECT_FLOAT_EQ(block.numTofLevel(0), 0.0f);
    EXPECT_EQ(block.numTofLevel(1), -1.0f);
    EXPECT_NEAR(block.numTofLevel(2), -65.535f, 1e-4f);

    // Temperature data reads the raw values as signed.
    fill(block, {25000, 0xFFFF}, 1000);
    block.SetDataType(TSorBlockDataPoints::dtTemperature);
    block.RebuildWholeCache();
    EXPECT_FLOAT_EQ(block.numTofLevel(0), 25.0f);
    EXPECT_FLOAT_EQ(block.numTofLevel(1), -0.001f);
}

TEST(DataPointsLevelTest, OutsideTheTraceReadsAsFloor)
{
    TSorBlockDataPoints block;
    fill(block, {100, 200});
    EXPECT_EQ(block.numTofLevel(-1), -65.5f);
    EXPECT_EQ(block.numTofLevel(2), -65.5f);
    EXPECT_EQ(block.numToLevel(-1, 1), -65.5);
    EXPECT_DOUBLE_EQ(block.numToLevel(1, 0), static_cast<double>(block.numTofLevel(1)));
}

TEST(DataPointsLevelTest, SetLevelStoresCacheAsGivenAndRawSaturated)
{
    TSorBlockDataPoints block;
    fill(block, {0, 0, 0, 0});
    block.SetLevel(0, -1.0);
    EXPECT_EQ(block.GetSubBlock()->GetValue(0), 1000);
    EXPECT_EQ(block.numTofLevel(0), -1.0f);

    block.SetLevel(1, -70.0);
    EXPECT_EQ(block.GetSubBlock()->GetValue(1), 65535);
    EXPECT_EQ(block.numTofLevel(1), -70.0f);  // until the cache is rebuilt

    // A positive level wraps rather than saturating at 0.
    block.SetfLevel(2, 0.002f);
    EXPECT_EQ(block.GetSubBlock()->GetValue(2), 65534);

    block.RebuildWholeCache();
    EXPECT_NEAR(block.numTofLevel(1), -65.535f, 1e-4f);

    // SetRawLevel recomputes its entry; the bare raw store leaves the cache.
    block.SetRawLevel(3, 2500);
    EXPECT_FLOAT_EQ(block.numTofLevel(3), -2.5f);
    block.SetRawLevelToAppropriateSubBlock(3, 500);
    EXPECT_FLOAT_EQ(block.numTofLevel(3), -2.5f);
    EXPECT_EQ(block.GetSubBlock()->GetValue(3), 500);
}

TEST(DataPointsLevelTest, WholeRebuildAgreesWithSinglePointRule)
{
    TSorBlockDataPoints block;
    std::vector<std::uint16_t> raw;
    for (int i = 0; i < 2000; ++i)
        raw.push_back(static_cast<std::uint16_t>(i * 32 + 7));
    fill(block, raw, 1470);
    for (long i = 0; i < block.GetPointsNum(); ++i)
        ASSERT_EQ(block.numTofLevel(i), block.CalcLevel<float>(i, block.DataType)) << i;
}

TEST(DataPointsLevelTest, MinMaxTakesFirstOfEqualsAndGivesMean)
{
    TSorBlockDataPoints block;
    fill(block, {3000, 1000, 5000, 1000, 5000, 2000});
    float lo = 0;
    float hi = 0;
    long minPos = -1;
    long maxPos = -1;
    const float mean = block.GetMinMax(&lo, &hi, 0, 6, minPos, maxPos);
    EXPECT_FLOAT_EQ(lo, -5.0f);
    EXPECT_EQ(minPos, 2);
    EXPECT_FLOAT_EQ(hi, -1.0f);
    EXPECT_EQ(maxPos, 1);
    EXPECT_NEAR(mean, -17.0f / 6.0f, 1e-5f);

    // The end is excluded; an empty range is the level of `from`.
    EXPECT_FLOAT_EQ(block.GetMinMax(&lo, &hi, 3, 3, minPos, maxPos), -1.0f);
    EXPECT_EQ(minPos, 3);
    EXPECT_FLOAT_EQ(lo, -1.0f);

    // Off the trace every point reads the outside level, however many: the
    // first one off it is the minimum, and the mean counts them all.
    EXPECT_NEAR(block.GetMinMax(&lo, &hi, -4, 8, minPos, maxPos),
                (4.0f * TSorBlockDataPoints::OutsideLevel - 17.0f + 2.0f * TSorBlockDataPoints::OutsideLevel) / 12.0f,
                1e-4f);
    EXPECT_EQ(minPos, -4);
    EXPECT_EQ(maxPos, 1);
    const long far = 4000000000L;
    EXPECT_NEAR(block.GetMinMax(&lo, &hi, 0, far, minPos, maxPos), TSorBlockDataPoints::OutsideLevel, 1e-3f);
    EXPECT_FLOAT_EQ(lo, TSorBlockDataPoints::OutsideLevel);
    EXPECT_EQ(minPos, 6);
    EXPECT_EQ(maxPos, 1);

    double dlo = 0;
    double dhi = 0;
    block.GetMinMax(&dlo, &dhi, 2, 5, minPos, maxPos);
    EXPECT_DOUBLE_EQ(dlo, block.numTofLevel(2));
    EXPECT_EQ(minPos, 2);
    EXPECT_EQ(maxPos, 3);
    EXPECT_DOUBLE_EQ(block.GetMinLevel(), block.numTofLevel(2));
    EXPECT_DOUBLE_EQ(block.GetMaxLevel(), block.numTofLevel(1));
}

// ---- file form ----

TEST(DataPointsFileTest, WritesOneSubBlockAndReadsItBack)
{
    TSorBlockDataPoints block;
    fill(block, {1, 0x0203, 0xFFFF}, 1470);
    const std::string bytes = written(block);
    EXPECT_EQ(bytes, dataPtsBytes(1, 3, {1, 0x0203, 0xFFFF}, 1470));

    TSorBlockDataPoints back;
    EXPECT_EQ(readBack(back, bytes, 209), fsOk);
    EXPECT_EQ(back.GetSubBlock()->Points, block.GetSubBlock()->Points);
    EXPECT_EQ(back.GetPointsSubBlockScaleFactor(0), 1470);
    EXPECT_EQ(back.Levels, block.Levels);

    // First edition: no name in front.
    EXPECT_EQ(written(back, 100), bytes.substr(8));
}

TEST(DataPointsFileTest, SubBlockCountsAtTheEdges)
{
    // TSF 0 still reads one sub-block.
    TSorBlockDataPoints block;
    EXPECT_EQ(readBack(block, dataPtsBytes(0, 2, {7, 8}), 209), fsOk);
    EXPECT_EQ(block.GetSubBlocksNum(), 1);
    EXPECT_EQ(block.GetPointsNum(), 2);

    // A negative TPS reads no points.
    EXPECT_EQ(readBack(block, dataPtsBytes(1, -5, {7, 8}), 209), fsOk);
    EXPECT_EQ(block.GetPointsNum(), 0);
    EXPECT_TRUE(block.Levels.empty());

    // More than one sub-block is not supported: bad data, first one kept.
    const std::string two = dataPtsBytes(2, 2, {7, 8}) + Bytes().i32(1).i16(1000).i16(9).s;
    EXPECT_THROW(readBack(block, two, 209), TSorException);
    EXPECT_EQ(block.GetSubBlocksNum(), 1);
    EXPECT_EQ(block.GetPointsNum(), 2);
    EXPECT_EQ(block.Levels.size(), 2u);
}

TEST(DataPointsFileTest, PointCountLimit)
{
    std::vector<std::uint16_t> many(1000000, 3);
    TSorBlockDataPoints block;
    EXPECT_EQ(readBack(block, dataPtsBytes(1, 1000000, many), 209), fsOk);
    EXPECT_EQ(block.GetPointsNum(), 1000000);
    EXPECT_FLOAT_EQ(block.numTofLevel(999999), -0.003f);

    many.push_back(3);
    EXPECT_TRUE(sortest::throwsSor(TSorException::BadData, [&] { readBack(block, dataPtsBytes(1, 1000001, many), 209); }))
        << "TPS above the limit was accepted";
}

TEST(DataPointsFileTest, HostileCountDoesNotAllocate)
{
    // TPS of a million in a block of 20 bytes: a short read, no 2 MB buffer.
    TSorBlockDataPoints block;
    const std::string bytes = dataPtsBytes(1, 1000000, {1, 2});
    EXPECT_EQ(readBack(block, bytes, 209), fsEndOfFile);
    EXPECT_EQ(block.GetPointsNum(), 0);
    EXPECT_EQ(block.GetSubBlock()->Points.capacity(), 0u);

    // So does a sub-block count beyond the data.
    EXPECT_EQ(readBack(block, dataPtsBytes(30000, 0, {}), 209), fsEndOfFile);
    EXPECT_EQ(block.GetSubBlocksNum(), 1);
}

TEST(DataPointsFileTest, TruncatedAnywhereReadsWithoutCrash)
{
    const std::string whole = dataPtsBytes(1, 5, {1, 2, 3, 4, 5});
    for (std::size_t n = 0; n < whole.size(); ++n) {
        TSorBlockDataPoints block;
        const int status = readBack(block, whole.substr(0, n), 209);
        EXPECT_EQ(block.GetSubBlocksNum(), 1) << n;
        EXPECT_EQ(block.Levels.size(), block.GetSubBlock()->Points.size()) << n;
        if (n >= 8 + 12) {  // name and counts complete: the short point read shows
            EXPECT_EQ(status, fsEndOfFile) << n;
        }
    }
}

TEST(DataPointsFileTest, RealTracesRoundTripByteForByte)
{
    const std::string dir = testsupport::tracesDir();
    if (dir.empty())
        GTEST_SKIP() << "no trace folder at " << FIBERTEST_TRACES_DIR;
    for (const char* name : {"JDSU_MTS6000_1550_G.sor", "EXFO_FTB7400_1550_U.SOR", "demo_ab.sor",
                             "anritsu-cma4500-issue15b.sor"}) {
        const std::string bytes = testsupport::readFile(dir + "/" + name);
        TSorFile file("", "m");
        file.SetData(bytes.data(), bytes.size());
        file.Seek(0);
        TSorBlockMap map;
        map.Read(&file);
        unsigned long position = static_cast<unsigned long>(map.Size);
        bool found = false;
        for (int i = 0; i < map.GetEntriesNum() && !found; ++i) {
            const TSorBlockMapBlockInfo* entry = map.GetEntry(i);
            if (entry->ID == "DataPts") {
                found = true;
                file.Seek(position);
                TSorBlockDataPoints block;
                block.ReadRN(&file, entry->RevisionNo);
                EXPECT_EQ(file.Status, fsOk) << name;
                EXPECT_GT(block.GetPointsNum(), 1000) << name;
                EXPECT_EQ(written(block), bytes.substr(position, static_cast<std::size_t>(entry->Size))) << name;
            }
            position += static_cast<unsigned long>(entry->Size);
        }
        EXPECT_TRUE(found) << name;
    }
}

TEST(DataPointsFileTest, DampListsPointsTenToALine)
{
    TSorBlockDataPoints block;
    std::vector<std::uint16_t> raw;
    for (std::uint16_t i = 0; i < 12; ++i)
        raw.push_back(i);
    fill(block, raw);
    const std::string dump = sortest::dampOf(block);
    EXPECT_NE(dump.find("TNDP = 12\nTSF  = 1\n// data block #0 \nTPS = 12\nSF  = 1000\n"), std::string::npos);
    EXPECT_NE(dump.find("0\t1\t2\t3\t4\t5\t6\t7\t8\t9\t\n10\t11\t\n"), std::string::npos);
}

// ---- hash ----

TEST(DataPointsHashTest, WordsOfNeighboursWrapInsideTheHead)
{
    TSorBlockDataPoints block;
    fill(block, {10, 20, 40});
    // 40 + 10 - 20, 10 + 20 - 40 (mod 2^16), 20 + 40 - 10
    EXPECT_EQ(block.GetHash(), md5({30, 0, 0xF6, 0xFF, 50, 0}));

    fill(block, {});
    EXPECT_EQ(block.GetHash(), std::vector<unsigned char>(16, 0));
}

TEST(DataPointsHashTest, OnlyTheFirstHundredPointsCount)
{
    std::vector<std::uint16_t> raw;
    for (int i = 0; i < 150; ++i)
        raw.push_back(static_cast<std::uint16_t>(i * i));
    TSorBlockDataPoints whole;
    fill(whole, raw);
    TSorBlockDataPoints head;
    fill(head, std::vector<std::uint16_t>(raw.begin(), raw.begin() + 100));
    EXPECT_EQ(whole.GetHash(), head.GetHash());

    raw[120] = 1;
    TSorBlockDataPoints changedLate;
    fill(changedLate, raw);
    EXPECT_EQ(changedLate.GetHash(), whole.GetHash());

    raw[50] = 1;
    TSorBlockDataPoints changedEarly;
    fill(changedEarly, raw);
    EXPECT_NE(changedEarly.GetHash(), whole.GetHash());
}

// ---- copies ----

TEST(DataPointsCopyTest, AssignIsDeepAndTakesTheFirstSubBlock)
{
    TSorBlockDataPoints src;
    fill(src, {1, 2, 3}, 2000);
    src.SetDataType(TSorBlockDataPoints::dtAS);
    src.RevisionNo = 200;
    TSorBlockDataPoints copy;
    copy.Assign(src);
    src.SetRawLevel(0, 999);
    EXPECT_EQ(copy.GetSubBlock()->Points, (std::vector<std::uint16_t>{1, 2, 3}));
    EXPECT_EQ(copy.GetPointsSubBlockScaleFactor(0), 2000);
    EXPECT_EQ(copy.DataType, TSorBlockDataPoints::dtAS);
    EXPECT_EQ(copy.RevisionNo, 200);
    EXPECT_FLOAT_EQ(copy.numTofLevel(0), -0.002f);
}

TEST(DataPointsCopyTest, AssignInRangeZerosOutsideAndKeepsTheCount)
{
    TSorBlockDataPoints src;
    fill(src, {1, 2, 3, 4, 5, 6}, 500);
    src.SetDataType(TSorBlockDataPoints::dtTemperature);
    src.RebuildWholeCache();
    TSorBlockDataPoints dst;
    fill(dst, {9, 9, 9, 9, 9, 9, 9, 9});
    dst.AssignInRange(&src, 2, 100);  // `to` is cut to the points
    EXPECT_EQ(dst.GetSubBlock()->Points, (std::vector<std::uint16_t>{0, 0, 3, 4, 5, 6}));
    EXPECT_EQ(dst.GetPointsSubBlockScaleFactor(0), 500);
    EXPECT_EQ(dst.DataType, TSorBlockDataPoints::dtTemperature);
    EXPECT_FLOAT_EQ(dst.numTofLevel(2), 0.0015f);

    // The sub-block form keeps what lies outside the range.
    TSorBlockDataPoints1SF sub;
    sub.Points = {9, 9, 9, 9, 9, 9, 9};
    sub.AssignInRange(src.GetSubBlock(), 4, 2);  // from past to: nothing copied
    EXPECT_EQ(sub.Points, (std::vector<std::uint16_t>{9, 9, 9, 9, 9, 9}));
    sub.AssignInRange(src.GetSubBlock(), -3, 2);
    EXPECT_EQ(sub.Points, (std::vector<std::uint16_t>{1, 2, 9, 9, 9, 9}));
    sub.AssignInRange(&sub, 0, 6);
    EXPECT_EQ(sub.Points.size(), 6u);
}

// ---- assertions ----

TEST(DataPointsDeathTest, AssertionsCarryTheirTexts)
{
    TSorBlockDataPoints block;
    fill(block, {1, 2, 3});
    EXPECT_DEATH(block.SetRawLevel(3, 0), "Point index out of bounds");
    EXPECT_DEATH(block.SetRawLevel(-1, 0), "Point index out of bounds");
    EXPECT_DEATH((void)block.GetSubBlock()->GetValue(3), "pointNum < GetPointsNum\\(\\)");
    EXPECT_DEATH((void)block.GetPointsSubBlockScaleFactor(1), "Only one subblock is supported");
    EXPECT_DEATH(block.Read(nullptr), "Assertion .file. failed");

    TSorBlockDataPoints twoSubBlocks;
    twoSubBlocks.SubBlocks.AddData(new TSorBlockDataPoints1SF());
    EXPECT_DEATH(twoSubBlocks.RebuildWholeCache(), "GetSubBlocksNum\\(\\) == 1");
    EXPECT_DEATH((void)twoSubBlocks.GetHash(), "GetSubBlocksNum\\(\\) == 1");

    TSorBlockDataPoints none;
    none.SubBlocks.Clear();
    EXPECT_DEATH((void)none.GetSubBlocksNum(), "DPSF");

    TSorBlockDataPoints nullSub;
    nullSub.SubBlocks.SetData(nullptr, 0);
    EXPECT_DEATH((void)nullSub.GetSubBlock(), "oneScalePoints");
}
