#include "link/span.h"

#include "link/event-losses.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

namespace {

double eventOwt(const TSorData& data, int index)
{
    return data.KeyEvents->Events.data[index]->EPT;
}

// The span marks come from the file, or stay as they were while the key
// events change under them (a new analysis): a mark that counts to no event
// of the table, like a type this system does not know, marks nothing, so
// that no file and no edit can stop the program.
bool marksAnEvent(const TSorData& data, const TSpanLocationInfo& info)
{
    return info.value >= 0 && info.value < data.KeyEvents->TNKE && info.value < data.KeyEvents->Events.count;
}

OptionalDouble toKm(const TSorData& data, const OptionalDouble& owt)
{
    return owt.first ? MakeOptionalDouble(detail::OwtToKm(data, owt.second)) : NoValue();
}

} // namespace

OptionalDouble GetSpanBeginOwt(const TSorData& data)
{
    if (data.KeyEvents->TNKE < 1)
        return NoValue();
    const TSpanLocationInfo& info = data.AUXParams->SpanBegin;
    switch (info.type) {
    case 0:
    case 2:
    case 4: return NoValue();
    case 1: return MakeOptionalDouble(info.value);
    case 3:
        if (!marksAnEvent(data, info))
            return NoValue();
        return MakeOptionalDouble(eventOwt(data, info.value));
    default: break;
    }
    return NoValue();  // a type this system does not know marks nothing
}

OptionalDouble GetSpanEndOwt(const TSorData& data)
{
    const int count = data.KeyEvents->TNKE;
    if (count < 2)
        return NoValue();
    const TSpanLocationInfo& info = data.AUXParams->SpanEnd;
    switch (info.type) {
    case 0:
    case 1:
    case 3: return NoValue();
    case 2: return MakeOptionalDouble(eventOwt(data, count - 1) - info.value);
    case 4:
        if (!marksAnEvent(data, info))
            return NoValue();
        return MakeOptionalDouble(eventOwt(data, count - info.value - 1));
    default: break;
    }
    return NoValue();  // a type this system does not know marks nothing
}

OptionalDouble GetSpanBeginPos(const TSorData& data)
{
    return toKm(data, GetSpanBeginOwt(data));
}

OptionalDouble GetSpanEndPos(const TSorData& data)
{
    return toKm(data, GetSpanEndOwt(data));
}

OptionalDouble CalcSpanLength(const TSorData& data)
{
    const OptionalDouble begin = GetSpanBeginPos(data);
    const OptionalDouble end = GetSpanEndPos(data);
    if (!begin.first || !end.first)
        return NoValue();
    return MakeOptionalDouble(end.second - begin.second);
}

OptionalDouble CalcSpanTotalLoss(const TSorData& data)
{
    const int count = data.KeyEvents->TNKE;
    const TSpanLocationInfo& begin = data.AUXParams->SpanBegin;
    const TSpanLocationInfo& end = data.AUXParams->SpanEnd;
    if (begin.type != 3 || begin.value < 0 || begin.value >= count)
        return NoValue();
    if (end.type != 4 || end.value < 0 || end.value >= count)
        return NoValue();
    // The marks count key events; the losses are summed over merged events.
    const TEventsMerger merger(data);
    const int first = merger.Map(begin.value).first;
    const int last = merger.Map(count - end.value - 1).first;
    // Marks that cross leave no span to sum over.
    if (first > last)
        return NoValue();
    return CalcTotalLoss(merger, first, true, last, true);
}

OptionalDouble CalcSpanTotalOrl(const TSorData& data)
{
    const OptionalDouble begin = GetSpanBeginOwt(data);
    const OptionalDouble end = GetSpanEndOwt(data);
    if (!begin.first || !end.first)
        return NoValue();
    // The return loss only reads the trace.
    return MakeOptionalDouble(RefEventCalcORL(const_cast<TSorData*>(&data), begin.second, end.second));
}
