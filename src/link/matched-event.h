// detail::MatchedEvent: an event of one trace with where it came from, and
// detail::MatchedEvents: the events of several traces that are one physical
// event of the link. With the positions of a trace in forward km.
#pragma once
#include <vector>
#include "link/link-event.h"
#include "link/link-export.h"
#include "link/optional-double.h"
#include "link/sor-data-group.h"

class TSorData;
class TSorBlockKeyEvents1E;

// Which events count for the mean loss of a physical event.
enum AppropriateLossEventCheckingStrategy
{
    measurableLossEvents = 0,  // those whose trace shows the fibre behind them above the noise
    allLossEvents = 1,         // every event with a loss
};

namespace detail {

struct FIBERTEST_LINK_EXPORT MatchedEvent : Event
{
    const TSorData* data = nullptr;                     // the trace; not owned
    const TSorBlockKeyEvents1E* keyEvent = nullptr;     // first sub-event of the merged event; not owned
    TSorDataGroup::Direction direction = TSorDataGroup::forward;
    unsigned wavelen = 0;                               // nm (NW)
    // Every sub-event (the first included) when the merged event has more
    // than one; empty for an event that merged with nothing.
    std::vector<Event> subEvents;

    // Merged event `index` of a trace: the fields of its first sub-event.
    static MatchedEvent Make(const TSorDataGroup::TTrace& trace, int index);
};

using MatchedEvents = std::vector<MatchedEvent>;

// A distance along the trace (km) in the link's forward direction: from the
// far end's span end for a backward trace, which must have a span end.
FIBERTEST_LINK_EXPORT double CalcPos(const TSorDataGroup::TTrace& trace, double km);
FIBERTEST_LINK_EXPORT double CalcPosFromOwt(const TSorDataGroup::TTrace& trace, double owt);
// The forward position of a sub-event.
FIBERTEST_LINK_EXPORT double CalcEventPos(const TSorDataGroup::TTrace& trace, int index, int subIndex);

// Mean loss over the events that have one and qualify by `strategy`; the
// first present loss when none qualifies; absent when no event has a loss.
FIBERTEST_LINK_EXPORT OptionalDouble CalcAverEventLoss(const MatchedEvents& matched,
                                                       AppropriateLossEventCheckingStrategy strategy);

// The stronger of two reflectances: of one type the higher value; of two
// types the more telling one (normal over tiny, huge over both).
FIBERTEST_LINK_EXPORT AnnotatedReflectance CalcMaxRefl(const AnnotatedReflectance& a, const AnnotatedReflectance& b);
// The same folded over a list, which must not be empty.
FIBERTEST_LINK_EXPORT AnnotatedReflectance CalcMaxRefl(const std::vector<AnnotatedReflectance>& reflectances);
FIBERTEST_LINK_EXPORT AnnotatedReflectance CalcMaxRefl(const MatchedEvents& matched);

} // namespace detail
