// The figures of a whole link from its map: length, total loss, return loss;
// and the node's per-wavelength views they rest on.
#include <gtest/gtest.h>

#include <cmath>
#include "link/link-map-totals.h"
#include "link/link-map.h"

namespace {

using detail::Event;
using detail::ReflectanceType;
using detail::TNode;

Event event(double km, OptionalDouble loss, OptionalDouble sectionLoss, double sectionKm,
            ReflectanceType type = ReflectanceType::tiny, double reflectance = 0.0)
{
    Event e;
    e.pos = km;
    e.loss = loss;
    e.sectionLoss = sectionLoss;
    e.sectionLength = sectionKm;
    e.reflectance = {type, reflectance};
    return e;
}

TNode node(TNode::Type type, unsigned w, const Event& e)
{
    return TNode(type, {{w, {e}}});
}

// Start, a splice at 5 km, an end at 7.5 km, all at 1550 nm.
TLinkMap threeNodeLink()
{
    return TLinkMap({node(TNode::linkStart, 1550, event(0.0, NoValue(), NoValue(), 0.0)),
                     node(TNode::welding, 1550, event(5.0, MakeOptionalDouble(0.1), MakeOptionalDouble(1.0), 5.0)),
                     node(TNode::linkEnd, 1550,
                          event(7.5, MakeOptionalDouble(3.0), MakeOptionalDouble(0.5), 2.5, ReflectanceType::normal,
                                -14.0))},
                    {{1550, {-81.0, 1.468}}});
}

TEST(LinkMapTotals, LengthIsTheLastNodeSeenAtTheWavelength)
{
    TLinkMap map = threeNodeLink();
    EXPECT_DOUBLE_EQ(CalcLength(map, 1550).second, 7.5);
    // A wavelength known only from the fibre constants has no length.
    TLinkMap onlyConstants({}, {{1310, {-79.0, 1.467}}});
    EXPECT_FALSE(CalcLength(onlyConstants, 1310).first);
    // The end seen at one wavelength only: the other's length is its last node.
    TLinkMap mixed({node(TNode::linkStart, 1310, event(0.0, NoValue(), NoValue(), 0.0)),
                    TNode(TNode::connector, {{1310, {event(2.0, NoValue(), NoValue(), 2.0)}},
                                             {1550, {event(2.01, NoValue(), NoValue(), 2.0)}}}),
                    node(TNode::linkEnd, 1550, event(4.0, NoValue(), NoValue(), 2.0))},
                   {});
    EXPECT_DOUBLE_EQ(CalcLength(mixed, 1310).second, 2.0);
    EXPECT_DOUBLE_EQ(CalcLength(mixed, 1550).second, 4.0);
}

TEST(LinkMapTotals, TotalLossSumsSectionsAndEventsBetweenTheEnds)
{
    TLinkMap map = threeNodeLink();
    // 1.0 + 0.1 + 0.5: the end's 3 dB is the fall into the noise.
    EXPECT_NEAR(CalcTotalLoss(map, 1550).second, 1.6, 1e-12);

    // A node dropped as unknown still counts, through the overrides of the next.
    TNode::OverridesMap overrides;
    overrides[1550].events.push_back(event(6.0, MakeOptionalDouble(0.05), MakeOptionalDouble(0.2), 1.0));
    map.SetNode(2, TNode(map.GetNode(2), overrides));
    EXPECT_NEAR(CalcTotalLoss(map, 1550).second, 1.85, 1e-12);

    // The start's loss is the instrument's connection, not the link's.
    map.SetNode(0, node(TNode::linkStart, 1550, event(0.0, MakeOptionalDouble(0.3), NoValue(), 0.0)));
    EXPECT_NEAR(CalcTotalLoss(map, 1550).second, 1.85, 1e-12);

    TLinkMap nothing({node(TNode::linkStart, 1310, event(0.0, NoValue(), NoValue(), 0.0))}, {});
    EXPECT_FALSE(CalcTotalLoss(nothing, 1310).first);
}

TEST(LinkMapTotals, ReturnLossOfReflectionsBehindLoss)
{
    // No fibre constants: reflections only. A -14 dB end behind 5 dB of
    // fibre returns 14 + 2 x 5 dB.
    TLinkMap map({node(TNode::linkStart, 1550, event(0.0, NoValue(), NoValue(), 0.0, ReflectanceType::huge, -10.0)),
                  node(TNode::linkEnd, 1550,
                       event(25.0, NoValue(), MakeOptionalDouble(5.0), 25.0, ReflectanceType::normal, -14.0))},
                 {});
    EXPECT_NEAR(CalcTotalOrl(map, 1550).second, 24.0, 1e-9);

    // Two equal reflections of -40 dB, the second behind 1.5 dB more (a
    // 0.5 dB connector and 1 dB of fibre): 10 lg(1 + 10^-0.3) below -40.
    TLinkMap two({node(TNode::linkStart, 1550, event(0.0, NoValue(), NoValue(), 0.0)),
                  node(TNode::connector, 1550,
                       event(1.0, MakeOptionalDouble(0.5), MakeOptionalDouble(0.0), 1.0, ReflectanceType::normal, -40.0)),
                  node(TNode::linkEnd, 1550,
                       event(6.0, NoValue(), MakeOptionalDouble(1.0), 5.0, ReflectanceType::normal, -40.0))},
                 {});
    EXPECT_NEAR(CalcTotalOrl(two, 1550).second, 40.0 - 10.0 * std::log10(1.0 + std::pow(10.0, -0.3)), 1e-9);

    // A reflectance of 0 dB or more is no measurement (a maker's positive
    // return loss): it returns nothing rather than more than was sent.
    TLinkMap positive({node(TNode::linkStart, 1550, event(0.0, NoValue(), NoValue(), 0.0)),
                       node(TNode::linkEnd, 1550,
                            event(25.0, NoValue(), MakeOptionalDouble(5.0), 25.0, ReflectanceType::normal, 47.3))},
                      {});
    EXPECT_FALSE(CalcTotalOrl(positive, 1550).first);

    // Tiny reflections return nothing.
    TLinkMap dark({node(TNode::linkStart, 1550, event(0.0, NoValue(), NoValue(), 0.0)),
                   node(TNode::linkEnd, 1550, event(6.0, NoValue(), MakeOptionalDouble(1.0), 6.0))},
                  {});
    EXPECT_FALSE(CalcTotalOrl(dark, 1550).first);
}

TEST(LinkMapTotals, ReturnLossOfALongFibreIsItsBackscatter)
{
    // 100 km at 0.2 dB/km, a 1 ns backscatter coefficient of -80 dB, group
    // index 1.468: beta = 2 x 1e-8 x 1.468 / 2.99792458e-4 per km, returned
    // beta / (2 alpha) (1 - e^(-2 alpha L)) with alpha = 0.2 / 4.3429 per km:
    // 1.0633e-3, 29.73 dB, about what a long single-mode fibre shows.
    TLinkMap fibre({node(TNode::linkStart, 1550, event(0.0, NoValue(), NoValue(), 0.0)),
                    node(TNode::linkEnd, 1550, event(100.0, NoValue(), MakeOptionalDouble(20.0), 100.0))},
                   {{1550, {-80.0, 1.468}}});
    const double beta = 2.0 * 1e-8 * 1.468 / 2.99792458e-4;
    const double alpha = 0.2 / (10.0 * std::log10(std::exp(1.0)));
    const double expected = -10.0 * std::log10(beta / (2.0 * alpha) * (1.0 - std::exp(-2.0 * alpha * 100.0)));
    EXPECT_NEAR(CalcTotalOrl(fibre, 1550).second, expected, 1e-9);
    EXPECT_NEAR(expected, 29.73, 0.01);

    // A lossless section returns beta L.
    TLinkMap lossless({node(TNode::linkStart, 1550, event(0.0, NoValue(), NoValue(), 0.0)),
                       node(TNode::linkEnd, 1550, event(2.0, NoValue(), MakeOptionalDouble(0.0), 2.0))},
                      {{1550, {-80.0, 1.468}}});
    EXPECT_NEAR(CalcTotalOrl(lossless, 1550).second, -10.0 * std::log10(beta * 2.0), 1e-9);
}

TEST(LinkNode, PerWavelengthViews)
{
    TNode n(TNode::macrobend, {{1310, {event(3.0, NoValue(), NoValue(), 3.0)}},
                               {1550, {event(3.2, MakeOptionalDouble(0.8), NoValue(), 3.0),
                                       event(3.1, NoValue(), NoValue(), 3.0), event(3.3, NoValue(), NoValue(), 0.2)}}});
    ASSERT_EQ(n.GetWavelensNum(), 2u);
    EXPECT_EQ(n.GetWavelen(0), 1310u);
    EXPECT_EQ(n.GetWavelen(1), 1550u);
    // A loss at one wavelength of two counts half.
    EXPECT_DOUBLE_EQ(n.CalcAverEventLoss().second, 0.4);
    EXPECT_DOUBLE_EQ(n.CalcAverPos(), 3.1);
    EXPECT_TRUE(n.GetMergedEventsForWavelen(0).empty());
    ASSERT_EQ(n.GetMergedEventsForWavelen(1).size(), 2u);
    EXPECT_DOUBLE_EQ(n.GetMergedEventsForWavelen(1)[1].pos, 3.3);
    EXPECT_TRUE(n.GetEventsOfWavelen(1625).empty());

    TNode none(TNode::welding, {{1310, {event(1.0, NoValue(), NoValue(), 1.0)}}});
    EXPECT_FALSE(none.CalcAverEventLoss().first);

    EXPECT_STREQ(detail::NodeTypeName(TNode::apcConnector), "apcConnector");
    EXPECT_STREQ(detail::NodeTypeName(static_cast<TNode::Type>(42)), "unknown");
    TNode::Type t = TNode::unknown;
    EXPECT_TRUE(detail::NodeTypeFromName("officeSplitter", t));
    EXPECT_EQ(t, TNode::officeSplitter);
    EXPECT_FALSE(detail::NodeTypeFromName("splice", t));
}

} // namespace
