#include "link/node-type.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>
#include "link/events-matcher.h"

namespace detail {

namespace {

// Reflectance limits of the rules, dB.
constexpr double splitterMaxReflectance = -60.0;      // a splitter reflects less than a connector
constexpr double bigSplitterMaxReflectance = -40.0;   // unless its loss is large enough to tell it apart
constexpr double bigSplitterMinLoss = 5.0;
constexpr double macrobendMaxLoss = 5.0;
constexpr double apcMaxReflectance = -54.0;
constexpr double connectorMinLoss = 0.02;
constexpr unsigned anyRatioSmallestSplitter = 4;

bool isHuge(const MatchedEvent& e) { return e.reflectance.first == ReflectanceType::huge; }
bool isTiny(const MatchedEvent& e) { return e.reflectance.first == ReflectanceType::tiny; }

// No saturated reflection and no measured one above `limit`.
bool reflectsLessThan(const MatchedEvents& events, double limit)
{
    return std::none_of(events.begin(), events.end(), [limit](const MatchedEvent& e) {
        return isHuge(e) || (e.reflectance.first == ReflectanceType::normal && e.reflectance.second > limit);
    });
}

bool isExpectedSplitter(const MatchedEvents& events, const NodeTypeContext& context)
{
    if (!context.waitingForSplitter)
        return false;
    const OptionalDouble loss = CalcAverEventLoss(events, allLossEvents);
    if (!loss.first)
        return false;
    const bool quiet = reflectsLessThan(events, splitterMaxReflectance);
    const bool bigAndQuietEnough = loss.second > bigSplitterMinLoss && reflectsLessThan(events, bigSplitterMaxReflectance);
    if (!quiet && !bigAndQuietEnough)
        return false;
    const unsigned ratio = context.expected.anyRatio ? anyRatioSmallestSplitter : context.expected.ratio;
    return CalcIdealPonSplitterLoss(ratio) <= std::fabs(loss.second);
}

bool isMacrobend(const MatchedEvents& events, const NodeTypeContext& context)
{
    const bool allTinyAndSmall = std::all_of(events.begin(), events.end(), [](const MatchedEvent& e) {
        return isTiny(e) && !(e.loss.first && e.loss.second > macrobendMaxLoss);
    });
    if (!allTinyAndSmall)
        return false;
    assert(context.wavelenDirectionsPairs >= events.size());
    // One loss per wavelength and direction, those not seen missing.
    std::vector<OptionalDouble> losses(context.wavelenDirectionsPairs, NoValue());
    std::transform(events.begin(), events.end(), losses.begin(), [](const MatchedEvent& e) { return e.loss; });
    double lo = 0.0;
    double hi = 0.0;
    bool any = false;
    for (const OptionalDouble& loss : losses) {
        if (!loss.first)
            continue;
        lo = any ? std::min(lo, loss.second) : loss.second;
        hi = any ? std::max(hi, loss.second) : loss.second;
        any = true;
    }
    return any && hi - lo > context.macrobendThreshold;
}

bool hasLossAbove(const MatchedEvent& e, double limit) { return e.loss.first && std::fabs(e.loss.second) > limit; }

} // namespace

TNode::Type DeduceNodeType(const MatchedEvents& events, const NodeTypeContext& context)
{
    assert(events.size() > 0);
    if (context.first)
        return TNode::linkStart;
    if (context.last)
        return TNode::linkEnd;
    if (isExpectedSplitter(events, context))
        return TNode::subscriberSplitter;
    if (isMacrobend(events, context))
        return TNode::macrobend;
    // An APC connector: a loss and a measured, weak reflection in every
    // trace. Only a normal reflectance is a measurement: a tiny one's value
    // is whatever the analysis read off the backscatter (a splice reads -80
    // to -90 dB), and a huge one saturated the receiver, so the reflection
    // is at least that strong and may be far stronger.
    const bool seenEverywhere = events.size() == context.wavelenDirectionsPairs;
    if (seenEverywhere && std::all_of(events.begin(), events.end(), [](const MatchedEvent& e) {
            return hasLossAbove(e, connectorMinLoss) && e.reflectance.first == ReflectanceType::normal &&
                   e.reflectance.second < apcMaxReflectance;
        }))
        return TNode::apcConnector;
    if (std::any_of(events.begin(), events.end(),
                    [](const MatchedEvent& e) { return hasLossAbove(e, connectorMinLoss) && !isTiny(e); }))
        return TNode::connector;
    if (std::any_of(events.begin(), events.end(), [&context](const MatchedEvent& e) {
            return hasLossAbove(e, context.minWeldingLoss) && isTiny(e);
        }))
        return TNode::welding;
    return TNode::unknown;
}

TNode::Type DeduceNodeType(const TEventsMatcher& matcher, std::size_t i, bool waitingForSplitter,
                           const ExpectedSplitter& expected, double macrobendThreshold,
                           double minWeldingLoss)
{
    assert(matcher.GetEventsNum() > 0);
    const MatchedEvents& mes = matcher.GetMatchedEvents(static_cast<unsigned>(i));
    assert(mes.size() > 0);
    assert(matcher.GetWavelenDirectionsPairsNum() >= mes.size());
    NodeTypeContext context;
    context.first = i == 0;
    context.last = i + 1 == static_cast<std::size_t>(matcher.GetEventsNum());
    context.waitingForSplitter = waitingForSplitter;
    context.expected = expected;
    context.wavelenDirectionsPairs = static_cast<std::size_t>(matcher.GetWavelenDirectionsPairsNum());
    context.macrobendThreshold = macrobendThreshold;
    context.minWeldingLoss = minWeldingLoss;
    return DeduceNodeType(mes, context);
}

} // namespace detail

double CalcIdealPonSplitterLoss(unsigned ratio)
{
    assert(ratio != 0);
    return 10.0 * std::log10(static_cast<double>(ratio));
}

unsigned CalcIdealPonSplitterRatio(double loss)
{
    for (unsigned ratio = 8192; ratio >= 1; ratio /= 2)
        if (CalcIdealPonSplitterLoss(ratio) < loss)
            return ratio;
    return 1;
}
