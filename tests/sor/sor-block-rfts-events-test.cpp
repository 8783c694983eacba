#include "sor/sor-block-rfts-events.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "sor-test-helpers.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::written;

namespace {

TSorBlockRFTSEvents1E distinctEvent(int base)
{
    TSorBlockRFTSEvents1E event;
    TShortDeviation* parts[] = {&event.LT, &event.RT, &event.CT, &event.PT, &event.DT};
    for (TShortDeviation* part : parts) {
        part->Flags = static_cast<std::uint16_t>(base % 8);
        part->SetDeviation(static_cast<short>(-base));
        ++base;
    }
    event.Flags = 0x0F;
    return event;
}

TSorBlockRFTSEvents filledBlock()
{
    TSorBlockRFTSEvents block;
    block.BaseSorName = "base.sor";
    block.LevelName = "Major";
    block.MonitorVersion = "2.1";
    block.MakeFail(true);
    block.InsertEvent(distinctEvent(10), 0);
    block.InsertEvent(distinctEvent(20), 1);
    block.EELD.MakeExceeded(true);
    block.EELD.SetDeviation(-700);
    block.MonitorResult = -3;
    return block;
}

} // namespace

TEST(ShortDeviationTest, FlagBitsAndSignedDeviation)
{
    TShortDeviation d;
    d.MakeAbsolute(true);
    d.MakeExceeded(true);
    EXPECT_EQ(d.Flags, 0x5);
    EXPECT_FALSE(d.IsCompared());
    d.MakeCompared(true);
    d.MakeAbsolute(false);
    EXPECT_EQ(d.Flags, 0x6);
    d.SetDeviation(-2);
    EXPECT_EQ(d.Deviation, 0xFFFE);
    EXPECT_EQ(d.GetDeviation(), -2);
    EXPECT_EQ(written(d), Bytes().i16(6).i16(-2).s);
    EXPECT_TRUE(sortest::nullFileRefused(d));
}

TEST(RftsEventsTest, EventRecordTakesEighteenBytesAndLosesPT)
{
    TSorBlockRFTSEvents1E event = distinctEvent(1);
    EXPECT_TRUE(event.IsMonitored());
    EXPECT_TRUE(event.IsNew());
    EXPECT_TRUE(event.IsFail());
    EXPECT_TRUE(event.IsFiberBreak());
    event.MakeNew(false);
    EXPECT_EQ(event.Flags, 0x0D);

    // LT, RT, CT, DT and the flags; PT is not between CT and DT.
    const std::string bytes = written(event);
    ASSERT_EQ(bytes.size(), TSorBlockRFTSEvents1E::FileSize);
    EXPECT_EQ(bytes, written(event.LT) + written(event.RT) + written(event.CT) + written(event.DT) +
                         Bytes().i16(0x0D).s);

    TSorBlockRFTSEvents1E back;
    EXPECT_EQ(readBack(back, bytes), fsOk);
    EXPECT_EQ(fieldLines(back), fieldLines(event));
    EXPECT_EQ(back.PT.Flags, 0);
    EXPECT_EQ(back.PT.Deviation, 0);
}

TEST(RftsEventsTest, RevisionDecidesEndOfLinkAndMonitorResult)
{
    TSorBlockRFTSEvents block = filledBlock();
    // Name, three texts, Flags, TNRFTSE, two events.
    const std::size_t base = 11 + 9 + 6 + 4 + 2 + 2 + 2 * 18;
    const struct {
        std::uint16_t revision;
        std::size_t size;
        bool eeld;
        bool result;
    } cases[] = {{201, base, false, false},
                 {202, base + 4, true, false},
                 {203, base + 4, true, false},
                 {204, base + 8, true, true},
                 {209, base + 8, true, true}};
    for (const auto& c : cases) {
        const std::string bytes = written(block, c.revision);
        EXPECT_EQ(bytes.size(), c.size) << c.revision;

        TSorBlockRFTSEvents back;
        unsigned long end = 0;
        EXPECT_EQ(readBack(back, bytes, c.revision, &end), fsOk) << c.revision;
        EXPECT_EQ(end, bytes.size()) << c.revision;
        EXPECT_EQ(back.BaseSorName, "base.sor");
        EXPECT_EQ(back.MonitorVersion, "2.1");
        EXPECT_TRUE(back.IsFail());
        ASSERT_EQ(back.GetTNRFTSE(), 2);
        EXPECT_EQ(back.GetEvent(1)->DT.GetDeviation(), -24);
        EXPECT_EQ(back.EELD.GetDeviation(), c.eeld ? -700 : 0) << c.revision;
        EXPECT_EQ(back.MonitorResult, c.result ? -3 : 0) << c.revision;
    }
}

TEST(RftsEventsTest, RevisionTwoHundredIsANameOnly)
{
    const std::string bytes = Bytes().text("RFTSEvents").text("x").text("y").text("z").i16(0).i16(65535).s;
    TSorBlockRFTSEvents block = filledBlock();
    unsigned long end = 0;
    EXPECT_EQ(readBack(block, bytes, 200, &end), fsOk);
    EXPECT_EQ(end, 11u);
    EXPECT_TRUE(block.IsEmpty());
    EXPECT_EQ(block.GetTNRFTSE(), 0);
    EXPECT_EQ(block.MonitorResult, 0);
}

TEST(RftsEventsTest, BlockWithoutLevelNameIsEmptyAndIgnoresKeyEvents)
{
    TSorBlockRFTSEvents block;
    EXPECT_EQ(block.RevisionNo, 209);
    EXPECT_EQ(block.BID, "RFTSEvents");
    EXPECT_EQ(block.GetBlockType(), btRFTSEvents);
    block.SetTNRFTSE(2);
    EXPECT_TRUE(block.IsEmpty());  // events without a level name are no result

    block.OnKeyEventAdd(0);
    block.OnKeyEventDel(0);
    EXPECT_EQ(block.GetTNRFTSE(), 2);
    block.OnKeyEventsClear();
    EXPECT_EQ(block.GetTNRFTSE(), 2);
}

TEST(RftsEventsTest, KeyEventChangesKeepTheEventsInStep)
{
    TSorBlockRFTSEvents block = filledBlock();
    block.OnKeyEventAdd(1);
    ASSERT_EQ(block.GetTNRFTSE(), 3);
    EXPECT_EQ(block.GetEvent(1)->Flags, 0);  // a default event
    EXPECT_EQ(block.GetEvent(2)->DT.GetDeviation(), -24);

    block.OnKeyEventDel(0);
    ASSERT_EQ(block.GetTNRFTSE(), 2);
    EXPECT_EQ(block.GetEvent(0)->Flags, 0);
    block.OnKeyEventDel(5);  // no such event: nothing moves
    EXPECT_EQ(block.GetTNRFTSE(), 2);

    block.OnKeyEventsClear();
    EXPECT_EQ(block.GetTNRFTSE(), 0);
    EXPECT_EQ(block.Events.count, 0);
    EXPECT_EQ(block.LevelName, "Major");
}

TEST(RftsEventsTest, HostileCountsAndTruncationEndLikeAShortRead)
{
    TSorBlockRFTSEvents block = filledBlock();
    const std::string good = written(block);
    const std::string head = good.substr(0, 11 + 9 + 6 + 4 + 2);

    TSorBlockRFTSEvents back;
    EXPECT_EQ(readBack(back, head + Bytes().i16(65535).s + std::string(100, '\0')), fsEndOfFile);
    EXPECT_EQ(back.GetTNRFTSE(), 0);

    for (std::size_t cut = 0; cut < good.size(); ++cut) {
        TSorBlockRFTSEvents part;
        EXPECT_NE(readBack(part, good.substr(0, cut)), fsOk) << cut;
        EXPECT_EQ(part.GetTNRFTSE(), part.Events.count) << cut;
    }
    EXPECT_TRUE(sortest::nullFileRefused(back));
}

TEST(RftsEventsTest, AssignIsDeep)
{
    TSorBlockRFTSEvents block = filledBlock();
    block.RevisionNo = 204;
    TSorBlockRFTSEvents copy;
    copy.Assign(block);
    EXPECT_EQ(copy.RevisionNo, 204);
    EXPECT_EQ(fieldLines(copy), fieldLines(block));
    EXPECT_EQ(copy.GetEvent(0)->PT.GetDeviation(), -13);  // in memory PT is copied
    block.GetEvent(0)->Flags = 0;
    block.LevelName = "Other";
    EXPECT_EQ(copy.GetEvent(0)->Flags, 0x0F);
    EXPECT_EQ(copy.LevelName, "Major");
}
