// Merged events: which key events join, and how raw indices map onto them.
#include <gtest/gtest.h>

#include "link-test-traces.h"
#include "link/events-merger.h"
#include "sor/sor-block-key-events.h"

using namespace linktest;

namespace {

TSorBlockKeyEvents1E& keyEvent(TSorData& data, int i)
{
    return *data.KeyEvents->Events.data[i];
}

// Four events; their times are set by the tests.
std::unique_ptr<TSorData> fourEvents()
{
    return makeLinkTrace({}, {{0.0}, {1.0}, {2.0}, {3.0}});
}

void place(TSorData& data, int i, std::int32_t ept, std::int32_t ml2)
{
    keyEvent(data, i).EPT = ept;
    keyEvent(data, i).ML2 = ml2;
}

} // namespace

TEST(EventsMerger, EventAtTheEndOfTheBodyBeforeStaysSeparate)
{
    auto data = fourEvents();
    place(*data, 0, 0, 1000);
    place(*data, 1, 10000, 12000);
    place(*data, 2, 12000, 13000);  // exactly at ML2 of the event before
    place(*data, 3, 20000, 21000);
    TEventsMerger merger(*data);
    EXPECT_EQ(merger.GetEventsNum(), 4);

    // One OWT less and it lies inside that body.
    keyEvent(*data, 2).EPT = 11999;
    merger.Update();
    ASSERT_EQ(merger.GetEventsNum(), 3);
    EXPECT_EQ(merger.GetSubEventsNum(1), 2);
    EXPECT_EQ(&merger.GetEvent(1, 0), &keyEvent(*data, 1));
    EXPECT_EQ(&merger.GetEvent(1, 1), &keyEvent(*data, 2));
    EXPECT_EQ(&merger.GetEvent(2, 0), &keyEvent(*data, 3));
}

TEST(EventsMerger, ChainsJoinByTheEventJustBefore)
{
    auto data = fourEvents();
    place(*data, 0, 0, 1000);
    place(*data, 1, 10000, 12000);
    place(*data, 2, 11000, 15000);
    // Beyond the first event's body but inside the second's: still one event.
    place(*data, 3, 14000, 16000);
    const TEventsMerger merger(*data);
    ASSERT_EQ(merger.GetEventsNum(), 2);
    EXPECT_EQ(merger.GetSubEventsNum(0), 1);
    EXPECT_EQ(merger.GetSubEventsNum(1), 3);
    EXPECT_EQ(merger.Map(0), std::make_pair(0, 0));
    EXPECT_EQ(merger.Map(1), std::make_pair(1, 0));
    EXPECT_EQ(merger.Map(3), std::make_pair(1, 2));
    EXPECT_FALSE(merger.IsEofEvent(0));
    EXPECT_TRUE(merger.IsEofEvent(1));
}

TEST(EventsMerger, AnEventBeforeTheOneBeforeOpensANewEvent)
{
    auto data = fourEvents();
    place(*data, 0, 0, 1000);
    place(*data, 1, 10000, 12000);
    place(*data, 2, 9000, 12000);  // out of order: not within the body after 10000
    place(*data, 3, 20000, 21000);
    const TEventsMerger merger(*data);
    EXPECT_EQ(merger.GetEventsNum(), 4);
    EXPECT_EQ(merger.Map(2), std::make_pair(2, 0));
}

TEST(EventsMerger, EmptyTable)
{
    auto data = makeLinkTrace({}, {});
    const TEventsMerger merger(*data);
    EXPECT_EQ(merger.GetEventsNum(), 0);
}

TEST(EventsMergerDeathTest, IndexFaults)
{
    auto data = fourEvents();
    const TEventsMerger merger(*data);
    EXPECT_DEATH((void)merger.GetEvent(4, 0), "index < GetEventsNum\\(\\)");
    EXPECT_DEATH((void)merger.GetEvent(-1, 0), "index < GetEventsNum\\(\\)");
    EXPECT_DEATH((void)merger.GetEvent(0, 1), "static_cast<size_t>\\(subIndex\\) < es.size\\(\\)");
    EXPECT_DEATH((void)merger.Map(4), "\\(rawIndex >= 0\\) && \\(rawIndex < data.KeyEvents->TNKE\\)");
    EXPECT_DEATH((void)merger.Map(-1), "rawIndex < data.KeyEvents->TNKE");
}
