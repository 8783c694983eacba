// Events of one trace in the link's forward coordinates, the mean loss of a
// physical event and the stronger of two reflectances.
#include <gtest/gtest.h>

#include "link-test-traces.h"
#include "link/matched-event.h"
#include "link/sor-data-group.h"
#include "sor/sor-block-key-events.h"

using namespace linktest;
using detail::AnnotatedReflectance;
using detail::MatchedEvent;
using detail::ReflectanceType;

namespace {

// Launch; a connector at 5 km (0.3 dB, -45 dB) with a splice inside its
// body at 5.05 km (0.1 dB); the end at 10 km (1.0 dB, saturated at -14 dB).
std::unique_ptr<TSorData> link()
{
    EventSpec connector{5.0, 0.3, 0.2, -45.0, '1'};
    connector.ml2 = 5.2;
    return makeLinkTrace({}, {{0.0}, connector, {5.05, 0.1, 0.2}, {10.0, 1.0, 0.2, -14.0, '2'}});
}

const TSorBlockKeyEvents1E& keyEvent(const TSorData& data, int i)
{
    return *data.KeyEvents->Events.data[i];
}

MatchedEvent withLoss(double loss)
{
    MatchedEvent e;
    e.loss = MakeOptionalDouble(loss);
    return e;
}

} // namespace

TEST(MatchedEvent, ForwardTrace)
{
    auto data = link();
    TSorDataGroup group;
    group.AddTrace(data.get(), TSorDataGroup::forward);
    const TSorDataGroup::TTrace& trace = group.GetTrace(0);
    ASSERT_EQ(trace.merger.GetEventsNum(), 3);

    const MatchedEvent connector = MatchedEvent::Make(trace, 1);
    const TSorBlockKeyEvents1E& k1 = keyEvent(*data, 1);
    EXPECT_EQ(connector.data, data.get());
    EXPECT_EQ(connector.keyEvent, &k1);
    EXPECT_EQ(connector.direction, TSorDataGroup::forward);
    EXPECT_EQ(connector.wavelen, 1550u);
    EXPECT_DOUBLE_EQ(connector.pos, kmAt(k1.EPT));
    EXPECT_DOUBLE_EQ(connector.leftShoulderStart, kmAt(k1.ML0));
    EXPECT_DOUBLE_EQ(connector.leftShoulderEnd, kmAt(k1.ML1));
    EXPECT_DOUBLE_EQ(connector.rightShoulderStart, kmAt(k1.ML2));
    EXPECT_DOUBLE_EQ(connector.rightShoulderEnd, kmAt(k1.ML3));
    EXPECT_EQ(connector.loss, MakeOptionalDouble(0.3));
    EXPECT_EQ(connector.reflectance, AnnotatedReflectance(ReflectanceType::normal, -45.0));
    EXPECT_DOUBLE_EQ(connector.sectionLength, kmAt(k1.EPT));
    ASSERT_TRUE(connector.sectionLoss.first);
    EXPECT_NEAR(connector.sectionLoss.second, 0.2 * kmAt(k1.EPT), 1e-9);
    // Both sub-events; only the first carries the loss.
    ASSERT_EQ(connector.subEvents.size(), 2u);
    EXPECT_EQ(connector.subEvents[0].loss, MakeOptionalDouble(0.3));
    EXPECT_FALSE(connector.subEvents[1].loss.first);
    EXPECT_DOUBLE_EQ(connector.subEvents[1].pos, kmAt(keyEvent(*data, 2).EPT));

    // The launch: no section, no loss, a tiny reflectance, no sub-events.
    const MatchedEvent launch = MatchedEvent::Make(trace, 0);
    EXPECT_FALSE(launch.loss.first);
    EXPECT_FALSE(launch.sectionLoss.first);
    EXPECT_EQ(launch.sectionLength, 0.0);
    EXPECT_EQ(launch.reflectance.first, ReflectanceType::tiny);
    EXPECT_TRUE(launch.subEvents.empty());

    // The end keeps its loss here.
    const MatchedEvent end = MatchedEvent::Make(trace, 2);
    EXPECT_EQ(end.loss, MakeOptionalDouble(1.0));
    EXPECT_EQ(end.reflectance, AnnotatedReflectance(ReflectanceType::huge, -14.0));
}

TEST(MatchedEvent, BackwardTraceIsMirroredAtItsSpanEnd)
{
    auto data = link();
    TSorDataGroup group;
    group.AddTrace(data.get(), TSorDataGroup::backward);
    const TSorDataGroup::TTrace& trace = group.GetTrace(0);
    const double spanEnd = kmAt(keyEvent(*data, 3).EPT);
    const TSorBlockKeyEvents1E& k1 = keyEvent(*data, 1);

    EXPECT_DOUBLE_EQ(detail::CalcPos(trace, 2.0), spanEnd - 2.0);
    EXPECT_DOUBLE_EQ(detail::CalcEventPos(trace, 1, 1), spanEnd - kmAt(keyEvent(*data, 2).EPT));
    const MatchedEvent connector = MatchedEvent::Make(trace, 1);
    EXPECT_EQ(connector.direction, TSorDataGroup::backward);
    EXPECT_DOUBLE_EQ(connector.pos, spanEnd - kmAt(k1.EPT));
    EXPECT_DOUBLE_EQ(connector.leftShoulderEnd, spanEnd - kmAt(k1.ML1));
    EXPECT_DOUBLE_EQ(connector.rightShoulderStart, spanEnd - kmAt(k1.ML2));
    // The section keeps its length along the trace.
    EXPECT_DOUBLE_EQ(connector.sectionLength, kmAt(k1.EPT));
    // The far end of a backward trace lies at the link's start.
    EXPECT_DOUBLE_EQ(MatchedEvent::Make(trace, 2).pos, 0.0);
}

TEST(MatchedEvent, ReflectanceTypeFromTheEventCode)
{
    auto data = link();
    TSorDataGroup group;
    group.AddTrace(data.get(), TSorDataGroup::forward);
    TSorBlockKeyEvents1E& k1 = *data->KeyEvents->Events.data[1];
    k1.EC = "";
    EXPECT_EQ(detail::Event::Make(group.GetTrace(0), 1, 0).reflectance.first, ReflectanceType::normal);
    k1.EC = "9F9999";
    EXPECT_EQ(detail::Event::Make(group.GetTrace(0), 1, 0).reflectance.first, ReflectanceType::normal);
    k1.EC = "0F9999";
    EXPECT_EQ(detail::Event::Make(group.GetTrace(0), 1, 0).reflectance.first, ReflectanceType::tiny);
}

TEST(MatchedEvent, AverageLoss)
{
    // The same splice seen by a trace that measures it and by one that sees
    // only noise behind it (from 4 km on).
    auto clear = makeLinkTrace({}, {{0.0}, {5.0, 0.4, 0.2}, {10.0}});
    TraceSpec weak;
    weak.noiseFromKm = 4.0;
    auto noisy = makeLinkTrace(weak, {{0.0}, {5.0, 0.8, 0.2}, {10.0}});
    TSorDataGroup group;
    group.AddTrace(clear.get(), TSorDataGroup::forward);
    group.AddTrace(noisy.get(), TSorDataGroup::forward);
    const MatchedEvent measured = MatchedEvent::Make(group.GetTrace(0), 1);
    const MatchedEvent unmeasured = MatchedEvent::Make(group.GetTrace(1), 1);

    const detail::MatchedEvents both{unmeasured, measured};
    const OptionalDouble mean = detail::CalcAverEventLoss(both, allLossEvents);
    ASSERT_TRUE(mean.first);
    EXPECT_NEAR(mean.second, 0.6, 1e-12);
    EXPECT_EQ(detail::CalcAverEventLoss(both, measurableLossEvents), MakeOptionalDouble(0.4));
    // None measurable: the first loss there is.
    EXPECT_EQ(detail::CalcAverEventLoss({unmeasured}, measurableLossEvents), MakeOptionalDouble(0.8));
    // Events without a loss do not count.
    const detail::MatchedEvents mixed{MatchedEvent{}, withLoss(1.0), withLoss(2.0)};
    EXPECT_EQ(detail::CalcAverEventLoss(mixed, allLossEvents), MakeOptionalDouble(1.5));
    EXPECT_EQ(detail::CalcAverEventLoss(mixed, measurableLossEvents), MakeOptionalDouble(1.0));
    EXPECT_FALSE(detail::CalcAverEventLoss({MatchedEvent{}}, allLossEvents).first);
    EXPECT_FALSE(detail::CalcAverEventLoss({}, allLossEvents).first);
}

TEST(MatchedEvent, MaxReflectance)
{
    const AnnotatedReflectance tiny{ReflectanceType::tiny, -20.0};
    const AnnotatedReflectance normal{ReflectanceType::normal, -50.0};
    const AnnotatedReflectance higher{ReflectanceType::normal, -40.0};
    const AnnotatedReflectance huge{ReflectanceType::huge, -60.0};
    EXPECT_EQ(detail::CalcMaxRefl(normal, higher), higher);
    EXPECT_EQ(detail::CalcMaxRefl(higher, normal), higher);
    // A tiny value gives way even when it is higher, a normal one to huge.
    EXPECT_EQ(detail::CalcMaxRefl(tiny, normal), normal);
    EXPECT_EQ(detail::CalcMaxRefl(normal, tiny), normal);
    EXPECT_EQ(detail::CalcMaxRefl(higher, huge), huge);
    EXPECT_EQ(detail::CalcMaxRefl(huge, higher), huge);
    EXPECT_EQ(detail::CalcMaxRefl(tiny, huge), huge);
    EXPECT_EQ(detail::CalcMaxRefl(std::vector<AnnotatedReflectance>{tiny, normal, higher}), higher);
    EXPECT_EQ(detail::CalcMaxRefl(std::vector<AnnotatedReflectance>{tiny}), tiny);
}
