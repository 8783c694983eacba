#include "link/events-matcher.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "link/event-losses.h"
#include "link/span.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

using Trace = TSorDataGroup::TTrace;

namespace {

// km of a merged event from the trace's own launch end. The scan of one
// wavelength and direction works in these: all its traces share that end.
double ownKm(const Trace& trace, int index)
{
    return detail::OwtToKm(*trace.data, trace.merger.GetEvent(index, 0).EPT);
}

// The first merged event beyond `boundary` (own km).
std::pair<bool, std::size_t> firstEventRightOf(const Trace& trace, double boundary)
{
    for (int index = 0; index < trace.merger.GetEventsNum(); ++index)
        if (ownKm(trace, index) > boundary)
            return {true, static_cast<std::size_t>(index)};
    return {false, 0};
}

// The first trace after `current` that shows something beyond `x` (own km):
// its last event lies more than a point spacing farther. Traces that end
// before are of no use there.
const Trace* nextTraceBeyond(const std::vector<const Trace*>& traces, std::size_t current, double x)
{
    for (std::size_t k = current + 1; k < traces.size(); ++k) {
        const Trace& candidate = *traces[k];
        const int n = candidate.merger.GetEventsNum();
        if (n > 0 && ownKm(candidate, n - 1) > x + candidate.data->FxdParams->LenDS())
            return &candidate;
    }
    return nullptr;
}

// x within [a, b], whichever way round a backward trace puts the ends.
bool isWithin(double x, double a, double b)
{
    const double begin = std::min(a, b);
    const double end = std::max(a, b);
    assert(begin <= end);
    return x >= begin && x <= end;
}

} // namespace

namespace detail {

bool HasSpanEnd(const TSorData& data)
{
    const std::uint32_t type = data.AUXParams->SpanEnd.type;
    // The mark must also count to an event of the table: a backward trace is
    // turned round by it.
    return data.KeyEvents->TNKE >= 2 && (type == 2 || type == 4) && GetSpanEndOwt(data).first;
}

bool IsBackwardAndHasNoSpanEnd(const Trace& trace)
{
    return trace.direction == TSorDataGroup::backward && !HasSpanEnd(*trace.data);
}

std::vector<const Trace*> filterOutNonSpanEndBackwardTraces(const std::vector<const Trace*>& traces)
{
    std::vector<const Trace*> result;
    for (const Trace* trace : traces)
        if (!IsBackwardAndHasNoSpanEnd(*trace))
            result.push_back(trace);
    return result;
}

bool IsEventPartOfSpan(const TEventsMerger& merger, int index)
{
    const TSorData& data = merger.GetData();
    const double x = OwtToKm(data, merger.GetEvent(index, 0).EPT);
    if (x < 0.0)
        return false;
    // A trace without a span end is taken as a whole.
    const OptionalDouble spanEnd = GetSpanEndPos(data);
    return !spanEnd.first || x <= spanEnd.second + CalcDistanceBetweenPoints(data);
}

bool IsForcedEofEvent(const TEventsMerger& merger, int index)
{
    if (!merger.IsEofEvent(index))
        return false;
    const double lastOwt = merger.GetData().GetMaxOwt();
    for (int sub = 0; sub < merger.GetSubEventsNum(index); ++sub)
        if (merger.GetEvent(index, sub).EPT > 0.98 * lastOwt)
            return true;
    return false;
}

bool IsEventLossMeasurable(const TSorData& data, const TSorBlockKeyEvents1E& event)
{
    // The test only reads the trace and the event.
    return RefEventLossMeasurable(const_cast<TSorData*>(&data), const_cast<TSorBlockKeyEvents1E*>(&event)) != 0;
}

double CalcDistanceBetweenPoints(const TSorData& data)
{
    return OwtToKm(data, data.FxdParams->NumToOwt(1)) - OwtToKm(data, data.FxdParams->NumToOwt(0));
}

double CalcTraceDelta(const TSorData& data)
{
    const double pulseKm = data.GetRealNsPulse(0) / 0.2 * KmPerOwt(data);
    return pulseKm + 2.0 * data.FxdParams->LenDS();
}

double CalcBaseDispersionThreshold(const TSorDataGroup& group)
{
    return std::max(0.5 * CalcMinEventsDist(group), 5.0 * CalcMaxDistBetweenPoints(group));
}

// The traces are taken from the shortest pulse up: each part of the link
// comes from the shortest pulse that measures it. A trace gives events until
// one whose loss it cannot measure (its dynamic range ends there); the next
// longer pulse goes on from the middle of the gap before that event. After an
// event taken, the next trace's view is blurred for its pulse length, so its
// events resume only beyond that.
std::vector<MatchedEvent> ScanOneWavelenTraces(std::vector<const Trace*> traces)
{
    std::stable_sort(traces.begin(), traces.end(), [](const Trace* a, const Trace* b) {
        return std::trunc(a->data->FxdParams->GetNsPulse(0)) < std::trunc(b->data->FxdParams->GetNsPulse(0));
    });
    std::vector<MatchedEvent> result;
    double lastKm = 0.0;  // own km of the last event taken
    double boundary = std::numeric_limits<double>::lowest();
    const Trace* finalTrace = nullptr;
    for (std::size_t t = 0; t < traces.size(); ++t) {
        const Trace& trace = *traces[t];
        const std::pair<bool, std::size_t> start = firstEventRightOf(trace, boundary);
        if (!start.first)
            continue;
        assert(start.second < static_cast<size_t>(trace.merger.GetEventsNum()));
        for (int index = static_cast<int>(start.second); index < trace.merger.GetEventsNum(); ++index) {
            const double x = ownKm(trace, index);
            const Trace* next = nextTraceBeyond(traces, t, x);
            finalTrace = next != nullptr ? next : &trace;
            if (IsForcedEofEvent(trace.merger, index))
                break;
            if (!IsEventPartOfSpan(trace.merger, index))
                continue;
            if (!IsEventLossMeasurable(*trace.data, trace.merger.GetEvent(index, 0))) {
                if (!result.empty())
                    boundary = x - (x - lastKm) * 0.5;
                break;
            }
            result.push_back(MatchedEvent::Make(trace, index));
            lastKm = x;
            boundary = x + (next != nullptr ? CalcTraceDelta(*next->data) : 0.0);
        }
    }
    // The end of the link: what the last trace that saw farther shows beyond,
    // as it stands.
    if (finalTrace != nullptr)
        for (int index = 0; index < finalTrace->merger.GetEventsNum(); ++index)
            if (ownKm(*finalTrace, index) > boundary)
                result.push_back(MatchedEvent::Make(*finalTrace, index));
    return result;
}

MatchedEventsLists DecomposePerWavelenAndScan(const TSorDataGroup& group)
{
    MatchedEventsLists lists;
    for (const TSorDataGroup::Direction direction : {TSorDataGroup::forward, TSorDataGroup::backward}) {
        for (const unsigned wavelen : group.GetWavelens(direction)) {
            const auto traces = filterOutNonSpanEndBackwardTraces(group.GetTraces(direction, wavelen));
            std::vector<MatchedEvent> list = ScanOneWavelenTraces(traces);
            if (!list.empty())
                lists.push_back(std::move(list));
        }
    }
    return lists;
}

// Each group is judged by its first event c at q against e at p. A group
// qualifies when either event lies within the other's core (left shoulder
// end to right shoulder start), or when they lie within the limit of e's
// kind; of those, the nearest wins and a tie stays with the earlier group.
std::pair<bool, std::size_t> FindMatchedEvents(const std::vector<MatchedEvents>& result, const MatchedEvent& e,
                                               const MatchLimits& limits)
{
    const double p = e.pos;
    const bool strong = e.reflectance.first != ReflectanceType::tiny && e.reflectance.second >= -60.0;
    const double limit = strong ? limits.strong : limits.weak;
    std::pair<bool, std::size_t> found{false, 0};
    double best = std::numeric_limits<double>::max();
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (result[i].empty())
            continue;
        const MatchedEvent& c = result[i].front();
        const double q = c.pos;
        const double d = std::fabs(q - p);
        if (d > limits.outer || !(d < best))
            continue;
        if (isWithin(p, c.leftShoulderEnd, c.rightShoulderStart) || isWithin(q, e.leftShoulderEnd, e.rightShoulderStart)
            || d <= limit) {
            best = d;
            found = {true, i};
        }
    }
    return found;
}

bool IsThereEmptyMatchedEvents(const std::vector<MatchedEvents>& result)
{
    return std::any_of(result.begin(), result.end(), [](const MatchedEvents& m) { return m.empty(); });
}

// The first list seeds one group per event; each further list's events join
// the groups they match or open new ones. One list gives one trace's view
// of an event, so a group takes at most one event of a list: when several
// match the same group, the one nearest to the group's first event joins it
// (the earlier on a tie) and each other one opens a group of its own. The
// groups are sorted by the position of their first event.
std::vector<MatchedEvents> BuildEvents(const TSorDataGroup& group, const MatchedEventsLists& lists)
{
    std::vector<MatchedEvents> result;
    if (lists.empty())
        return result;
    const double maxDist = CalcMaxDistBetweenPoints(group);
    const double base = CalcBaseDispersionThreshold(group);
    MatchLimits limits;
    limits.outer = 10.0 * maxDist;
    limits.strong = 2.0 * maxDist;

    for (const MatchedEvent& e : lists.front())
        result.push_back({e});

    for (std::size_t l = 1; l < lists.size(); ++l) {
        const std::vector<MatchedEvent>& list = lists[l];
        std::vector<std::vector<std::size_t>> noted(result.size());
        std::vector<std::size_t> opening;
        for (std::size_t k = 0; k < list.size(); ++k) {
            limits.weak = base + CalcAdditionalDispersionTolerance(list[k].pos);
            const std::pair<bool, std::size_t> found = FindMatchedEvents(result, list[k], limits);
            if (found.first)
                noted[found.second].push_back(k);
            else
                opening.push_back(k);
        }
        for (std::size_t g = 0; g < noted.size(); ++g) {
            if (noted[g].empty())
                continue;
            const double q = result[g].front().pos;
            std::size_t nearest = noted[g].front();
            for (const std::size_t k : noted[g])
                if (std::fabs(list[k].pos - q) < std::fabs(list[nearest].pos - q))
                    nearest = k;
            result[g].push_back(list[nearest]);
            for (const std::size_t k : noted[g])
                if (k != nearest)
                    opening.push_back(k);
        }
        std::sort(opening.begin(), opening.end());
        for (const std::size_t k : opening)
            result.push_back({list[k]});
    }

    std::stable_sort(result.begin(), result.end(),
                     [](const MatchedEvents& a, const MatchedEvents& b) { return a.front().pos < b.front().pos; });
    assert(!IsThereEmptyMatchedEvents(result));
    return result;
}

} // namespace detail

TEventsMatcher::TEventsMatcher(const TSorDataGroup& group)
{
    if (group.GetTracesNum() > 0) {
        const TSorBlockAUXParameters& aux = *group.GetTrace(0).data->AUXParams;
        ponType = aux.PonType;
        firstSplitterRatio = aux.FirstSplitterRatio;
        secondSplitterRatio = aux.SecondSplitterRatio;
    }
    const detail::MatchedEventsLists lists = detail::DecomposePerWavelenAndScan(group);
    wavelenDirectionsPairsNum = static_cast<unsigned>(lists.size());
    events = detail::BuildEvents(group, lists);
}

const detail::MatchedEvents& TEventsMatcher::GetMatchedEvents(unsigned index) const
{
    assert(index < events.size());
    return events[index];
}

double CalcMinEventsDist(const TSorData& data)
{
    const TEventsMerger merger(data);
    double result = std::numeric_limits<double>::max();
    for (int index = 1; index < merger.GetEventsNum(); ++index) {
        const double from = detail::OwtToKm(data, merger.GetEvent(index - 1, 0).EPT);
        const double to = detail::OwtToKm(data, merger.GetEvent(index, 0).EPT);
        result = std::min(result, to - from);
    }
    return result;
}

double CalcMinEventsDist(const TSorDataGroup& group)
{
    double result = std::numeric_limits<double>::max();
    for (unsigned t = 0; t < group.GetTracesNum(); ++t)
        result = std::min(result, CalcMinEventsDist(*group.GetTrace(t).data));
    return result;
}

double CalcMaxDistBetweenPoints(const TSorDataGroup& group)
{
    double result = 0.0;
    for (unsigned t = 0; t < group.GetTracesNum(); ++t)
        result = std::max(result, detail::CalcDistanceBetweenPoints(*group.GetTrace(t).data));
    return result;
}

double CalcAdditionalDispersionTolerance(double pos)
{
    return pos * 0.005;
}
