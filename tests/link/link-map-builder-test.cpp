// BuildLinkMap on traces with known events: the expected splitters of a PON,
// the figures a node takes from both directions, the source traces, and the
// nodes left out as unknown.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "link-test-traces.h"
#include "link/link-map-builder.h"
#include "link/link-map-totals.h"
#include "link/sor-data-group.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"

using namespace linktest;
using detail::TNode;

namespace {

EventSpec start()
{
    return {0.0, 0.0, 0.0, -45.0, '1'};
}

EventSpec flat(double km, double loss)
{
    return {km, loss, 0.2};
}

EventSpec end(double km)
{
    return {km, 0.0, 0.2, -14.0, '2'};
}

std::unique_ptr<TSorData> ponTrace(std::uint32_t ponType, std::uint32_t first, std::uint32_t second,
                                   const std::vector<EventSpec>& events)
{
    TraceSpec shape;
    shape.noiseLevel = -60.0;
    auto data = makeLinkTrace(shape, events);
    data->AUXParams->PonType = ponType;
    data->AUXParams->FirstSplitterRatio = first;
    data->AUXParams->SecondSplitterRatio = second;
    return data;
}

std::vector<TNode::Type> typesOf(const TLinkMap& map)
{
    std::vector<TNode::Type> types;
    for (const TNode& n : map.GetNodes())
        types.push_back(n.GetType());
    return types;
}

TLinkMap mapOf(const TSorData& data)
{
    TSorDataGroup group;
    group.AddTrace(&data, TSorDataGroup::forward);
    return BuildLinkMap(group, CalcDefaultMaxEventDispersionThreshold(group));
}

TEST(LinkMapBuilder, ExpectedSplittersWaitOverSmallEvents)
{
    // Two stages, 1:8 then 1:4 (9.03 and 6.02 dB): the first splitter waits
    // over a splice and a connector; a 6.5 dB loss before the 1:8 is found is
    // no splitter; a third large loss after both is a splice.
    auto data = ponTrace(1, 8, 4,
                         {start(), flat(2.0, 0.1), {3.0, 0.4, 0.2, -50.0, '1'}, flat(4.0, 6.5), flat(5.0, 9.5),
                          flat(6.0, 0.2), flat(7.0, 6.5), flat(8.0, 9.5), end(10.0)});
    const TLinkMap map = mapOf(*data);
    const std::vector<TNode::Type> expected = {TNode::linkStart, TNode::welding, TNode::connector,
                                               TNode::welding, TNode::subscriberSplitter, TNode::welding,
                                               TNode::subscriberSplitter, TNode::welding, TNode::linkEnd};
    EXPECT_EQ(typesOf(map), expected);
    EXPECT_EQ(map.GetNode(4).GetSplitterRatio(), 8u);
    EXPECT_EQ(map.GetNode(6).GetSplitterRatio(), 4u);
    EXPECT_EQ(map.GetNode(7).GetSplitterRatio(), 0u);

    // Unknown ratios: any splitter of at least 1:4, its ratio read off its loss.
    auto any = ponTrace(2, 1, 1, {start(), flat(2.0, 5.0), flat(3.0, 15.6), flat(5.0, 7.2), end(8.0)});
    const TLinkMap anyMap = mapOf(*any);
    EXPECT_EQ(typesOf(anyMap), (std::vector<TNode::Type>{TNode::linkStart, TNode::welding, TNode::subscriberSplitter,
                                                          TNode::subscriberSplitter, TNode::linkEnd}));
    EXPECT_EQ(anyMap.GetNode(2).GetSplitterRatio(), 32u);
    EXPECT_EQ(anyMap.GetNode(3).GetSplitterRatio(), 4u);

    // Without PON settings a large loss is a splice.
    auto plain = ponTrace(0, 8, 1, {start(), flat(3.0, 9.5), end(8.0)});
    EXPECT_EQ(typesOf(mapOf(*plain)), (std::vector<TNode::Type>{TNode::linkStart, TNode::welding, TNode::linkEnd}));
}

TEST(LinkMapBuilder, NodesTakeBothDirections)
{
    // A 10 km link with a splice at 4 km that reads 0.05 dB forward and
    // 0.25 dB backward (unlike fibres): the node's loss is 0.15 dB. The
    // backward trace measures the section behind the splice.
    TraceSpec forwardShape;
    forwardShape.noiseLevel = -60.0;
    TraceSpec backwardShape = forwardShape;
    backwardShape.direction = 1;
    auto fwd = makeLinkTrace(forwardShape, {start(), {4.0, 0.05, 0.2}, {10.0, 3.0, 0.21, -14.0, '1'}});
    auto bwd = makeLinkTrace(backwardShape, {start(), {6.0, 0.25, 0.21}, {10.0, 3.0, 0.2, -40.0, '1'}});
    TSorDataGroup group;
    group.AddTrace(fwd.get(), TSorDataGroup::forward, "a.sor");
    group.AddTrace(bwd.get(), TSorDataGroup::backward, "b.sor");
    const TLinkMap map = BuildLinkMap(group, 1.0);
    ASSERT_EQ(typesOf(map), (std::vector<TNode::Type>{TNode::linkStart, TNode::welding, TNode::linkEnd}));

    const detail::Event& splice = map.GetNode(1).GetEvent(0);
    EXPECT_NEAR(splice.pos, 4.0, 1e-3);
    EXPECT_NEAR(splice.loss.second, 0.15, 1e-9);
    // The end: the forward trace's end reflection; the backward trace's
    // launch there is the instrument's connection and neither gives a loss.
    const detail::Event& end = map.GetNode(2).GetEvent(0);
    EXPECT_FALSE(end.loss.first);
    EXPECT_EQ(end.reflectance.first, detail::ReflectanceType::normal);
    EXPECT_DOUBLE_EQ(end.reflectance.second, -14.0);
    // The section behind the splice: 0.21 dB/km x 6 km from both ends.
    EXPECT_NEAR(end.sectionLoss.second, 1.26, 1e-3);
    EXPECT_NEAR(end.sectionLength, 6.0, 1e-3);
    EXPECT_NEAR(CalcTotalLoss(map, 1550).second, 0.8 + 0.15 + 1.26, 2e-3);

    ASSERT_EQ(map.GetSourceTraces().size(), 2u);
    const TTraceParameters& a = map.GetSourceTraces()[0];
    EXPECT_EQ(a.name, "a.sor");
    EXPECT_EQ(a.wavelength, 1550u);
    EXPECT_EQ(a.pulseWidth, 100u);
    EXPECT_NEAR(a.refractiveIndex, kGroupIndex, 1e-9);
    EXPECT_NEAR(a.resolution, fwd->FxdParams->LenDS() * 1000.0, 1e-9);
    ASSERT_EQ(map.GetParameters().count(1550), 1u);
    EXPECT_DOUBLE_EQ(map.GetParameters().at(1550).backscatteringCoeff, -fwd->FxdParams->BC * 0.1);
}

TEST(LinkMapBuilder, UnknownNodesLeaveTheirLossToTheNext)
{
    // A reflection without loss (a ghost, say) is of no type.
    auto data = ponTrace(0, 1, 1, {start(), {2.0, 0.0, 0.2, -50.0, '1'}, flat(4.0, 0.3), end(8.0)});
    const TLinkMap map = mapOf(*data);
    ASSERT_EQ(typesOf(map), (std::vector<TNode::Type>{TNode::linkStart, TNode::unknown, TNode::welding,
                                                       TNode::linkEnd}));
    const std::vector<TNode> kept = FilterOutUnknownNodes(map.GetNodes());
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(kept[1].GetType(), TNode::welding);
    ASSERT_EQ(kept[1].GetOverrides().count(1550), 1u);
    ASSERT_EQ(kept[1].GetOverrides().at(1550).events.size(), 1u);
    EXPECT_NEAR(kept[1].GetOverrides().at(1550).events[0].pos, 2.0, 1e-3);
    EXPECT_TRUE(kept[2].GetOverrides().empty());
    // The total loss is the same with and without the unknown node.
    const TLinkMap filtered(kept, map.GetParameters());
    EXPECT_NEAR(CalcTotalLoss(filtered, 1550).second, CalcTotalLoss(map, 1550).second, 1e-12);

    EXPECT_EQ(BuildLinkMap(TSorDataGroup(), 1.0).GetNodesNum(), 0u);
}

} // namespace
