#include "link/event-losses.h"

#include <cassert>
#include <utility>

#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

namespace detail {

double KmPerOwt(const TSorData& data)
{
    const double gi = data.FxdParams->GI * 1e-5;
    return gi > 0.0 ? 299792.5 / gi * 1e-10 : 0.0;
}

double OwtToKm(const TSorData& data, double owt)
{
    return (owt - data.GenParams->UO) * KmPerOwt(data);
}

double GetDefaultAttenuation(bool dwdm, unsigned wavelength)
{
    if (dwdm)
        return 0.2;
    switch (wavelength) {
    case 850:
    case 1300: return 1.0;
    case 1310: return 0.3;
    case 1490: return 0.25;
    default: return 0.2;
    }
}

OptionalDouble CalcSectionAndEventLoss(const TEventsMerger& merger, int index, bool section, bool event,
                                       bool allowMissingEvent, WrongSectionAttenuationMode mode)
{
    const OptionalDouble sectionLoss = CalcSectionLoss(merger, index, 0, mode);
    if (!sectionLoss.first)
        return NoValue();
    double sum = section ? sectionLoss.second : 0.0;
    if (event) {
        const OptionalDouble eventLoss = CalcEventLoss(merger, index, 0);
        if (eventLoss.first)
            sum += eventLoss.second;
        else if (!allowMissingEvent)
            return NoValue();
    }
    return MakeOptionalDouble(sum);
}

} // namespace detail

namespace {

const TSorBlockKeyEvents1E* firstOfPrevious(const TEventsMerger& merger, int index)
{
    return index > 0 ? &merger.GetEvent(index - 1, 0) : nullptr;
}

// The ends (OWT) of the section before `event`.
std::pair<double, double> sectionEnds(const TSorBlockKeyEvents1E* previous, const TSorBlockKeyEvents1E& event)
{
    if (previous != nullptr)
        return {previous->EPT, event.EPT};
    return {event.ML0, event.ML1};
}

bool hasLength(const TSorData& data, const std::pair<double, double>& ends)
{
    if (ends.first == ends.second)
        return false;
    return detail::OwtToKm(data, ends.second) - detail::OwtToKm(data, ends.first) != 0.0;
}

} // namespace

OptionalDouble CalcSectionLoss(const TSorData& data, const TSorBlockKeyEvents1E* previous,
                               const TSorBlockKeyEvents1E& event, WrongSectionAttenuationMode mode)
{
    const auto ends = sectionEnds(previous, event);
    if (!hasLength(data, ends))
        return NoValue();
    const double length = detail::OwtToKm(data, ends.second) - detail::OwtToKm(data, ends.first);
    double attenuation = event.ACI / 1000.0;
    if (mode == replaceSectionAttenuation && attenuation <= 0.0) {
        // A tuned laser marks a DWDM channel, which lies in the low-loss band.
        const bool dwdm = data.AUXParams->LaserFreq != 0;
        attenuation = detail::GetDefaultAttenuation(dwdm, static_cast<unsigned>(data.GenParams->NW));
    }
    return MakeOptionalDouble(attenuation * length);
}

OptionalDouble CalcSectionLoss(const TEventsMerger& merger, int index, int subIndex, WrongSectionAttenuationMode mode)
{
    return CalcSectionLoss(merger.GetData(), firstOfPrevious(merger, index), merger.GetEvent(index, subIndex), mode);
}

OptionalDouble CalcEventLoss(const TEventsMerger& merger, int index, int subIndex, EofLossCalculationMode mode)
{
    const TSorBlockKeyEvents1E& event = merger.GetEvent(index, subIndex);
    const double loss = event.FullLoss / 1000.0;
    if (merger.IsEofEvent(index))
        return mode == takeEofLoss ? MakeOptionalDouble(loss) : NoValue();
    if (!hasLength(merger.GetData(), sectionEnds(firstOfPrevious(merger, index), merger.GetEvent(index, 0))))
        return NoValue();
    return MakeOptionalDouble(loss);
}

OptionalDouble CalcEventLoss(const TEventsMerger& merger, int index, int subIndex)
{
    return CalcEventLoss(merger, index, subIndex, ignoreEofLoss);
}

OptionalDouble CalcTotalLoss(const TEventsMerger& merger, int firstEventIndex, bool firstSection, int lastEventIndex,
                             bool lastEvent)
{
    assert(firstEventIndex <= lastEventIndex);
    if (firstEventIndex == lastEventIndex)
        return CalcEventLoss(merger, firstEventIndex, 0);
    double sum = 0.0;
    const auto add = [&sum](const OptionalDouble& part) {
        if (part.first)
            sum += part.second;
    };
    add(detail::CalcSectionAndEventLoss(merger, firstEventIndex, firstSection, true, false,
                                        replaceSectionAttenuation));
    for (int k = firstEventIndex + 1; k < lastEventIndex; ++k)
        add(detail::CalcSectionAndEventLoss(merger, k, true, true, false, replaceSectionAttenuation));
    add(detail::CalcSectionAndEventLoss(merger, lastEventIndex, true, lastEvent, true, replaceSectionAttenuation));
    return MakeOptionalDouble(sum);
}

OptionalDouble CalcTotalLoss(const TSorData& data, int firstEventIndex, bool firstSection, int lastEventIndex,
                             bool lastEvent)
{
    const TEventsMerger merger(data);
    return CalcTotalLoss(merger, firstEventIndex, firstSection, lastEventIndex, lastEvent);
}
