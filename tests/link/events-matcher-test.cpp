// The trace group and the matching of its events into physical events: the
// scan of one wavelength over its pulses, and the grouping by position.
#include <gtest/gtest.h>

#include "link-test-traces.h"
#include "link/events-matcher.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-key-events.h"

using namespace linktest;
using detail::MatchedEvent;
using detail::MatchedEvents;
using detail::ReflectanceType;

namespace {

double eptKm(const TSorData& data, int i)
{
    return kmAt(data.KeyEvents->Events.data[i]->EPT);
}

// A splice at `km` without a reflection, 0.1 dB.
EventSpec splice(double km)
{
    return {km, 0.1, 0.2};
}

EventSpec end(double km)
{
    return {km, 0.0, 0.2, -14.0, '2'};
}

MatchedEvent eventAt(double pos, ReflectanceType type = ReflectanceType::tiny, double reflectance = -70.0)
{
    MatchedEvent e;
    e.pos = pos;
    e.leftShoulderEnd = pos;
    e.rightShoulderStart = pos;
    e.reflectance = {type, reflectance};
    return e;
}

std::vector<double> positions(const TEventsMatcher& matcher)
{
    std::vector<double> result;
    for (unsigned i = 0; i < matcher.GetEventsNum(); ++i)
        result.push_back(matcher.GetMatchedEvents(i).front().pos);
    return result;
}

} // namespace

TEST(SorDataGroup, TracesByWavelengthAndDirection)
{
    TraceSpec at1310;
    at1310.wavelength = 1310;
    auto a = makeLinkTrace({}, {{0.0}, end(5.0)});
    auto b = makeLinkTrace(at1310, {{0.0}, end(5.0)});
    auto c = makeLinkTrace({}, {{0.0}, end(5.0)});
    TSorDataGroup group;
    group.AddTrace(a.get(), TSorDataGroup::forward);
    group.AddTrace(b.get(), TSorDataGroup::backward);
    group.AddTrace(c.get(), TSorDataGroup::forward);
    EXPECT_EQ(group.GetTracesNum(), 3u);
    EXPECT_EQ(group.GetWavelens(), (std::vector<unsigned>{1310, 1550}));
    EXPECT_EQ(group.GetWavelens(TSorDataGroup::forward), std::vector<unsigned>{1550});
    EXPECT_EQ(group.GetWavelens(TSorDataGroup::backward), std::vector<unsigned>{1310});
    EXPECT_EQ(group.GetWavelenDirectionsPairsNum(), 2u);
    const auto forward1550 = group.GetTraces(TSorDataGroup::forward, 1550);
    ASSERT_EQ(forward1550.size(), 2u);
    EXPECT_EQ(forward1550[0]->data, a.get());
    EXPECT_EQ(forward1550[1]->data, c.get());
    EXPECT_TRUE(group.GetTraces(TSorDataGroup::backward, 1550).empty());
    EXPECT_EQ(group.GetTrace(1).merger.GetEventsNum(), 2);
}

TEST(EventsMatcher, OneTraceGivesOneGroupPerEvent)
{
    TraceSpec shape;
    auto data = makeLinkTrace(shape, {{0.0}, splice(3.0), {7.0, 0.5, 0.2, -40.0, '1'}, end(12.0)});
    data->AUXParams->PonType = 1;
    data->AUXParams->FirstSplitterRatio = 8;
    data->AUXParams->SecondSplitterRatio = 4;
    TSorDataGroup group;
    group.AddTrace(data.get(), TSorDataGroup::forward);
    const TEventsMatcher matcher(group);
    EXPECT_EQ(matcher.GetWavelenDirectionsPairsNum(), 1u);
    EXPECT_EQ(matcher.GetPonType(), 1u);
    EXPECT_EQ(matcher.GetFirstSplitterRatio(), 8u);
    EXPECT_EQ(matcher.GetSecondSplitterRatio(), 4u);
    // The end, whose loss cannot be measured, comes in with the rest of the trace.
    ASSERT_EQ(matcher.GetEventsNum(), 4u);
    for (unsigned i = 0; i < 4; ++i) {
        ASSERT_EQ(matcher.GetMatchedEvents(i).size(), 1u);
        EXPECT_EQ(matcher.GetMatchedEvents(i).front().keyEvent, data->KeyEvents->Events.data[i]);
    }
}

TEST(EventsMatcher, EmptyGroup)
{
    const TSorDataGroup group;
    const TEventsMatcher matcher(group);
    EXPECT_EQ(matcher.GetEventsNum(), 0u);
    EXPECT_EQ(matcher.GetWavelenDirectionsPairsNum(), 0u);
    EXPECT_EQ(matcher.GetPonType(), 0u);
}

TEST(EventsMatcher, BackwardTracesNeedASpanEnd)
{
    TraceSpec noEnd;
    noEnd.direction = 1;
    noEnd.spanEndType = 0;
    auto a = makeLinkTrace(noEnd, {{0.0}, splice(3.0), end(8.0)});
    noEnd.spanEndType = 1;
    noEnd.wavelength = 1310;
    auto b = makeLinkTrace(noEnd, {{0.0}, splice(3.0), end(8.0)});
    TSorDataGroup group;
    group.AddTrace(a.get(), TSorDataGroup::backward);
    group.AddTrace(b.get(), TSorDataGroup::backward);
    EXPECT_FALSE(detail::HasSpanEnd(*a));
    EXPECT_TRUE(detail::IsBackwardAndHasNoSpanEnd(group.GetTrace(0)));
    const TEventsMatcher none(group);
    EXPECT_EQ(none.GetEventsNum(), 0u);
    EXPECT_EQ(none.GetWavelenDirectionsPairsNum(), 0u);

    // With its span end at the last event a backward trace is placed from
    // the link's start: its end lies at 0, its launch at the far end.
    b->AUXParams->SpanEnd.type = 4;
    const TEventsMatcher mirrored(group);
    ASSERT_EQ(mirrored.GetEventsNum(), 3u);
    const double length = eptKm(*b, 2);
    EXPECT_DOUBLE_EQ(positions(mirrored)[0], 0.0);
    EXPECT_DOUBLE_EQ(positions(mirrored)[1], length - eptKm(*b, 1));
    EXPECT_DOUBLE_EQ(positions(mirrored)[2], length);
    EXPECT_EQ(mirrored.GetMatchedEvents(0).front().keyEvent, b->KeyEvents->Events.data[2]);
}

namespace {

// A 10 ns trace that sinks into the noise after 12 km, and a 1000 ns trace
// that sees to the end at 25 km but blurs the two events at 1.0 and 1.05 km
// into one (its event at 1 km has its body up to 1.2 km).
struct TwoPulses
{
    std::unique_ptr<TSorData> shortPulse;
    std::unique_ptr<TSorData> longPulse;

    explicit TwoPulses(double shortRangeKm, const std::vector<EventSpec>& shortEvents, double longC)
    {
        TraceSpec s;
        s.pulseNs = 10.0;
        s.launchLevel = -20.0;
        s.noiseFromKm = 12.0;
        s.rangeKm = shortRangeKm;
        shortPulse = makeLinkTrace(s, shortEvents);
        TraceSpec l;
        l.pulseNs = 1000.0;
        l.launchLevel = -5.0;
        EventSpec a = splice(1.0);
        a.ml2 = 1.2;
        longPulse = makeLinkTrace(l, {{0.0}, a, splice(1.05), splice(longC), splice(15.0), end(25.0)});
    }
};

} // namespace

TEST(EventsMatcher, ShortPulseUntilItCannotMeasureThenTheLongOne)
{
    const TwoPulses traces(30.0, {{0.0}, splice(1.0), splice(1.05), splice(8.0), splice(15.0)}, 8.0);
    TSorDataGroup group;
    // Added long first: the scan orders by pulse.
    group.AddTrace(traces.longPulse.get(), TSorDataGroup::forward);
    group.AddTrace(traces.shortPulse.get(), TSorDataGroup::forward);
    const auto list = detail::ScanOneWavelenTraces(group.GetTraces(TSorDataGroup::forward, 1550));
    ASSERT_EQ(list.size(), 6u);
    const TSorData* s = traces.shortPulse.get();
    const TSorData* l = traces.longPulse.get();
    // The events in the long pulse's dead zone from the short pulse, up to
    // the event at 15 km, whose loss the short pulse cannot measure.
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(list[i].data, s) << i;
        EXPECT_DOUBLE_EQ(list[i].pos, eptKm(*s, i)) << i;
    }
    // From the middle of the gap (11.5 km) on, the long pulse.
    EXPECT_EQ(list[4].data, l);
    EXPECT_DOUBLE_EQ(list[4].pos, eptKm(*l, 4));
    EXPECT_EQ(list[5].data, l);
    EXPECT_DOUBLE_EQ(list[5].pos, eptKm(*l, 5));
}

TEST(EventsMatcher, LongPulseResumesBeyondItsBlurOfTheLastEventTaken)
{
    // The short trace runs out at 12 km: its last event there is no event
    // of the link. The long pulse sees the splice at 8 km 50 m later, within
    // its pulse length of the short pulse's, and is not asked about it.
    const TwoPulses traces(12.0, {{0.0}, splice(1.0), splice(1.05), splice(8.0), splice(11.95)}, 8.05);
    TSorDataGroup group;
    group.AddTrace(traces.shortPulse.get(), TSorDataGroup::forward);
    group.AddTrace(traces.longPulse.get(), TSorDataGroup::forward);
    EXPECT_TRUE(detail::IsForcedEofEvent(group.GetTrace(0).merger, 4));
    EXPECT_FALSE(detail::IsForcedEofEvent(group.GetTrace(1).merger, 4));
    const auto list = detail::ScanOneWavelenTraces(group.GetTraces(TSorDataGroup::forward, 1550));
    ASSERT_EQ(list.size(), 6u);
    EXPECT_EQ(list[3].data, traces.shortPulse.get());
    EXPECT_DOUBLE_EQ(list[3].pos, eptKm(*traces.shortPulse, 3));
    EXPECT_EQ(list[4].data, traces.longPulse.get());
    EXPECT_DOUBLE_EQ(list[4].pos, eptKm(*traces.longPulse, 4));

    // 200 m later it lies beyond the blur and is the long pulse's to give.
    const TwoPulses farther(12.0, {{0.0}, splice(1.0), splice(1.05), splice(8.0), splice(11.95)}, 8.2);
    TSorDataGroup group2;
    group2.AddTrace(farther.shortPulse.get(), TSorDataGroup::forward);
    group2.AddTrace(farther.longPulse.get(), TSorDataGroup::forward);
    const auto list2 = detail::ScanOneWavelenTraces(group2.GetTraces(TSorDataGroup::forward, 1550));
    ASSERT_EQ(list2.size(), 7u);
    EXPECT_EQ(list2[4].data, farther.longPulse.get());
    EXPECT_DOUBLE_EQ(list2[4].pos, eptKm(*farther.longPulse, 3));
}

TEST(EventsMatcher, EventsBeyondTheSpanEndAreLeftToTheEnd)
{
    // The span ends at the event before the last: the last is no part of it
    // and comes in only with the rest of the trace.
    TraceSpec shape;
    shape.spanEndValue = 1;
    auto data = makeLinkTrace(shape, {{0.0}, splice(3.0), splice(6.0), end(9.0)});
    TSorDataGroup group;
    group.AddTrace(data.get(), TSorDataGroup::forward);
    EXPECT_TRUE(detail::IsEventPartOfSpan(group.GetTrace(0).merger, 2));
    EXPECT_FALSE(detail::IsEventPartOfSpan(group.GetTrace(0).merger, 3));
    EXPECT_EQ(TEventsMatcher(group).GetEventsNum(), 4u);
}

TEST(EventsMatcher, GroupingLimitGrowsWithDistance)
{
    // Points 0.1 km apart: outer limit 1.0 km, weak limit 0.5 km + 0.5 %
    // of the distance (the closest events, 0.9 km apart, give less).
    TraceSpec shape;
    shape.spacingOwt = 4900;
    shape.rangeKm = 125.0;
    shape.attenuation = 0.1;
    auto at1550 = makeLinkTrace(shape, {{0.0}, splice(10.0), splice(50.0), splice(50.9), splice(100.0), end(120.0)});
    shape.wavelength = 1310;
    auto at1310 = makeLinkTrace(shape, {{0.0}, splice(10.7), splice(50.0), splice(50.9), splice(100.7), end(120.0)});
    TSorDataGroup group;
    group.AddTrace(at1550.get(), TSorDataGroup::forward);
    group.AddTrace(at1310.get(), TSorDataGroup::forward);
    EXPECT_NEAR(CalcMaxDistBetweenPoints(group), 0.1, 1e-3);
    EXPECT_NEAR(CalcMinEventsDist(group), 0.9, 1e-4);
    EXPECT_EQ(CalcAdditionalDispersionTolerance(100.0), 0.5);

    const TEventsMatcher matcher(group);
    EXPECT_EQ(matcher.GetWavelenDirectionsPairsNum(), 2u);
    // 0.7 km apart: two events at 10 km, one at 100 km.
    ASSERT_EQ(matcher.GetEventsNum(), 7u);
    const std::vector<std::size_t> sizes{2, 1, 1, 2, 2, 2, 2};
    for (unsigned i = 0; i < 7; ++i)
        EXPECT_EQ(matcher.GetMatchedEvents(i).size(), sizes[i]) << i;
    EXPECT_EQ(matcher.GetMatchedEvents(1).front().wavelen, 1550u);
    EXPECT_EQ(matcher.GetMatchedEvents(2).front().wavelen, 1310u);
    // The first list, 1310 nm, seeds the groups.
    EXPECT_EQ(matcher.GetMatchedEvents(5).front().wavelen, 1310u);
    EXPECT_DOUBLE_EQ(matcher.GetMatchedEvents(5)[1].pos, eptKm(*at1550, 4));
    const std::vector<double> p = positions(matcher);
    EXPECT_TRUE(std::is_sorted(p.begin(), p.end()));
}

TEST(EventsMatcher, StrongReflectionsKeepToTheStrongLimitUnlessInTheCore)
{
    detail::MatchLimits limits;
    limits.outer = 1.0;
    limits.strong = 0.2;
    limits.weak = 0.5;
    std::vector<MatchedEvents> groups{{eventAt(10.0)}};
    const auto found = std::make_pair(true, std::size_t{0});

    // 0.45 km apart: 0.9 of the weak limit, beyond the strong one.
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.45), limits), found);
    EXPECT_FALSE(detail::FindMatchedEvents(groups, eventAt(10.45, ReflectanceType::normal, -40.0), limits).first);
    EXPECT_FALSE(detail::FindMatchedEvents(groups, eventAt(10.45, ReflectanceType::huge, -30.0), limits).first);
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.45, ReflectanceType::huge, -70.0), limits), found);
    EXPECT_FALSE(detail::FindMatchedEvents(groups, eventAt(10.45, ReflectanceType::normal, -60.0), limits).first);
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.45, ReflectanceType::normal, -60.001), limits), found);
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.15, ReflectanceType::normal, -40.0), limits), found);

    // The group's event lies within the strong event's core ...
    MatchedEvent wide = eventAt(10.45, ReflectanceType::normal, -40.0);
    wide.leftShoulderEnd = 9.95;
    EXPECT_EQ(detail::FindMatchedEvents(groups, wide, limits), found);
    // ... or the strong event within the group's event's core.
    groups[0][0].rightShoulderStart = 10.5;
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.45, ReflectanceType::normal, -40.0), limits), found);
    // Backward cores run the other way.
    groups[0][0].rightShoulderStart = 10.0;
    groups[0][0].leftShoulderEnd = 10.5;
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.45, ReflectanceType::normal, -40.0), limits), found);
    // Never beyond the outer limit.
    groups[0][0].leftShoulderEnd = 12.0;
    EXPECT_FALSE(detail::FindMatchedEvents(groups, eventAt(11.5), limits).first);
}

TEST(EventsMatcher, NearestGroupWinsAndTiesStayWithTheEarlier)
{
    detail::MatchLimits limits;
    limits.outer = 1.0;
    limits.strong = 0.2;
    limits.weak = 0.5;
    const std::vector<MatchedEvents> groups{{}, {eventAt(10.0)}, {eventAt(10.4)}};
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.2), limits), std::make_pair(true, std::size_t{1}));
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(10.25), limits), std::make_pair(true, std::size_t{2}));
    EXPECT_EQ(detail::FindMatchedEvents(groups, eventAt(9.9), limits), std::make_pair(true, std::size_t{1}));
}

TEST(EventsMatcher, OneEventOfAListPerGroup)
{
    // Limits from a trace with points 0.1 km apart and events 0.9 km apart.
    TraceSpec shape;
    shape.spacingOwt = 4900;
    auto data = makeLinkTrace(shape, {{0.0}, splice(0.9), end(20.0)});
    TSorDataGroup group;
    group.AddTrace(data.get(), TSorDataGroup::forward);
    // Both events of the second list match the event at 10 km; the nearer
    // joins it, the other stands alone.
    const detail::MatchedEventsLists lists{{eventAt(10.0)}, {eventAt(9.7), eventAt(10.1)}, {eventAt(9.75)}};
    const std::vector<MatchedEvents> result = detail::BuildEvents(group, lists);
    ASSERT_EQ(result.size(), 2u);
    ASSERT_EQ(result[0].size(), 2u);
    EXPECT_EQ(result[0][0].pos, 9.7);
    EXPECT_EQ(result[0][1].pos, 9.75);
    ASSERT_EQ(result[1].size(), 2u);
    EXPECT_EQ(result[1][0].pos, 10.0);
    EXPECT_EQ(result[1][1].pos, 10.1);
}

TEST(EventsMatcher, Distances)
{
    TraceSpec shape;
    shape.spacingOwt = 1000;
    auto data = makeLinkTrace(shape, {{0.0}, splice(2.0), splice(2.3), end(9.0)});
    EXPECT_DOUBLE_EQ(detail::CalcDistanceBetweenPoints(*data), kmAt(1000));
    EXPECT_DOUBLE_EQ(CalcMinEventsDist(*data), eptKm(*data, 2) - eptKm(*data, 1));
    // 100 ns: 500 OWT of pulse and two points.
    EXPECT_DOUBLE_EQ(detail::CalcTraceDelta(*data), kmAt(500) + 2 * kmAt(1000));
    auto one = makeLinkTrace(shape, {{0.0}});
    EXPECT_EQ(CalcMinEventsDist(*one), std::numeric_limits<double>::max());
    const TSorDataGroup empty;
    EXPECT_EQ(CalcMaxDistBetweenPoints(empty), 0.0);
    EXPECT_EQ(CalcMinEventsDist(empty), std::numeric_limits<double>::max());
}
