// Section, event and total losses over merged events, and the default
// attenuation that replaces an unusable one.
#include <gtest/gtest.h>

#include "link-test-traces.h"
#include "link/event-losses.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-key-events.h"

using namespace linktest;

namespace {

// At 1310 nm (default attenuation 0.3 dB/km): the launch at 0 km without a
// section of its own, a splice at 5 km (ACI 0.2, 0.3 dB), one at 12 km with
// an ACI of 0 (0.5 dB) and the end at 20 km with a negative ACI (1.2 dB).
std::unique_ptr<TSorData> link1310()
{
    TraceSpec trace;
    trace.wavelength = 1310;
    return makeLinkTrace(trace, {{0.0},
                                 {5.0, 0.3, 0.2},
                                 {12.0, 0.5, 0.0},
                                 {20.0, 1.2, -0.1, -20.0, '2'}});
}

double eptKm(const TSorData& data, int i)
{
    return kmAt(data.KeyEvents->Events.data[i]->EPT);
}

void expectValue(const OptionalDouble& actual, double expected)
{
    ASSERT_TRUE(actual.first);
    EXPECT_NEAR(actual.second, expected, 1e-9);
}

} // namespace

TEST(EventLosses, DefaultAttenuation)
{
    EXPECT_EQ(detail::GetDefaultAttenuation(false, 850), 1.0);
    EXPECT_EQ(detail::GetDefaultAttenuation(false, 1300), 1.0);
    EXPECT_EQ(detail::GetDefaultAttenuation(false, 1310), 0.3);
    EXPECT_EQ(detail::GetDefaultAttenuation(false, 1490), 0.25);
    EXPECT_EQ(detail::GetDefaultAttenuation(false, 1550), 0.2);
    EXPECT_EQ(detail::GetDefaultAttenuation(false, 1625), 0.2);
    EXPECT_EQ(detail::GetDefaultAttenuation(true, 1310), 0.2);
    EXPECT_EQ(detail::GetDefaultAttenuation(true, 850), 0.2);
}

TEST(EventLosses, SectionLossByAttenuationMode)
{
    auto data = link1310();
    const TEventsMerger merger(*data);
    const double l1 = eptKm(*data, 1) - eptKm(*data, 0);
    const double l2 = eptKm(*data, 2) - eptKm(*data, 1);
    const double l3 = eptKm(*data, 3) - eptKm(*data, 2);

    // The launch event has no section: its ML0 and ML1 coincide.
    EXPECT_FALSE(CalcSectionLoss(merger, 0, 0, keepSectionAttenuation).first);
    expectValue(CalcSectionLoss(merger, 1, 0, keepSectionAttenuation), 0.2 * l1);
    expectValue(CalcSectionLoss(merger, 1, 0, replaceSectionAttenuation), 0.2 * l1);
    // An ACI of 0 and a negative one stand as they are, or give way to the
    // wavelength's default.
    expectValue(CalcSectionLoss(merger, 2, 0, keepSectionAttenuation), 0.0);
    expectValue(CalcSectionLoss(merger, 2, 0, replaceSectionAttenuation), 0.3 * l2);
    expectValue(CalcSectionLoss(merger, 3, 0, keepSectionAttenuation), -0.1 * l3);
    expectValue(CalcSectionLoss(merger, 3, 0, replaceSectionAttenuation), 0.3 * l3);

    // A DWDM channel takes the low-loss default whatever its wavelength.
    data->AUXParams->LaserFreq = 5;
    expectValue(CalcSectionLoss(merger, 3, 0, replaceSectionAttenuation), 0.2 * l3);

    // Two events at the same time leave no section between them.
    const TSorBlockKeyEvents1E& e2 = merger.GetEvent(2, 0);
    EXPECT_FALSE(CalcSectionLoss(*data, &e2, e2, replaceSectionAttenuation).first);
}

TEST(EventLosses, EventLossAndTheEndEvent)
{
    auto data = link1310();
    const TEventsMerger merger(*data);
    EXPECT_FALSE(CalcEventLoss(merger, 0, 0).first);  // no fibre leads to it
    expectValue(CalcEventLoss(merger, 1, 0), 0.3);
    expectValue(CalcEventLoss(merger, 2, 0, takeEofLoss), 0.5);
    EXPECT_FALSE(CalcEventLoss(merger, 3, 0).first);
    EXPECT_FALSE(CalcEventLoss(merger, 3, 0, ignoreEofLoss).first);
    expectValue(CalcEventLoss(merger, 3, 0, takeEofLoss), 1.2);

    // The full loss counts, not the 16-bit EL.
    data->KeyEvents->Events.data[1]->FullLoss = 40000;
    expectValue(CalcEventLoss(merger, 1, 0), 40.0);
}

TEST(EventLosses, SectionAndEventLoss)
{
    auto data = link1310();
    const TEventsMerger merger(*data);
    const double s2 = 0.3 * (eptKm(*data, 2) - eptKm(*data, 1));
    const double s3 = 0.3 * (eptKm(*data, 3) - eptKm(*data, 2));
    expectValue(detail::CalcSectionAndEventLoss(merger, 2, true, true, false, replaceSectionAttenuation), s2 + 0.5);
    expectValue(detail::CalcSectionAndEventLoss(merger, 2, false, true, false, replaceSectionAttenuation), 0.5);
    expectValue(detail::CalcSectionAndEventLoss(merger, 2, true, false, false, replaceSectionAttenuation), s2);
    // The end event has no loss: allowed, or not.
    EXPECT_FALSE(detail::CalcSectionAndEventLoss(merger, 3, true, true, false, replaceSectionAttenuation).first);
    expectValue(detail::CalcSectionAndEventLoss(merger, 3, true, true, true, replaceSectionAttenuation), s3);
    // Without a section nothing, even for the event alone.
    EXPECT_FALSE(detail::CalcSectionAndEventLoss(merger, 0, false, true, true, replaceSectionAttenuation).first);
}

TEST(EventLosses, TotalLoss)
{
    auto data = link1310();
    const TEventsMerger merger(*data);
    const double s1 = 0.2 * (eptKm(*data, 1) - eptKm(*data, 0));
    const double s2 = 0.3 * (eptKm(*data, 2) - eptKm(*data, 1));
    const double s3 = 0.3 * (eptKm(*data, 3) - eptKm(*data, 2));

    // From the launch, which has no section and so no part of its own, to
    // the end, whose loss is never counted here.
    expectValue(CalcTotalLoss(merger, 0, true, 3, true), s1 + 0.3 + s2 + 0.5 + s3);
    expectValue(CalcTotalLoss(merger, 0, true, 3, false), s1 + 0.3 + s2 + 0.5 + s3);
    expectValue(CalcTotalLoss(*data, 0, true, 3, true), s1 + 0.3 + s2 + 0.5 + s3);
    // With and without the last event's loss and the first one's section.
    expectValue(CalcTotalLoss(merger, 1, true, 2, true), s1 + 0.3 + s2 + 0.5);
    expectValue(CalcTotalLoss(merger, 1, true, 2, false), s1 + 0.3 + s2);
    expectValue(CalcTotalLoss(merger, 1, false, 2, true), 0.3 + s2 + 0.5);
    // One event: its loss alone, whatever the flags say.
    expectValue(CalcTotalLoss(merger, 2, false, 2, false), 0.5);
    expectValue(CalcTotalLoss(merger, 2, true, 2, true), 0.5);
    EXPECT_FALSE(CalcTotalLoss(merger, 3, true, 3, true).first);
}

TEST(EventLosses, FirstEventWithASectionOfItsOwn)
{
    // The first event at 1 km measures its section over ML0..ML1 = 0..1 km.
    EventSpec first{1.0, 0.4, 0.25};
    first.ml0 = 0.0;
    first.ml1 = 1.0;
    auto data = makeLinkTrace({}, {first, {6.0, 0.2, 0.2}, {10.0, 1.0, 0.2}});
    const TEventsMerger merger(*data);
    const double s0 = 0.25 * eptKm(*data, 0);
    const double s1 = 0.2 * (eptKm(*data, 1) - eptKm(*data, 0));
    const double s2 = 0.2 * (eptKm(*data, 2) - eptKm(*data, 1));
    expectValue(CalcSectionLoss(merger, 0, 0, keepSectionAttenuation), s0);
    expectValue(CalcEventLoss(merger, 0, 0), 0.4);
    expectValue(CalcTotalLoss(merger, 0, true, 2, true), s0 + 0.4 + s1 + 0.2 + s2);
    expectValue(CalcTotalLoss(merger, 0, false, 2, true), 0.4 + s1 + 0.2 + s2);
}

TEST(EventLosses, SubEventsShareTheSectionOfTheMergedEvent)
{
    // A splice at 5 km with a second event inside its body.
    EventSpec splice{5.0, 0.3, 0.2};
    splice.ml2 = 5.5;
    auto data = makeLinkTrace({}, {{0.0}, splice, {5.2, 0.1, 0.2}, {10.0, 1.0, 0.2}});
    const TEventsMerger merger(*data);
    ASSERT_EQ(merger.GetEventsNum(), 3);
    ASSERT_EQ(merger.GetSubEventsNum(1), 2);
    // The sub-event's section runs from the merged event before.
    expectValue(CalcSectionLoss(merger, 1, 1, keepSectionAttenuation), 0.2 * eptKm(*data, 2));
    expectValue(CalcEventLoss(merger, 1, 1), 0.1);
    // The next merged event's section starts at the first sub-event.
    expectValue(CalcSectionLoss(merger, 2, 0, keepSectionAttenuation), 0.2 * (eptKm(*data, 3) - eptKm(*data, 1)));
}

TEST(EventLossesDeathTest, TotalLossAsksForOrder)
{
    auto data = link1310();
    const TEventsMerger merger(*data);
    EXPECT_DEATH((void)CalcTotalLoss(merger, 2, true, 1, true), "firstEventIndex <= lastEventIndex");
}
