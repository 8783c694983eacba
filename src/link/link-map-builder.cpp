#include "link/link-map-builder.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <deque>
#include <map>
#include "link/events-matcher.h"
#include "link/sor-data-group.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

namespace detail {

namespace {

// The mean of the values present.
OptionalDouble CalcAverParam(const OptionalDouble& a, const OptionalDouble& b)
{
    if (a.first && b.first)
        return MakeOptionalDouble((a.second + b.second) / 2.0);
    return a.first ? a : b;
}

OptionalDouble valueOf(const MatchedEvent* e, double Event::*field)
{
    return e != nullptr ? MakeOptionalDouble(e->*field) : NoValue();
}

double averageOf(const MatchedEvent* fe, const MatchedEvent* be, double Event::*field)
{
    const OptionalDouble mean = CalcAverParam(valueOf(fe, field), valueOf(be, field));
    assert(mean.first);
    return mean.second;
}

// Where the event stands in its own trace: the launch (its first merged
// event), the end of its fibre (its last), or between.
enum class PlaceInTrace { launch, between, end };

PlaceInTrace placeOf(const MatchedEvent& e)
{
    if (e.data == nullptr || e.keyEvent == nullptr || e.data->KeyEvents == nullptr)
        return PlaceInTrace::between;
    const auto& events = e.data->KeyEvents->Events;
    if (events.count == 0)
        return PlaceInTrace::between;
    // The first sub-event of the last merged event, by the merger's rule: an
    // event that begins inside the body of the one before joins it.
    int last = events.count - 1;
    while (last > 0 && events.data[last]->EPT >= events.data[last - 1]->EPT &&
           events.data[last]->EPT < events.data[last - 1]->ML2)
        --last;
    if (events.data[last] == e.keyEvent)
        return PlaceInTrace::end;
    if (events.data[0] == e.keyEvent)
        return PlaceInTrace::launch;
    return PlaceInTrace::between;
}

// The loss a side gives the link: none at the end of its trace, where the
// trace only falls into the noise (a backward trace ends at the link's start).
OptionalDouble linkLossOf(const MatchedEvent* e)
{
    return e != nullptr && placeOf(*e) != PlaceInTrace::end ? e->loss : NoValue();
}

// The reflectance of both sides: the larger, except that a launch is
// outweighed by the other side. A launch's peak is the instrument's own
// connection, read in the receiver's overload; the trace from the other end
// sees the same connector as its far end, as a measurement.
AnnotatedReflectance reflectanceOf(const MatchedEvent* fe, const MatchedEvent* be)
{
    if (fe && be) {
        const bool forwardLaunch = placeOf(*fe) == PlaceInTrace::launch;
        const bool backwardLaunch = placeOf(*be) == PlaceInTrace::launch;
        if (forwardLaunch != backwardLaunch)
            return forwardLaunch ? be->reflectance : fe->reflectance;
        return CalcMaxRefl(fe->reflectance, be->reflectance);
    }
    return (fe ? fe : be)->reflectance;
}

// The node's event at one wavelength. Positions, shoulders and the loss are
// the means of both directions (a splice between unlike fibres reads high
// one way and low the other: the mean is its true loss; a trace's end has no
// loss to give); the reflectance is the larger, a launch's aside. The
// section figures are the forward trace's; those a backward trace measures
// belong to the section beyond the event and are joined in by the builder
// (see sectionsFromBothEnds).
Event averagedEvent(const MatchedEvent* fe, const MatchedEvent* be)
{
    assert(fe || be);
    assert(!fe || !be || (fe->wavelen == be->wavelen));
    Event e;
    e.pos = averageOf(fe, be, &Event::pos);
    e.leftShoulderStart = averageOf(fe, be, &Event::leftShoulderStart);
    e.leftShoulderEnd = averageOf(fe, be, &Event::leftShoulderEnd);
    e.rightShoulderStart = averageOf(fe, be, &Event::rightShoulderStart);
    e.rightShoulderEnd = averageOf(fe, be, &Event::rightShoulderEnd);
    e.loss = CalcAverParam(linkLossOf(fe), linkLossOf(be));
    e.reflectance = reflectanceOf(fe, be);
    if (fe) {
        e.sectionLoss = fe->sectionLoss;
        e.sectionLength = fe->sectionLength;
    }
    return e;
}

// A merged event of several sub-events lists them; one of a single event
// has nothing further to show.
const std::vector<Event>& subEventsOf(const MatchedEvent* fe, const MatchedEvent* be)
{
    if (fe && be)
        return fe->subEvents.size() >= be->subEvents.size() ? fe->subEvents : be->subEvents;
    return (fe ? fe : be)->subEvents;
}

unsigned splitterRatioOf(const TNode& node, const ExpectedSplitter& expected)
{
    if (node.GetType() != TNode::subscriberSplitter)
        return 0;
    if (!expected.anyRatio)
        return expected.ratio;
    const OptionalDouble loss = node.CalcAverEventLoss();
    return loss.first ? CalcIdealPonSplitterRatio(std::fabs(loss.second)) : 0;
}

// A backward trace measures the section between node i and node i + 1 at
// node i (its previous event lies further along the link). Each node's
// section figures become the mean of what the forward trace saw at it and
// the backward trace saw at the node before.
void sectionsFromBothEnds(std::vector<TNode>& nodes, const TEventsMatcher& matcher)
{
    // Backward section figures per node and wavelength.
    std::vector<std::map<unsigned, const MatchedEvent*>> backward(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i)
        for (const MatchedEvent& m : matcher.GetMatchedEvents(static_cast<unsigned>(i)))
            if (m.direction == TSorDataGroup::backward)
                backward[i][m.wavelen] = &m;
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        TNode::EventsMap events = nodes[i].GetEvents();
        bool changed = false;
        for (auto& [w, list] : events) {
            const auto it = backward[i - 1].find(w);
            if (it == backward[i - 1].end())
                continue;
            Event& e = list.front();
            const bool haveForward = e.sectionLoss.first || e.sectionLength > 0.0;
            e.sectionLoss = CalcAverParam(e.sectionLoss, it->second->sectionLoss);
            e.sectionLength = haveForward ? (e.sectionLength + it->second->sectionLength) / 2.0
                                          : it->second->sectionLength;
            changed = true;
        }
        if (changed) {
            TNode copy(nodes[i].GetType(), std::move(events), nodes[i].GetComment(), nodes[i].GetSplitterRatio());
            nodes[i] = copy;
        }
    }
}

std::deque<ExpectedSplitter> makeExpectedSplitters(const TEventsMatcher& matcher)
{
    std::deque<ExpectedSplitter> queue;
    switch (matcher.GetPonType()) {
    case 0:
        break;
    case 1:
        if (matcher.GetFirstSplitterRatio() > 1)
            queue.push_back({false, matcher.GetFirstSplitterRatio()});
        if (matcher.GetSecondSplitterRatio() > 1)
            queue.push_back({false, matcher.GetSecondSplitterRatio()});
        break;
    case 2:
        queue.push_back({true, 1});
        queue.push_back({true, 1});
        break;
    default:
        assert(!"PON type 0, 1 or 2");
    }
    return queue;
}

TTraceParameters traceParameters(const TSorDataGroup::TTrace& trace)
{
    const TSorData& data = *trace.data;
    const TSorBlockFixedParameters& fixed = *data.FxdParams;
    const double gi = fixed.GI * 1e-5;
    const double kmPerOwt = gi > 0.0 ? 299792.5 / gi * 1e-10 : 0.0;
    TTraceParameters p;
    p.name = trace.name;
    p.refractiveIndex = fixed.GI * 1e-5;
    p.backscatteringCoeff = -fixed.BC * 0.1;
    p.wavelength = static_cast<unsigned>(data.GenParams->NW);
    p.pulseWidth = static_cast<unsigned>(std::max(0.0, fixed.GetNsPulse(0)));
    p.measurementTime = fixed.AT;
    p.acquisitionRange = (static_cast<double>(fixed.AR) - static_cast<double>(data.GenParams->UO)) * kmPerOwt;
    p.resolution = fixed.LenDS() * 1000.0;
    // The shortest distance at which two events are told apart: the pulse's
    // length in the fibre, and one sample to see the fall between them.
    const double pulseKm = data.GetRealNsPulse(0) / 0.2 * kmPerOwt;
    p.optimalDeadZone = pulseKm * 1000.0 + p.resolution;
    return p;
}

} // namespace

PairedMatchedEvents BuildPairedMatchedEvents(const MatchedEvents& events)
{
    std::map<unsigned, std::pair<const MatchedEvent*, const MatchedEvent*>> byWavelen;
    for (const MatchedEvent& e : events) {
        auto& pair = byWavelen[e.wavelen];
        const MatchedEvent*& side = e.direction == TSorDataGroup::forward ? pair.first : pair.second;
        assert(side == nullptr);  // one list per wavelength and direction
        side = &e;
    }
    PairedMatchedEvents pairs;
    for (const auto& [w, pair] : byWavelen) {
        assert(pair.first || pair.second);
        pairs.push_back(pair);
    }
    return pairs;
}

TNode MakeNode(const TEventsMatcher& matcher, std::size_t i, bool waitingForSplitter, const ExpectedSplitter& expected,
               double macrobendThreshold, double minWeldingLoss)
{
    const MatchedEvents& mes = matcher.GetMatchedEvents(static_cast<unsigned>(i));
    assert(mes.size() > 0);
    TNode::EventsMap events;
    for (const auto& [fe, be] : BuildPairedMatchedEvents(mes)) {
        std::vector<Event> list{averagedEvent(fe, be)};
        const std::vector<Event>& subs = subEventsOf(fe, be);
        if (subs.size() > 1)
            list.insert(list.end(), subs.begin(), subs.end());
        events[(fe ? fe : be)->wavelen] = std::move(list);
    }
    const TNode::Type type = DeduceNodeType(matcher, i, waitingForSplitter, expected, macrobendThreshold, minWeldingLoss);
    TNode node(type, std::move(events));
    node.SetSplitterRatio(splitterRatioOf(node, expected));
    return node;
}

} // namespace detail

double CalcDefaultMaxEventDispersionThreshold(const TSorDataGroup& /*group*/)
{
    return 1.0;
}

TLinkMap BuildLinkMap(const TSorDataGroup& group, double maxEventDispersionThreshold)
{
    return BuildLinkMap(group, maxEventDispersionThreshold, 0.01);
}

TLinkMap BuildLinkMap(const TSorDataGroup& group, double maxEventDispersionThreshold, double minWeldingLoss)
{
    if (group.GetTracesNum() == 0)
        return {};
    const TEventsMatcher matcher(group);
    std::deque<detail::ExpectedSplitter> queue = detail::makeExpectedSplitters(matcher);
    bool waiting = false;
    detail::ExpectedSplitter expected;
    std::vector<detail::TNode> nodes;
    for (std::size_t i = 0; i < static_cast<std::size_t>(matcher.GetEventsNum()); ++i) {
        if (!waiting && !queue.empty()) {
            expected = queue.front();
            queue.pop_front();
            waiting = true;
        }
        nodes.push_back(detail::MakeNode(matcher, i, waiting, expected, maxEventDispersionThreshold, minWeldingLoss));
        const auto type = nodes.back().GetType();
        if (type == detail::TNode::subscriberSplitter || type == detail::TNode::officeSplitter) {
            waiting = false;
            expected = {};
        }
    }
    detail::sectionsFromBothEnds(nodes, matcher);

    TLinkMap::Parameters constants;
    TLinkMap::SourceTraces traces;
    for (unsigned t = 0; t < group.GetTracesNum(); ++t) {
        const TSorDataGroup::TTrace& trace = group.GetTrace(t);
        const TTraceParameters p = detail::traceParameters(trace);
        constants[p.wavelength] = {p.backscatteringCoeff, p.refractiveIndex};
        traces.push_back(p);
    }
    return {std::move(nodes), std::move(constants), std::move(traces)};
}

std::vector<detail::TNode> FilterOutUnknownNodes(const std::vector<detail::TNode>& nodes)
{
    std::vector<detail::TNode> kept;
    detail::TNode::OverridesMap overrides;
    for (const detail::TNode& node : nodes) {
        if (node.GetType() == detail::TNode::unknown) {
            for (std::size_t i = 0; i < node.GetWavelensNum(); ++i)
                overrides[node.GetWavelen(i)].events.push_back(node.GetEvent(i));
            continue;
        }
        kept.push_back(overrides.empty() ? node : detail::TNode(node, overrides));
        overrides.clear();
    }
    return kept;
}

std::vector<detail::Event> FindMaxWavelenMergedEvents(const detail::TNode& node)
{
    std::vector<detail::Event> best;
    for (std::size_t i = 0; i < node.GetWavelensNum(); ++i) {
        std::vector<detail::Event> merged = node.GetMergedEventsForWavelen(i);
        if (merged.size() > best.size())
            best = std::move(merged);
    }
    return best;
}
