#include "sor/sor-block-key-events.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::written;

namespace {

TSorBlockKeyEvents1E* event(int n)
{
    auto* e = new TSorBlockKeyEvents1E();
    e->EN = static_cast<std::int16_t>(n);
    e->EPT = 1000 * n;
    e->ACI = static_cast<std::int16_t>(200 + n);
    e->EL = static_cast<std::int16_t>(-30 - n);
    e->ER = -45000 - n;
    e->EC = n == 3 ? "2E9999" : "1F9999";
    e->LMT = "LS";
    e->ML0 = 10 * n + 1;
    e->ML1 = 10 * n + 2;
    e->ML2 = 10 * n + 3;
    e->ML3 = 10 * n + 4;
    e->ML4 = 10 * n + 5;
    e->CMT = n == 2 ? "splice" : "";
    return e;
}

TSorBlockKeyEvents sample()
{
    TSorBlockKeyEvents block;
    for (int n = 1; n <= 3; ++n)
        block.Events.AddData(event(n));
    block.TNKE = 3;
    block.EEL = 1234;
    block.ELMP1 = -7;
    block.ELMP2 = 3000;
    block.ORL = 41000;
    block.RLMP1 = 5;
    block.RLMP2 = 3100;
    return block;
}

std::vector<int> numbers(const TSorBlockKeyEvents& block)
{
    std::vector<int> out;
    for (int i = 0; i < block.Events.count; ++i)
        out.push_back(block.Events.data[i]->EN);
    return out;
}

} // namespace

TEST(KeyEventsLayoutTest, BlockWithoutEventsIsCountAndSummary)
{
    TSorBlockKeyEvents block;
    block.RevisionNo = 200;
    block.EEL = 1;
    block.ELMP1 = 2;
    block.ELMP2 = 3;
    block.ORL = 4;
    block.RLMP1 = 5;
    block.RLMP2 = 6;
    // The count, then 22 bytes of summary.
    const std::string expected = Bytes().text("KeyEvents").i16(0).i32(1).i32(2).i32(3).i16(4).i32(5).i32(6).s;
    EXPECT_EQ(written(block), expected);
    EXPECT_FALSE(block.IsEmpty());
    EXPECT_EQ(written(block, 100), expected.substr(10));
}

TEST(KeyEventsLayoutTest, EventRecordHasMarkersFromTheSecondEditionOn)
{
    std::unique_ptr<TSorBlockKeyEvents1E> e(event(2));
    const std::string head = Bytes().i16(2).i32(2000).i16(202).i16(-32).i32(-45002).raw("1F9999", 6).raw("LS", 2).s;
    EXPECT_EQ(written(*e, 100), head + std::string("splice\0", 7));
    EXPECT_EQ(written(*e, 200), head + Bytes().i32(21).i32(22).i32(23).i32(24).i32(25).s + std::string("splice\0", 7));

    // A default event: number 1, code "0F9999", two-point method, blank comment.
    TSorBlockKeyEvents1E blank;
    EXPECT_EQ(written(blank, 100), Bytes().i16(1).i32(0).i16(0).i16(0).i32(0).raw("0F9999", 6).raw("2P", 2).text(" ").s);
}

TEST(KeyEventsLayoutTest, EventCodeIsPaddedOrCutToSixCharacters)
{
    TSorBlockKeyEvents1E e;
    e.RevisionNo = 100;
    e.EC = "1";
    EXPECT_EQ(written(e).substr(14, 6), std::string("1\0\0\0\0\0", 6));
    e.EC = "1234567";
    const std::string bytes = written(e);
    EXPECT_EQ(bytes.substr(14, 8), "1234562P");
    TSorBlockKeyEvents1E read;
    EXPECT_EQ(readBack(read, bytes, 100), fsOk);
    EXPECT_STREQ(read.EC.data, "123456");
}

TEST(KeyEventsLayoutTest, EveryFieldSurvivesWriteAndRead)
{
    for (const std::uint16_t revision : {100, 209}) {
        TSorBlockKeyEvents block = sample();
        TSorBlockKeyEvents read;
        EXPECT_EQ(readBack(read, written(block, revision), revision), fsOk);
        if (revision < 200)
            for (int i = 0; i < block.Events.count; ++i) {
                TSorBlockKeyEvents1E* e = block.Events.data[i];
                e->ML0 = e->ML1 = e->ML2 = e->ML3 = e->ML4 = 0;
            }
        EXPECT_EQ(fieldLines(read), fieldLines(block)) << "revision " << revision;
        ASSERT_EQ(read.Events.count, 3);
        EXPECT_EQ(read.Events.data[2]->FullLoss, -33);
        EXPECT_EQ(read.Events.data[2]->RevisionNo, revision);
    }
}

TEST(KeyEventsLayoutTest, WritingGivesEventsTheBlockRevisionAndTheTrueCount)
{
    TSorBlockKeyEvents block = sample();
    block.Events.data[0]->RevisionNo = 100;  // would drop the markers on its own
    block.TNKE = 7;                           // stale
    TSorBlockKeyEvents read;
    EXPECT_EQ(readBack(read, written(block, 209), 209), fsOk);
    EXPECT_EQ(block.TNKE, 3);
    ASSERT_EQ(read.Events.count, 3);
    EXPECT_EQ(read.Events.data[0]->ML4, 15);
    EXPECT_EQ(read.ORL, 41000);
}

TEST(KeyEventsInputTest, NegativeCountIsBadData)
{
    const std::string bytes = Bytes().text("KeyEvents").i16(-1).s + std::string(22, '\0');
    TSorBlockKeyEvents block;
    EXPECT_TRUE(sortest::throwsSor(TSorException::BadData, [&] { readBack(block, bytes, 209); }));
    EXPECT_EQ(block.Events.count, 0);
}

TEST(KeyEventsInputTest, HostileCountEndsLikeAShortRead)
{
    // 32767 events would take more than a megabyte; the block has 30 bytes.
    std::string bytes = Bytes().text("KeyEvents").i16(32767).s;
    bytes.resize(30, '\0');
    TSorBlockKeyEvents block = sample();
    EXPECT_EQ(readBack(block, bytes, 209), fsEndOfFile);
    EXPECT_EQ(block.Events.count, 0);
    EXPECT_EQ(block.TNKE, 0);
}

TEST(KeyEventsInputTest, BlockCutInsideAnEventKeepsTheEventsBeforeIt)
{
    // Long comments, so that the count passes the size check and the cut
    // comes inside the records.
    TSorBlockKeyEvents block = sample();
    for (int i = 0; i < 3; ++i)
        block.Events.data[i]->CMT = std::string(59, 'c').c_str();
    const std::string bytes = written(block);
    // Name 10, count 2, a full event of 102, then into the second one.
    TSorBlockKeyEvents read;
    EXPECT_EQ(readBack(read, bytes.substr(0, 10 + 2 + 102 + 40), 209), fsEndOfFile);
    ASSERT_EQ(read.Events.count, 2);
    EXPECT_EQ(read.TNKE, 2);
    EXPECT_EQ(read.Events.data[0]->ML4, 15);
    EXPECT_EQ(read.Events.data[1]->EPT, 2000);
    EXPECT_EQ(read.EEL, 0);
}

TEST(KeyEventsEditTest, NotificationsRenumberAlongTheArray)
{
    TSorBlockKeyEvents block = sample();
    block.Events.InsData(new TSorBlockKeyEvents1E(), 1);
    block.OnKeyEventAdd(1);
    EXPECT_EQ(numbers(block), (std::vector<int>{1, 2, 3, 4}));
    block.Events.DelData(0);
    block.OnKeyEventDel(0);
    EXPECT_EQ(numbers(block), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(block.Events.data[2]->EPT, 3000);
    block.OnKeyEventsClear();
    EXPECT_EQ(block.Events.count, 3);
}

TEST(KeyEventsEditTest, AssignIsDeep)
{
    const TSorBlockKeyEvents source = sample();
    TSorBlockKeyEvents copy;
    copy.Assign(source);
    EXPECT_EQ(fieldLines(copy), fieldLines(source));
    EXPECT_NE(copy.Events.data[0], source.Events.data[0]);
    copy.Assign(copy);
    EXPECT_EQ(fieldLines(copy), fieldLines(source));
}

TEST(KeyEventsEditTest, DumpNamesEachEvent)
{
    TSorBlockKeyEvents block = sample();
    const std::string text = sortest::dampOf(block);
    for (const char* line : {"// KeyEvents \n", "TNKE  = 3\n", "// event #2 \n", "EC  = '2E9999'\n", "ML4 = 35\n",
                             "CMT = 'splice'\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
}
