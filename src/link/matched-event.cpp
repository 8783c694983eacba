#include "link/matched-event.h"

#include <cassert>

#include "link/event-losses.h"
#include "link/span.h"
#include "ref/ref-event.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

namespace detail {

double CalcPos(const TSorDataGroup::TTrace& trace, double km)
{
    if (trace.direction == TSorDataGroup::forward)
        return km;
    const OptionalDouble spanEnd = GetSpanEndPos(*trace.data);
    assert(spanEnd.first);
    return spanEnd.second - km;
}

double CalcPosFromOwt(const TSorDataGroup::TTrace& trace, double owt)
{
    return CalcPos(trace, OwtToKm(*trace.data, owt));
}

double CalcEventPos(const TSorDataGroup::TTrace& trace, int index, int subIndex)
{
    return CalcPosFromOwt(trace, trace.merger.GetEvent(index, subIndex).EPT);
}

namespace {

AnnotatedReflectance annotatedReflectance(const TSorBlockKeyEvents1E& event)
{
    // The event code's first character tells how far the value is to be
    // believed: "0" below what could be measured, "2" saturated.
    ReflectanceType type = ReflectanceType::normal;
    if (event.EC.length > 0 && event.EC.data != nullptr) {
        if (event.EC.data[0] == '0')
            type = ReflectanceType::tiny;
        else if (event.EC.data[0] == '2')
            type = ReflectanceType::huge;
    }
    return {type, event.ER / 1000.0};
}

} // namespace

Event Event::Make(const TSorDataGroup::TTrace& trace, int index, int subIndex)
{
    const TEventsMerger& merger = trace.merger;
    const TSorBlockKeyEvents1E& e = merger.GetEvent(index, subIndex);
    Event result;
    result.pos = CalcPosFromOwt(trace, e.EPT);
    result.leftShoulderStart = CalcPosFromOwt(trace, e.ML0);
    result.leftShoulderEnd = CalcPosFromOwt(trace, e.ML1);
    result.rightShoulderStart = CalcPosFromOwt(trace, e.ML2);
    result.rightShoulderEnd = CalcPosFromOwt(trace, e.ML3);
    result.loss = subIndex == 0 ? CalcEventLoss(merger, index, subIndex, takeEofLoss) : NoValue();
    result.reflectance = annotatedReflectance(e);
    // The section from the merged event before (or the event's own ML0..ML1
    // for the first), as its loss is computed.
    const TSorData& data = *trace.data;
    result.sectionLoss = CalcSectionLoss(merger, index, subIndex, replaceSectionAttenuation);
    const double from = index > 0 ? merger.GetEvent(index - 1, 0).EPT : e.ML0;
    const double to = index > 0 ? e.EPT : e.ML1;
    result.sectionLength = OwtToKm(data, to) - OwtToKm(data, from);
    return result;
}

MatchedEvent MatchedEvent::Make(const TSorDataGroup::TTrace& trace, int index)
{
    MatchedEvent result;
    static_cast<Event&>(result) = Event::Make(trace, index, 0);
    result.data = trace.data;
    result.keyEvent = &trace.merger.GetEvent(index, 0);
    result.direction = trace.direction;
    result.wavelen = GetWavelen(*trace.data);
    const int subEventsNum = trace.merger.GetSubEventsNum(index);
    if (subEventsNum > 1)
        for (int sub = 0; sub < subEventsNum; ++sub)
            result.subEvents.push_back(Event::Make(trace, index, sub));
    return result;
}

OptionalDouble CalcAverEventLoss(const MatchedEvents& matched, AppropriateLossEventCheckingStrategy strategy)
{
    double sum = 0.0;
    int lossesNum = 0;
    const MatchedEvent* firstWithLoss = nullptr;
    for (const MatchedEvent& event : matched) {
        if (!event.loss.first)
            continue;
        if (firstWithLoss == nullptr)
            firstWithLoss = &event;
        const bool qualifies = strategy == allLossEvents
            || (event.data != nullptr && event.keyEvent != nullptr
                && RefEventLossMeasurable(const_cast<TSorData*>(event.data),
                                          const_cast<TSorBlockKeyEvents1E*>(event.keyEvent)) != 0);
        if (qualifies) {
            sum += event.loss.second;
            ++lossesNum;
        }
    }
    if (firstWithLoss == nullptr)
        return NoValue();
    if (lossesNum == 0)
        return firstWithLoss->loss;
    assert(lossesNum > 0);
    return MakeOptionalDouble(sum / lossesNum);
}

AnnotatedReflectance CalcMaxRefl(const AnnotatedReflectance& a, const AnnotatedReflectance& b)
{
    if (a.first == b.first)
        return a.second >= b.second ? a : b;
    if (a.first == ReflectanceType::tiny)
        return b;
    if (b.first == ReflectanceType::tiny)
        return a;
    if (a.first == ReflectanceType::normal && b.first == ReflectanceType::huge)
        return b;
    if (a.first == ReflectanceType::huge && b.first == ReflectanceType::normal)
        return a;
    assert(false && "unknown reflectance type");
    return a;
}

AnnotatedReflectance CalcMaxRefl(const std::vector<AnnotatedReflectance>& reflectances)
{
    assert(!reflectances.empty());
    AnnotatedReflectance result = reflectances.front();
    for (const AnnotatedReflectance& reflectance : reflectances)
        result = CalcMaxRefl(result, reflectance);
    return result;
}

AnnotatedReflectance CalcMaxRefl(const MatchedEvents& matched)
{
    std::vector<AnnotatedReflectance> reflectances;
    for (const MatchedEvent& event : matched)
        reflectances.push_back(event.reflectance);
    return CalcMaxRefl(reflectances);
}

} // namespace detail
