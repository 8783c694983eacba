// The link-map file: the exact text written, a round trip that keeps every
// double to the bit, what optional members default to, and every message of
// the reader.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "link/json-utils.h"
#include "link/link-map-json.h"

using detail::Event;
using detail::ReflectanceType;
using detail::TNode;

namespace {

std::uint64_t bitsOf(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// Equal to the bit: tells -0.0 from 0.0 and every last digit apart.
#define EXPECT_SAME_DOUBLE(a, b) EXPECT_EQ(bitsOf(a), bitsOf(b)) << (a) << " vs " << (b)

void expectSameOptional(const OptionalDouble& a, const OptionalDouble& b)
{
    ASSERT_EQ(a.first, b.first);
    if (a.first) {
        EXPECT_SAME_DOUBLE(a.second, b.second);
    }
}

void expectSameEvent(const Event& a, const Event& b)
{
    EXPECT_SAME_DOUBLE(a.pos, b.pos);
    expectSameOptional(a.loss, b.loss);
    EXPECT_EQ(a.reflectance.first, b.reflectance.first);
    EXPECT_SAME_DOUBLE(a.reflectance.second, b.reflectance.second);
    expectSameOptional(a.sectionLoss, b.sectionLoss);
    EXPECT_SAME_DOUBLE(a.sectionLength, b.sectionLength);
    expectSameOptional(a.preciseWavelength, b.preciseWavelength);
    EXPECT_EQ(a.dwdm, b.dwdm);
}

Event makeEvent(double pos, OptionalDouble loss, ReflectanceType type, double reflectance, double sectionLength)
{
    Event event;
    event.pos = pos;
    event.loss = loss;
    event.reflectance = {type, reflectance};
    event.sectionLength = sectionLength;
    return event;
}

std::string errorOf(const std::string& json)
{
    try {
        (void)DeserializeLinkMapFromJson(json);
    } catch (const DeserializationException& e) {
        return e.what();
    }
    return "no error";
}

// A minimal valid file with `node` as its one node.
std::string withNode(const std::string& node)
{
    return R"({"nodes": [)" + node + R"(], "parameters": []})";
}

// A node whose one wavelength object has the given event members.
std::string withEvent(const std::string& members)
{
    return withNode(R"({"type": "connector", "events": [{"wavelength": 1310, )" + members + "}]}");
}

const char* const kEvent = R"("position": 1, "reflectanceType": "normal", "reflectance": -50, "sectionLength": 1)";

} // namespace

TEST(LinkMapJson, WritesTheDocumentedText)
{
    Event start = makeEvent(0.0, NoValue(), ReflectanceType::normal, -45.5, 0.0);
    Event splitter = makeEvent(2.25, MakeOptionalDouble(0.1), ReflectanceType::tiny, 0.0, 2.25);
    splitter.sectionLoss = MakeOptionalDouble(0.5);
    Event sub = makeEvent(2.5, NoValue(), ReflectanceType::huge, -12.0, 0.25);
    sub.preciseWavelength = MakeOptionalDouble(1550.12);
    sub.dwdm = true;
    TLinkMap::Nodes nodes{
        TNode(TNode::linkStart, {{1550, {start}}}),
        TNode(TNode::subscriberSplitter, {{1550, {splitter, sub}}, {1625, {}}}, "cabinet", 8),
    };
    TTraceParameters trace{"a.sor", 1.5, -81.0, 1550, 100, 30.0, 20.0, 0.5, 2.0};
    const TLinkMap map(std::move(nodes), {{1550, {-81.0, 1.5}}}, {trace}, {{"ponSplitterRatio", 32.0}});

    // Keys sorted; no "splitterRatio" for ratio 0, no absent optionals, no
    // wavelength without events; 0.1 needs all 17 digits.
    const std::string expected =
        R"({"extras":{"ponSplitterRatio":32},"nodes":[)"
        R"({"comment":"","events":[{"dwdm":false,"merged":[],"position":0,"reflectance":-45.5,)"
        R"("reflectanceType":"normal","sectionLength":0,"wavelength":1550}],"type":"linkStart"},)"
        R"({"comment":"cabinet","events":[{"dwdm":false,"loss":0.10000000000000001,"merged":[)"
        R"({"dwdm":true,"position":2.5,"preciseWavelength":1550.1199999999999,"reflectance":-12,)"
        R"("reflectanceType":"huge","sectionLength":0.25}],"position":2.25,"reflectance":0,)"
        R"("reflectanceType":"tiny","sectionLength":2.25,"sectionLoss":0.5,"wavelength":1550}],)"
        R"("splitterRatio":8,"type":"subscriberSplitter"}],)"
        R"("parameters":[{"backscatteringCoeff":-81,"refractiveIndex":1.5,"wavelength":1550}],)"
        R"("sourceTraces":[{"acquisitionRange":20,"backscatteringCoeff":-81,"measurementTime":30,"name":"a.sor",)"
        R"("optimalDeadZone":2,"pulseWidth":100,"refractiveIndex":1.5,"resolution":0.5,"wavelength":1550}]})";
    EXPECT_EQ(SerializeLinkMapToJson(map), expected);
}

TEST(LinkMapJson, RoundTripKeepsEveryDoubleToTheBit)
{
    const std::vector<double> awkward{0.1, 1e-300, -0.0, 123456.789012345678, -7.3, 4.9406564584124654e-324,
                                      1.7976931348623157e308, 9007199254740993.0, 0.30000000000000004};
    TLinkMap::Nodes nodes;
    for (std::size_t i = 0; i < awkward.size(); ++i) {
        const double x = awkward[i];
        const double y = awkward[(i + 1) % awkward.size()];
        Event first = makeEvent(x, MakeOptionalDouble(y), ReflectanceType::normal, -x, y);
        first.sectionLoss = MakeOptionalDouble(-y);
        first.preciseWavelength = i % 2 == 0 ? MakeOptionalDouble(x) : NoValue();
        first.dwdm = i % 2 == 1;
        Event merged = makeEvent(y, NoValue(), static_cast<ReflectanceType>(i % 3), x, -y);
        // Every node type, in turn, and splitter ratios up to the largest.
        TNode node(static_cast<TNode::Type>(i % 9), {{1310, {first}}, {1550, {first, merged, first}}},
                   i % 2 == 0 ? "" : "node " + std::to_string(i), i == 0 ? 4294967295u : static_cast<unsigned>(i));
        nodes.push_back(std::move(node));
    }
    TLinkMap::Parameters parameters{{1310, {awkward[0], awkward[3]}}, {1550, {awkward[2], awkward[4]}}};
    TLinkMap::SourceTraces traces{{"a \"quoted\"\tname.sor", awkward[1], awkward[2], 1310, 4294967295u, awkward[3],
                                   awkward[4], awkward[5], awkward[6]}};
    TLinkMap::Extras extras{{"ponSplitterRatio", awkward[3]}, {"z", awkward[2]}};
    const TLinkMap map(nodes, parameters, traces, extras);

    const std::string text = SerializeLinkMapToJson(map);
    const TLinkMap back = DeserializeLinkMapFromJson(text);
    EXPECT_EQ(SerializeLinkMapToJson(back), text);

    ASSERT_EQ(back.GetNodesNum(), map.GetNodesNum());
    for (std::size_t i = 0; i < map.GetNodesNum(); ++i) {
        const TNode& a = map.GetNode(i);
        const TNode& b = back.GetNode(i);
        EXPECT_EQ(b.GetType(), a.GetType());
        EXPECT_EQ(b.GetComment(), a.GetComment());
        EXPECT_EQ(b.GetSplitterRatio(), a.GetSplitterRatio());
        ASSERT_EQ(b.GetEvents().size(), a.GetEvents().size());
        for (const auto& [wavelen, events] : a.GetEvents()) {
            const auto& read = b.GetEventsOfWavelen(wavelen);
            ASSERT_EQ(read.size(), events.size()) << wavelen;
            for (std::size_t k = 0; k < events.size(); ++k)
                expectSameEvent(read[k], events[k]);
        }
    }
    ASSERT_EQ(back.GetParameters().size(), 2u);
    for (const auto& [wavelen, constants] : parameters) {
        EXPECT_SAME_DOUBLE(back.GetParameters().at(wavelen).backscatteringCoeff, constants.backscatteringCoeff);
        EXPECT_SAME_DOUBLE(back.GetParameters().at(wavelen).refractiveIndex, constants.refractiveIndex);
    }
    ASSERT_EQ(back.GetSourceTraces().size(), 1u);
    const TTraceParameters& t = back.GetSourceTraces()[0];
    EXPECT_EQ(t.name, traces[0].name);
    EXPECT_SAME_DOUBLE(t.refractiveIndex, traces[0].refractiveIndex);
    EXPECT_SAME_DOUBLE(t.backscatteringCoeff, traces[0].backscatteringCoeff);
    EXPECT_EQ(t.wavelength, 1310u);
    EXPECT_EQ(t.pulseWidth, 4294967295u);
    EXPECT_SAME_DOUBLE(t.measurementTime, traces[0].measurementTime);
    EXPECT_SAME_DOUBLE(t.acquisitionRange, traces[0].acquisitionRange);
    EXPECT_SAME_DOUBLE(t.resolution, traces[0].resolution);
    EXPECT_SAME_DOUBLE(t.optimalDeadZone, traces[0].optimalDeadZone);
    ASSERT_EQ(back.GetExtras().size(), 2u);
    EXPECT_SAME_DOUBLE(back.GetExtras().at("ponSplitterRatio"), awkward[3]);
    EXPECT_SAME_DOUBLE(back.GetExtras().at("z"), -0.0);
}

TEST(LinkMapJson, OptionalMembersAndTheirDefaults)
{
    // No comment, ratio, loss, dwdm or merged; a tiny reflectance needs
    // neither its value nor the section length.
    const TLinkMap map = DeserializeLinkMapFromJson(
        R"({"nodes": [{"type": "welding", "events": [
              {"wavelength": 1310, "position": 3.5, "reflectanceType": "tiny"},
              {"wavelength": 1550, "position": 3.25, "reflectanceType": "tiny", "reflectance": -70,
               "sectionLength": 1.5, "loss": 0.05}]}],
            "parameters": [{"wavelength": 1310, "backscatteringCoeff": -79, "refractiveIndex": 1.25}]})");
    ASSERT_EQ(map.GetNodesNum(), 1u);
    const TNode& node = map.GetNode(0);
    EXPECT_EQ(node.GetType(), TNode::welding);
    EXPECT_EQ(node.GetComment(), "");
    EXPECT_EQ(node.GetSplitterRatio(), 0u);
    ASSERT_EQ(node.GetWavelensNum(), 2u);
    const Event& e1310 = node.GetEvent(0);
    EXPECT_EQ(e1310.pos, 3.5);
    EXPECT_FALSE(e1310.loss.first);
    EXPECT_EQ(e1310.reflectance.first, ReflectanceType::tiny);
    EXPECT_EQ(e1310.reflectance.second, 0.0);
    EXPECT_EQ(e1310.sectionLength, 0.0);
    EXPECT_FALSE(e1310.sectionLoss.first);
    EXPECT_FALSE(e1310.preciseWavelength.first);
    EXPECT_FALSE(e1310.dwdm);
    EXPECT_EQ(node.GetEventsOfWavelen(1310).size(), 1u);
    const Event& e1550 = node.GetEvent(1);
    EXPECT_EQ(e1550.reflectance.second, -70.0);
    EXPECT_EQ(e1550.sectionLength, 1.5);
    EXPECT_EQ(e1550.loss, MakeOptionalDouble(0.05));
    EXPECT_TRUE(map.GetSourceTraces().empty());
    EXPECT_TRUE(map.GetExtras().empty());
    EXPECT_EQ(map.GetParameters().at(1310).backscatteringCoeff, -79.0);
    EXPECT_EQ(map.GetParameters().at(1310).refractiveIndex, 1.25);

    // An empty "nodes" array is an empty map; unknown keys are ignored.
    const TLinkMap empty = DeserializeLinkMapFromJson(R"({"nodes": [], "parameters": [], "future": [1, 2]})");
    EXPECT_EQ(empty.GetNodesNum(), 0u);
    EXPECT_TRUE(empty.GetParameters().empty());

    // A wavelength given twice keeps the later one, in a node and among the
    // parameters.
    const TLinkMap twice = DeserializeLinkMapFromJson(
        R"({"nodes": [{"type": "linkEnd", "events": [
              {"wavelength": 1310, "position": 1, "reflectanceType": "tiny"},
              {"wavelength": 1310, "position": 2, "reflectanceType": "tiny"}]}],
            "parameters": [{"wavelength": 1310, "backscatteringCoeff": -79, "refractiveIndex": 1.25},
                           {"wavelength": 1310, "backscatteringCoeff": -80, "refractiveIndex": 1.5}]})");
    ASSERT_EQ(twice.GetNode(0).GetWavelensNum(), 1u);
    EXPECT_EQ(twice.GetNode(0).GetEvent(0).pos, 2.0);
    EXPECT_EQ(twice.GetParameters().at(1310).backscatteringCoeff, -80.0);
}

TEST(LinkMapJson, MessagesOfTheTopLevelAndTheParser)
{
    EXPECT_EQ(errorOf("[]"), "root element is not a map");
    EXPECT_EQ(errorOf(""), "Error during json deserializing: syntax error at line 1 near: ");
    // The text after the fault up to the end of its line.
    EXPECT_EQ(errorOf("{\n\"nodes\":\n[} rest\nnext line"),
              "Error during json deserializing: syntax error at line 3 near: } rest");
    EXPECT_EQ(errorOf(R"({"nodes": [1e999]})"), "Error during json deserializing: number out of range");

    EXPECT_EQ(errorOf(R"({"parameters": []})"), R"(no "nodes" in top most)");
    EXPECT_EQ(errorOf(R"({"nodes": []})"), R"(no "parameters" in top most)");
    EXPECT_EQ(errorOf(R"({"nodes": {}, "parameters": []})"), "nodesis not of type array (parent is top most");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [], "sourceTraces": {}})"),
              "sourceTracesis not of type array (parent is top most");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [], "extras": []})"),
              "extrasis not of type object (parent is top most");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [], "extras": {"ponSplitterRatio": "8"}})"),
              "ponSplitterRatiois not of type number (parent is extras map");

    EXPECT_EQ(errorOf(R"({"nodes": [[]], "parameters": []})"), "nodes array element isn't a map");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [], "sourceTraces": [1]})"),
              "sourceTraces array member is not of object type");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": ["x"]})"), "parameters array member is not of array type");

    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [], "sourceTraces": [{}]})"),
              R"(no "name" in trace parameters map)");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [], "sourceTraces": [{"name": "a", "refractiveIndex": 1,
        "backscatteringCoeff": -80, "wavelength": 1310, "pulseWidth": "10"}]})"),
              "pulseWidthis not of type number (parent is trace parameters map");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [{"wavelength": 1310, "backscatteringCoeff": -80}]})"),
              R"(no "refractiveIndex" in parameters map)");
    EXPECT_EQ(errorOf(R"({"nodes": [], "parameters": [{"wavelength": 13.5, "backscatteringCoeff": -80}]})"),
              "wrong wavelength");
}

TEST(LinkMapJson, MessagesOfNodesAndEvents)
{
    EXPECT_EQ(errorOf(withNode("{}")), R"(no "type" in node map)");
    EXPECT_EQ(errorOf(withNode(R"({"type": 3})")), "typeis not of type string (parent is node map");
    EXPECT_EQ(errorOf(withNode(R"({"type": "Connector", "events": []})")), "wrong node type");
    EXPECT_EQ(errorOf(withNode(R"({"type": "connector", "comment": 1, "events": []})")),
              "commentis not of type string (parent is node map");
    EXPECT_EQ(errorOf(withNode(R"({"type": "connector", "splitterRatio": 0.5, "events": []})")),
              "wrong splitterRatio");
    EXPECT_EQ(errorOf(withNode(R"({"type": "connector", "splitterRatio": 4294967296, "events": []})")),
              "wrong splitterRatio");
    EXPECT_EQ(errorOf(withNode(R"({"type": "connector"})")), R"(no "events" in node map)");
    EXPECT_EQ(errorOf(withNode(R"({"type": "connector", "events": [true]})")), "events array element isn't a map");

    EXPECT_EQ(errorOf(withNode(R"({"type": "connector", "events": [{"position": 1}]})")),
              R"(no "wavelength" in wavelength map)");
    EXPECT_EQ(errorOf(withEvent(R"("wavelength": -1)")), "wrong wavelength");
    EXPECT_EQ(errorOf(withEvent(R"("reflectanceType": "tiny")")), R"(no "position" in wavelength map)");
    EXPECT_EQ(errorOf(withEvent(R"("position": 1)")), R"(no "reflectanceType" in wavelength map)");
    EXPECT_EQ(errorOf(withEvent(R"("position": 1, "reflectanceType": "big")")), "wrong reflectance type");
    EXPECT_EQ(errorOf(withEvent(R"("position": 1, "reflectanceType": "normal", "sectionLength": 1)")),
              R"(no "reflectance" in wavelength map)");
    EXPECT_EQ(errorOf(withEvent(R"("position": 1, "reflectanceType": "huge", "reflectance": -10)")),
              R"(no "sectionLength" in wavelength map)");
    EXPECT_EQ(errorOf(withEvent(std::string(kEvent) + R"(, "loss": null)")),
              "lossis not of type number (parent is wavelength map");
    EXPECT_EQ(errorOf(withEvent(std::string(kEvent) + R"(, "dwdm": 1)")),
              "dwdmis not of type boolean (parent is wavelength map");

    EXPECT_EQ(errorOf(withEvent(std::string(kEvent) + R"(, "merged": {})")),
              "mergedis not of type array (parent is wavelength map");
    EXPECT_EQ(errorOf(withEvent(std::string(kEvent) + R"(, "merged": [2])")), "merged array element isn't a map");
    EXPECT_EQ(errorOf(withEvent(std::string(kEvent) + R"(, "merged": [{"reflectanceType": "tiny"}])")),
              R"(no "position" in event map)");
    EXPECT_EQ(errorOf(withEvent(std::string(kEvent) + R"(, "merged": [{"position": 1, "reflectanceType": "tiny",
        "sectionLoss": "x"}])")),
              "sectionLossis not of type number (parent is event map");
    EXPECT_EQ(errorOf(withEvent(kEvent)), "no error");
}
