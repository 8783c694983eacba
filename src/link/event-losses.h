// Losses along one trace from its merged events: of the fibre section before
// an event, of the event itself, and of a run of events. Absent where the
// trace does not give the value.
#pragma once
#include "link/events-merger.h"
#include "link/link-export.h"
#include "link/optional-double.h"

class TSorData;
class TSorBlockKeyEvents1E;

namespace detail {

// km per OWT unit (100 ps) at the trace's group index; 0 without one.
FIBERTEST_LINK_EXPORT double KmPerOwt(const TSorData& data);
// Distance of a one-way time from the user offset, km.
FIBERTEST_LINK_EXPORT double OwtToKm(const TSorData& data, double owt);

// Attenuation in dB/km that stands in for a section's unusable ACI. `dwdm`:
// the trace was shot with a tuned DWDM laser, in the low-loss band whatever
// its nominal wavelength. Not the table of the analysis.
FIBERTEST_LINK_EXPORT double GetDefaultAttenuation(bool dwdm, unsigned wavelength);

// The section before merged event `index` (sub-event 0), with its event loss
// added when `event`; without `section` only that loss is counted. Absent
// when the section has no loss, or when the event loss is wanted, absent and
// not `allowMissingEvent`. The end event has no loss here.
FIBERTEST_LINK_EXPORT OptionalDouble CalcSectionAndEventLoss(const TEventsMerger& merger, int index, bool section,
                                                             bool event, bool allowMissingEvent,
                                                             WrongSectionAttenuationMode mode);

} // namespace detail

// Loss in dB of the fibre section before `event`: from `previous` to it
// (EPTs), or over the event's own ML0..ML1 without one, at ACI. Absent for a
// section of no length.
FIBERTEST_LINK_EXPORT OptionalDouble CalcSectionLoss(const TSorData& data, const TSorBlockKeyEvents1E* previous,
                                                     const TSorBlockKeyEvents1E& event,
                                                     WrongSectionAttenuationMode mode);
// The section before sub-event `subIndex` of merged event `index`, which
// starts at the first sub-event of the merged event before.
FIBERTEST_LINK_EXPORT OptionalDouble CalcSectionLoss(const TEventsMerger& merger, int index, int subIndex,
                                                     WrongSectionAttenuationMode mode);

// Loss in dB of a sub-event (its full loss). The end event has one only with
// takeEofLoss; any other event none when no fibre leads to it, since its
// loss could not be measured against a section before.
FIBERTEST_LINK_EXPORT OptionalDouble CalcEventLoss(const TEventsMerger& merger, int index, int subIndex,
                                                   EofLossCalculationMode mode);
// The same with ignoreEofLoss.
FIBERTEST_LINK_EXPORT OptionalDouble CalcEventLoss(const TEventsMerger& merger, int index, int subIndex);

// Loss in dB from merged event `firstEventIndex` to `lastEventIndex`: the
// first one's section when `firstSection`, and its event loss; each
// section and event loss between; the last one's section and, when
// `lastEvent`, its event loss. Parts that cannot be computed are left out;
// unusable attenuations are replaced by the default. For one event, its
// event loss alone.
FIBERTEST_LINK_EXPORT OptionalDouble CalcTotalLoss(const TEventsMerger& merger, int firstEventIndex,
                                                   bool firstSection, int lastEventIndex, bool lastEvent);
// The same over the merged events of a trace.
FIBERTEST_LINK_EXPORT OptionalDouble CalcTotalLoss(const TSorData& data, int firstEventIndex, bool firstSection,
                                                   int lastEventIndex, bool lastEvent);
