// TEventsMatcher: the events of a group of traces of one link as one list of
// physical events. Each wavelength and direction is first reduced to one
// list, each part of the link taken from the trace with the shortest pulse
// that measures it; the lists are then grouped by position.
#pragma once
#include <utility>
#include <vector>
#include "link/link-export.h"
#include "link/matched-event.h"
#include "link/sor-data-group.h"

class TSorData;
class TSorBlockKeyEvents1E;

// Does not own the group's documents; they must outlive the matcher.
class FIBERTEST_LINK_EXPORT TEventsMatcher
{
public:
    explicit TEventsMatcher(const TSorDataGroup& group);

    // Physical events, sorted by position.
    [[nodiscard]] unsigned GetEventsNum() const { return static_cast<unsigned>(events.size()); }
    [[nodiscard]] const detail::MatchedEvents& GetMatchedEvents(unsigned index) const;
    // The (wavelength, direction) lists that gave events: at most this many
    // events make one physical event.
    [[nodiscard]] unsigned GetWavelenDirectionsPairsNum() const { return wavelenDirectionsPairsNum; }
    // PON settings of the group's first trace (0, 1 and 1 without traces).
    [[nodiscard]] unsigned GetFirstSplitterRatio() const { return firstSplitterRatio; }
    [[nodiscard]] unsigned GetSecondSplitterRatio() const { return secondSplitterRatio; }
    [[nodiscard]] unsigned GetPonType() const { return ponType; }

private:
    unsigned wavelenDirectionsPairsNum = 0;
    std::vector<detail::MatchedEvents> events;
    unsigned firstSplitterRatio = 1;
    unsigned secondSplitterRatio = 1;
    unsigned ponType = 0;
};

// The smallest distance (km) between neighbouring merged events of a trace;
// the largest double with fewer than two.
FIBERTEST_LINK_EXPORT double CalcMinEventsDist(const TSorData& data);
// The smallest over the group's traces.
FIBERTEST_LINK_EXPORT double CalcMinEventsDist(const TSorDataGroup& group);
// The largest point spacing (km) of the group's traces; 0 without traces.
FIBERTEST_LINK_EXPORT double CalcMaxDistBetweenPoints(const TSorDataGroup& group);
// How much farther apart (km) two views of an event may lie at `pos` km:
// the position uncertainty grows with the distance (0.5 %).
FIBERTEST_LINK_EXPORT double CalcAdditionalDispersionTolerance(double pos);

namespace detail {

// One list per (wavelength, direction): events of one trace each.
using MatchedEventsLists = std::vector<std::vector<MatchedEvent>>;

FIBERTEST_LINK_EXPORT bool HasSpanEnd(const TSorData& data);
FIBERTEST_LINK_EXPORT bool IsBackwardAndHasNoSpanEnd(const TSorDataGroup::TTrace& trace);
// The traces less the backward ones that cannot be placed on the link.
FIBERTEST_LINK_EXPORT std::vector<const TSorDataGroup::TTrace*> filterOutNonSpanEndBackwardTraces(
    const std::vector<const TSorDataGroup::TTrace*>& traces);
// The merged event lies on the fibre and not beyond the span end (one point
// of slack); without a span end only the first holds.
FIBERTEST_LINK_EXPORT bool IsEventPartOfSpan(const TEventsMerger& merger, int index);
// The last merged event stands where the trace ran out (within its last 2 %).
FIBERTEST_LINK_EXPORT bool IsForcedEofEvent(const TEventsMerger& merger, int index);
FIBERTEST_LINK_EXPORT bool IsEventLossMeasurable(const TSorData& data, const TSorBlockKeyEvents1E& event);
// km between the first two points.
FIBERTEST_LINK_EXPORT double CalcDistanceBetweenPoints(const TSorData& data);
// Pulse length plus two point spacings, km: how far beyond an event a
// trace's view of the next event may be blurred by it.
FIBERTEST_LINK_EXPORT double CalcTraceDelta(const TSorData& data);
// The greater of half the smallest event distance and five point spacings.
FIBERTEST_LINK_EXPORT double CalcBaseDispersionThreshold(const TSorDataGroup& group);

// One list of events from the traces of one wavelength and direction.
FIBERTEST_LINK_EXPORT std::vector<MatchedEvent> ScanOneWavelenTraces(
    std::vector<const TSorDataGroup::TTrace*> traces);
// The lists: forward then backward, wavelengths ascending, empty ones left out.
FIBERTEST_LINK_EXPORT MatchedEventsLists DecomposePerWavelenAndScan(const TSorDataGroup& group);

// The limits of matching one event against the groups made so far.
struct MatchLimits
{
    double outer = 0.0;   // km; farther groups are never considered
    double strong = 0.0;  // km; for an event with a clear reflection
    double weak = 0.0;    // km; for any other event
};

// The group, among `result`, that event `e` at `pos` belongs to; absent
// (first false) when none. Empty groups are passed over.
FIBERTEST_LINK_EXPORT std::pair<bool, std::size_t> FindMatchedEvents(const std::vector<MatchedEvents>& result,
                                                                    const MatchedEvent& e, const MatchLimits& limits);
// The physical events of the lists, sorted by position.
FIBERTEST_LINK_EXPORT std::vector<MatchedEvents> BuildEvents(const TSorDataGroup& group,
                                                             const MatchedEventsLists& lists);
FIBERTEST_LINK_EXPORT bool IsThereEmptyMatchedEvents(const std::vector<MatchedEvents>& result);

} // namespace detail
