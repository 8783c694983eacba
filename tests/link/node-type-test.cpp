// The node type rules, on matched events made here: which figures make a
// splitter, a macrobend, an APC connector, a connector, a splice.
#include <gtest/gtest.h>

#include "link/node-type.h"

namespace {

using detail::ExpectedSplitter;
using detail::MatchedEvent;
using detail::MatchedEvents;
using detail::NodeTypeContext;
using detail::ReflectanceType;
using detail::TNode;

MatchedEvent seen(unsigned wavelen, OptionalDouble loss, ReflectanceType type, double reflectance,
                  TSorDataGroup::Direction direction = TSorDataGroup::forward)
{
    MatchedEvent e;
    e.wavelen = wavelen;
    e.direction = direction;
    e.loss = loss;
    e.reflectance = {type, reflectance};
    return e;
}

MatchedEvent tiny(double loss, unsigned wavelen = 1550)
{
    return seen(wavelen, MakeOptionalDouble(loss), ReflectanceType::tiny, -85.0);
}

NodeTypeContext middle(std::size_t pairs = 1)
{
    NodeTypeContext c;
    c.wavelenDirectionsPairs = pairs;
    return c;
}

NodeTypeContext waitingFor(unsigned ratio, bool anyRatio = false)
{
    NodeTypeContext c = middle();
    c.waitingForSplitter = true;
    c.expected = ExpectedSplitter{anyRatio, ratio};
    return c;
}

TNode::Type typeOf(const MatchedEvents& events, const NodeTypeContext& context)
{
    return detail::DeduceNodeType(events, context);
}

TEST(NodeType, EndsOfTheLinkWhateverTheirEvents)
{
    NodeTypeContext c = waitingFor(8);
    c.first = true;
    EXPECT_EQ(typeOf({tiny(12.0)}, c), TNode::linkStart);
    c.first = false;
    c.last = true;
    EXPECT_EQ(typeOf({tiny(12.0)}, c), TNode::linkEnd);
}

TEST(NodeType, ExpectedSplitterNeedsTheIdealLoss)
{
    // 1:8 is 9.03 dB.
    EXPECT_EQ(typeOf({tiny(9.1)}, waitingFor(8)), TNode::subscriberSplitter);
    EXPECT_EQ(typeOf({tiny(8.9)}, waitingFor(8)), TNode::welding);
    // A gainer-like negative reading counts by its size.
    EXPECT_EQ(typeOf({tiny(-9.1)}, waitingFor(8)), TNode::subscriberSplitter);
    // Not expected: a big loss alone is no splitter.
    EXPECT_EQ(typeOf({tiny(9.1)}, middle()), TNode::welding);
    // Any ratio: at least a 1:4 (6.02 dB).
    EXPECT_EQ(typeOf({tiny(6.1)}, waitingFor(1, true)), TNode::subscriberSplitter);
    EXPECT_EQ(typeOf({tiny(5.9)}, waitingFor(1, true)), TNode::welding);
    // The mean over both directions decides: 9.5 and 8.7 make 9.1.
    NodeTypeContext two = waitingFor(8);
    two.wavelenDirectionsPairs = 2;
    EXPECT_EQ(typeOf({tiny(9.5), seen(1550, MakeOptionalDouble(8.7), ReflectanceType::tiny, -85.0,
                                      TSorDataGroup::backward)},
                     two),
              TNode::subscriberSplitter);
}

TEST(NodeType, ReflectionsThatRuleOutASplitter)
{
    const OptionalDouble loss = MakeOptionalDouble(9.5);
    // A saturated reflection never is one.
    EXPECT_EQ(typeOf({seen(1550, loss, ReflectanceType::huge, -20.0)}, waitingFor(8)), TNode::connector);
    // A measured reflection above -60 dB is, only when the loss is large and it stays below -40 dB.
    EXPECT_EQ(typeOf({seen(1550, loss, ReflectanceType::normal, -50.0)}, waitingFor(8)), TNode::subscriberSplitter);
    EXPECT_EQ(typeOf({seen(1550, loss, ReflectanceType::normal, -35.0)}, waitingFor(8)), TNode::connector);
    EXPECT_EQ(typeOf({seen(1550, MakeOptionalDouble(4.0), ReflectanceType::normal, -50.0)}, waitingFor(2)),
              TNode::connector);
    EXPECT_EQ(typeOf({seen(1550, MakeOptionalDouble(4.0), ReflectanceType::normal, -61.0)}, waitingFor(2)),
              TNode::subscriberSplitter);
    // Without any loss there is nothing to compare.
    EXPECT_EQ(typeOf({seen(1550, NoValue(), ReflectanceType::tiny, -85.0)}, waitingFor(8)), TNode::unknown);
}

TEST(NodeType, MacrobendByTheLossDifferenceBetweenWavelengths)
{
    NodeTypeContext c = middle(2);
    EXPECT_EQ(typeOf({tiny(0.1, 1310), tiny(1.2, 1550)}, c), TNode::macrobend);
    EXPECT_EQ(typeOf({tiny(0.1, 1310), tiny(1.0, 1550)}, c), TNode::welding);
    c.macrobendThreshold = 0.5;
    EXPECT_EQ(typeOf({tiny(0.1, 1310), tiny(1.0, 1550)}, c), TNode::macrobend);
    // Any reflection, or a loss over 5 dB, is something else.
    c.macrobendThreshold = 1.0;
    EXPECT_EQ(typeOf({tiny(0.1, 1310), seen(1550, MakeOptionalDouble(1.5), ReflectanceType::normal, -50.0)}, c),
              TNode::connector);
    EXPECT_EQ(typeOf({tiny(0.1, 1310), tiny(5.5, 1550)}, c), TNode::welding);
    // Seen at one wavelength only: no difference to see.
    EXPECT_EQ(typeOf({tiny(1.5, 1550)}, c), TNode::welding);
}

TEST(NodeType, ApcConnectorConnectorWeldingUnknown)
{
    NodeTypeContext both = middle(2);
    const auto refl = [](double loss, double r, unsigned w) {
        return seen(w, MakeOptionalDouble(loss), ReflectanceType::normal, r);
    };
    EXPECT_EQ(typeOf({refl(0.3, -54.1, 1310), refl(0.25, -60.0, 1550)}, both), TNode::apcConnector);
    // -54.0 is not below -54.
    EXPECT_EQ(typeOf({refl(0.3, -54.0, 1310), refl(0.25, -60.0, 1550)}, both), TNode::connector);
    // Seen in one trace of two: not known to be weak everywhere.
    EXPECT_EQ(typeOf({refl(0.3, -65.0, 1310)}, both), TNode::connector);
    // A loss of at most 0.02 dB makes no connector of a reflection.
    EXPECT_EQ(typeOf({refl(0.02, -45.0, 1310)}, middle()), TNode::unknown);
    // A saturated reading is a lower bound: no proof of a weak reflection.
    EXPECT_EQ(typeOf({refl(0.3, -58.0, 1310), seen(1550, MakeOptionalDouble(0.3), ReflectanceType::huge, -57.0)}, both),
              TNode::connector);
    // A tiny reflectance's value is no measurement: a splice, not an APC connector.
    EXPECT_EQ(typeOf({tiny(0.3, 1310), tiny(0.3, 1550)}, both), TNode::welding);
    EXPECT_EQ(typeOf({tiny(0.011)}, middle()), TNode::welding);
    EXPECT_EQ(typeOf({tiny(0.01)}, middle()), TNode::unknown);
    NodeTypeContext coarse = middle();
    coarse.minWeldingLoss = 0.05;
    EXPECT_EQ(typeOf({tiny(0.04)}, coarse), TNode::unknown);
}

TEST(NodeType, IdealSplitters)
{
    EXPECT_NEAR(CalcIdealPonSplitterLoss(8), 9.0309, 1e-4);
    EXPECT_DOUBLE_EQ(CalcIdealPonSplitterLoss(1), 0.0);
    EXPECT_EQ(CalcIdealPonSplitterRatio(15.5), 32u);
    EXPECT_EQ(CalcIdealPonSplitterRatio(15.0), 16u);
    EXPECT_EQ(CalcIdealPonSplitterRatio(0.0), 1u);
    EXPECT_EQ(CalcIdealPonSplitterRatio(0.1), 1u);
    EXPECT_EQ(CalcIdealPonSplitterRatio(100.0), 8192u);
}

} // namespace
