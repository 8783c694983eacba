// Link maps of the simulator's scenario library, each shot at 1310 and
// 1550 nm from both ends: once with the true events written into the traces
// (the map alone is under test), once found by the automatic analysis.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "auto/auto.h"
#include "link/link-map-builder.h"
#include "link/sor-data-group.h"
#include "sim/sim-link.h"
#include "sim/sim-shot.h"
#include "sim/sim-trace.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "support/files.h"

namespace {

using detail::TNode;

const unsigned wavelengths[] = {1310, 1550};

std::string scenario(const std::string& name)
{
    return testsupport::readFile(std::string(FIBERTEST_SCENARIOS_DIR) + "/" + name + ".json");
}

struct ExpectedNode
{
    TNode::Type type = TNode::unknown;
    double km = 0.0;
    unsigned ratio = 0;
    bool optional = false;  // below what an analysis must find; right if found
};

// The types a correct map gives the link's elements: a connector is an APC
// one when it reflects less than -54 dB; a bend a macrobend when its loss at
// 1550 nm exceeds that at 1310 nm by more than 1 dB, a splice otherwise.
std::vector<ExpectedNode> expectedNodes(const std::string& text)
{
    const SimLink link = SimParseLink(text);
    std::vector<SimShot> shots;
    for (unsigned w : wavelengths) {
        SimShotOptions options;
        options.wavelengthNm = static_cast<int>(w);
        shots.push_back(SimResolveShot(link, options));
    }
    std::vector<ExpectedNode> nodes;
    const std::vector<SimEvent>& events = shots[1].events;
    for (std::size_t i = 0; i < events.size(); ++i) {
        const SimEvent& e = events[i];
        // An element at the very place of the next (a connector on the
        // fiber's end) is one node with it.
        if (i + 1 < events.size() && std::fabs(events[i + 1].km - e.km) < 1e-6)
            continue;
        // What an analysis must find: a loss of 0.1 dB at some wavelength or
        // a reflection of at least -60 dB.
        const bool detectable = std::fabs(e.lossDb) >= 0.1 || std::fabs(shots[0].events[i].lossDb) >= 0.1 ||
                                (e.reflectanceDb && *e.reflectanceDb >= -60.0);
        ExpectedNode n;
        n.optional = !detectable && i > 0 && i + 1 < events.size();
        n.km = e.km;
        if (i == 0)
            n.type = TNode::linkStart;
        else if (i + 1 == events.size())
            n.type = TNode::linkEnd;
        else if (e.kind == SimElementKind::Splitter)
            n.type = TNode::subscriberSplitter;
        else if (e.kind == SimElementKind::Bend)
            n.type = std::fabs(e.lossDb - shots[0].events[i].lossDb) > 1.0 ? TNode::macrobend : TNode::welding;
        else if (e.kind == SimElementKind::Splice)
            n.type = TNode::welding;
        else
            n.type = e.reflectanceDb && *e.reflectanceDb < -54.0 ? TNode::apcConnector : TNode::connector;
        nodes.push_back(n);
    }
    std::size_t splitter = 0;
    for (const SimElement& element : link.elements)
        if (element.kind == SimElementKind::Splitter)
            for (ExpectedNode& n : nodes)
                if (n.type == TNode::subscriberSplitter && splitter-- == 0) {
                    n.ratio = static_cast<unsigned>(element.ratio);
                    break;
                }
    return nodes;
}

struct Shots
{
    std::vector<std::unique_ptr<TSorData>> traces;
    TSorDataGroup group;
    double toleranceKm = 0.0;  // two spacings and half a pulse, the widest of the shots
};

void shootAll(const std::string& text, bool withEvents, Shots& shots)
{
    for (const auto direction : {TSorDataGroup::forward, TSorDataGroup::backward})
        for (unsigned w : wavelengths) {
            SimShotOptions options;
            options.wavelengthNm = static_cast<int>(w);
            options.direction = direction == TSorDataGroup::forward ? SimDirection::Forward : SimDirection::Backward;
            const std::string bytes = SimSynthesize(text, options, withEvents);
            auto data = std::make_unique<TSorData>();
            TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
            data->Read(&file);
            if (!withEvents) {
                TAuto analysis;
                ASSERT_NE(analysis.Automat(data.get(), 0), 0);
            }
            const SimShot shot = SimResolveShot(SimParseLink(text), options);
            const double pulseKm = shot.pulseNs * 1e-9 * 299792.458 / shot.groupIndex / 2.0;
            shots.toleranceKm = std::max(shots.toleranceKm, 2.0 * shot.spacingM / 1000.0 + pulseKm / 2.0);
            shots.group.AddTrace(data.get(), direction);
            shots.traces.push_back(std::move(data));
        }
}

std::string describe(const std::vector<TNode>& nodes)
{
    std::string text;
    for (const TNode& n : nodes)
        text += std::string(detail::NodeTypeName(n.GetType())) + " at " + std::to_string(n.CalcAverPos()) + " km\n";
    return text;
}

struct Case
{
    const char* name;
    // The two directions place an event further apart than the matcher's
    // outer limit of ten sample spacings: it stays two nodes of one type.
    bool splitNodesAllowed = false;
};

// The nodes of the map against the link: every expected node once, of its
// type, within the tolerance; an analysis may miss an optional one; and,
// where the case allows it, a node may stand twice.
void expectMap(const Case& c, bool withEvents)
{
    SCOPED_TRACE(std::string(c.name) + (withEvents ? ", true events" : ", analysed"));
    const std::string text = scenario(c.name);
    Shots shots;
    shootAll(text, withEvents, shots);
    const TLinkMap map = BuildLinkMap(shots.group, CalcDefaultMaxEventDispersionThreshold(shots.group));
    const std::vector<TNode> nodes = FilterOutUnknownNodes(map.GetNodes());
    const std::vector<ExpectedNode> expected = expectedNodes(text);
    std::size_t n = 0;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        const ExpectedNode& want = expected[k];
        const auto here = [&](std::size_t i) {
            return i < nodes.size() && std::fabs(nodes[i].CalcAverPos() - want.km) <= shots.toleranceKm;
        };
        if (!here(n)) {
            // Traces with the true events hold every one of them.
            const bool mayBeMissing = want.optional && !withEvents;
            EXPECT_TRUE(mayBeMissing) << "no node at " << want.km << " km\n" << describe(nodes);
            if (!mayBeMissing)
                return;
            continue;
        }
        for (bool first = true; here(n) && (first || c.splitNodesAllowed); first = false, ++n) {
            EXPECT_EQ(detail::NodeTypeName(nodes[n].GetType()), std::string(detail::NodeTypeName(want.type)))
                << "node " << n << "\n"
                << describe(nodes);
            EXPECT_EQ(nodes[n].GetSplitterRatio(), want.ratio) << "node " << n;
            if (!c.splitNodesAllowed) {
                EXPECT_EQ(nodes[n].GetWavelensNum(), 2u) << "node " << n;
            }
        }
    }
    EXPECT_EQ(n, nodes.size()) << "nodes beyond the link's\n" << describe(nodes);
}

std::string testName(const testing::TestParamInfo<Case>& info)
{
    std::string name = info.param.name;
    for (char& ch : name)
        if (ch == '-')
            ch = '_';
    return name;
}

const Case library[] = {
    {"building-2km"}, {"gainer"}, {"macrobend"}, {"pon-1x8"}, {"pon-1x32"}, {"saturating-front-ghost"},
    // A 10 us pulse is a kilometre of fibre: the analysis of each direction
    // places a splice within its tolerance of half a pulse, up to a few
    // hundred metres from the other's, far beyond the 20 m the matcher
    // joins. Its true events coincide.
    {"span-80km", true}, {"splices-25km"},
};

class LinkMapOfTrueEvents : public testing::TestWithParam<Case>
{
};

TEST_P(LinkMapOfTrueEvents, GivesTheTypesOfTheLink)
{
    Case c = GetParam();
    c.splitNodesAllowed = false;
    expectMap(c, true);
}

INSTANTIATE_TEST_SUITE_P(Library, LinkMapOfTrueEvents, testing::ValuesIn(library), testName);

class LinkMapOfAnalysedTraces : public testing::TestWithParam<Case>
{
};

TEST_P(LinkMapOfAnalysedTraces, GivesTheTypesOfTheLink)
{
    expectMap(GetParam(), false);
}

INSTANTIATE_TEST_SUITE_P(Library, LinkMapOfAnalysedTraces, testing::ValuesIn(library), testName);

} // namespace
