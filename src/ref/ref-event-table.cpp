// The event table: adding and removing events with the blocks that keep one
// entry per event in step, searches by position, and copying the structure of
// one trace's table onto another.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "ref/ref-event-p.h"
#include "ref/ref-event.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-rfts-events.h"
#include "sor/sor-block-rfts-parameters.h"

using namespace detail::refevent;

namespace detail::refevent {

void announceAdd(TSorData* sd, int e)
{
    sd->KeyEvents->OnKeyEventAdd(e);
    sd->RFTSParams->OnKeyEventAdd(e);
    sd->RFTSEvents->OnKeyEventAdd(e);
    sd->LnkParams->OnKeyEventAdd(e);
}

void announceDel(TSorData* sd, int e)
{
    sd->KeyEvents->OnKeyEventDel(e);
    sd->RFTSParams->OnKeyEventDel(e);
    sd->RFTSEvents->OnKeyEventDel(e);
    sd->LnkParams->OnKeyEventDel(e);
}

void announceClear(TSorData* sd)
{
    sd->KeyEvents->OnKeyEventsClear();
    sd->RFTSParams->OnKeyEventsClear();
    sd->RFTSEvents->OnKeyEventsClear();
    sd->LnkParams->OnKeyEventsClear();
}

} // namespace detail::refevent

namespace {

// Whether `owt` lies within the trace (markers of auxiliary events).
bool insideTrace(const TSorData* sd, double owt)
{
    return owt >= sd->GetMinOwt() && owt <= sd->GetMaxOwt();
}

// Converts times of `model` to times of `target` by distance: the same km
// from each trace's user offset.
class DistanceMap
{
public:
    DistanceMap(const TSorData* target, const TSorData* model)
        : fromUO(model->GenParams->UO), toUO(target->GenParams->UO)
    {
        const double kmModel = kmPerOwt(model);
        const double kmTarget = kmPerOwt(target);
        // Without a group index distances are unknown: time is taken as time.
        ratio = kmModel > 0.0 && kmTarget > 0.0 ? kmModel / kmTarget : 1.0;
    }
    [[nodiscard]] double operator()(double owt) const { return (owt - fromUO) * ratio + toUO; }

private:
    double fromUO;
    double toUO;
    double ratio = 1.0;
};

std::int32_t clampOwt(double owt, double lo, double hi)
{
    return truncSaturated<std::int32_t>(std::clamp(owt, lo, hi));
}

// A distance in whole units of 1e-5 km, as positions of two traces are compared.
long kmUnits(const TSorData* sd, double owt)
{
    return truncSaturated<std::int32_t>(owtToKm(sd, owt) * 1e5);
}

} // namespace

// ---- adding and removing ----

int RefEventAdd(TSorData* sd, const TSorBlockKeyEvents1E* event, int recalc)
{
    if (owtToKm(sd, event->EPT + 1.0) < owtToKm(sd, sd->GetMinOwt()) ||
        owtToKm(sd, event->EPT) > owtToKm(sd, sd->GetMaxOwt()))
        return -1;
    if (keyEventCount(sd) >= kMaxEvents)
        return -1;
    int index = 0;
    while (index < keyEventCount(sd) && keyEvent(sd, index)->EPT <= event->EPT)
        ++index;
    auto* copy = new TSorBlockKeyEvents1E();
    copy->Assign(*event);
    sd->KeyEvents->Events.InsData(copy, index);
    syncCount(sd);
    copy->EN = static_cast<std::int16_t>(index + 1);
    announceAdd(sd, index);
    if (recalc != 0)
        RefEventRecalculate(sd, copy, index);
    return index;
}

int RefEventAdd(TSorData* sd, const TSorBlockAUXEvents1E* event)
{
    for (const std::int32_t marker : {event->ML0, event->ML1, event->ML2})
        if (marker != 0 && !insideTrace(sd, marker))
            return 1;
    TSorBlockAUXEvents& aux = *sd->AUXEvents;
    if (aux.TNE >= kMaxEvents)
        return 1;
    TSorBlockAUXEvents1E copy;
    copy.Assign(*event);
    RefEventRecalculate(sd, &copy);
    int index = 0;
    while (index < aux.TNE && static_cast<std::size_t>(index) < aux.Events.size() &&
           aux.Events[static_cast<std::size_t>(index)].ML0 <= copy.ML0)
        ++index;
    aux.InsEvent(copy, index);
    return 0;
}

void RefEventDel(TSorData* sd, int i, int keyEvent)
{
    if (keyEvent == 0) {
        sd->AUXEvents->DelEvent(i);
        return;
    }
    // The first event is the launch of the trace and stays.
    if (i <= 0 || i >= keyEventCount(sd))
        return;
    sd->KeyEvents->Events.DelData(i);
    syncCount(sd);
    RefEventENSync(sd);
    announceDel(sd, i);
    // The event that followed now ends a longer section.
    if (i < sd->KeyEvents->TNKE)
        RefEventACICalculate(sd, detail::refevent::keyEvent(sd, i));
}

void RefEventDeleteAllButFirstAndLast(TSorData* sd)
{
    while (keyEventCount(sd) > 2)
        RefEventDel(sd, 1, 1);
}

void RefEventSorDelete(TSorData* sd)
{
    sd->KeyEvents->Events.Clear();
    syncCount(sd);
    announceClear(sd);
    sd->AUXEvents->SetTNE(0);
}

void RefEventENSync(TSorData* sd)
{
    sd->KeyEvents->ENSync();
}

void RefEventRFTSSync(TSorData* sd)
{
    announceClear(sd);
    for (int e = 0; e < keyEventCount(sd); ++e) {
        sd->RFTSParams->OnKeyEventAdd(e);
        sd->RFTSEvents->OnKeyEventAdd(e);
    }
}

void RefEventSORToAUXSync(TSorData* sd)
{
    TSorBlockAUXEvents& aux = *sd->AUXEvents;
    aux.SetTNE(0);
    for (int i = 1; i < keyEventCount(sd); ++i) {
        const TSorBlockKeyEvents1E* event = keyEvent(sd, i);
        TSorBlockAUXEvents1E section;
        section.EN = static_cast<std::int16_t>(i);
        section.ML0 = event->ML0;
        section.ML1 = event->ML1;
        section.LMT = "LS";
        section.EC = "DU9999";
        RefEventRecalculate(sd, &section);
        aux.AddEvent(section);
    }
}

// ---- searches ----

int RefEventGetNumEvent(TSorData* sd, double owt)
{
    int nearest = -1;
    double best = 0.0;
    for (int i = 0; i < keyEventCount(sd); ++i) {
        const double d = std::fabs(keyEvent(sd, i)->EPT - owt);
        if (nearest < 0 || d < best) {
            nearest = i;
            best = d;
        }
    }
    return nearest;
}

int RefEventGetNextEvent(TSorData* sd, double owt)
{
    for (int i = 0; i < keyEventCount(sd); ++i)
        if (keyEvent(sd, i)->EPT > owt)
            return i;
    return -1;
}

// ---- templates ----

void RefEventApplyTemplate(TSorData* target, TSorData* model)
{
    if (target == model)
        return;
    RefEventSorDelete(target);
    target->RFTSParams->Assign(*model->RFTSParams);
    announceClear(target);

    const DistanceMap map(target, model);
    const double first = target->GetMinOwt();
    const double last = target->GetMaxOwt();
    const long firstKm = kmUnits(target, first);
    const long lastKm = kmUnits(target, last);
    std::vector<int> skipped;
    for (int k = 0; k < keyEventCount(model); ++k) {
        const TSorBlockKeyEvents1E* source = keyEvent(model, k);
        const long at = kmUnits(model, source->EPT);
        if (k > 0 && (at < firstKm || at > lastKm)) {
            skipped.push_back(k);
            continue;
        }
        if (keyEventCount(target) >= kMaxEvents)
            break;
        auto* event = new TSorBlockKeyEvents1E();
        event->Assign(*source);
        const auto place = [&](std::int32_t owt) { return map(owt) + 0.5; };
        event->EPT = truncSaturated<std::int32_t>(place(source->EPT));
        event->ML0 = clampOwt(place(source->ML0), first, last);
        event->ML1 = clampOwt(place(source->ML1), first, last);
        event->ML2 = clampOwt(place(source->ML2), first, last);
        event->ML3 = clampOwt(place(source->ML3), first, last);
        event->ML4 = 0;
        target->KeyEvents->Events.AddData(event);
        syncCount(target);
        RefEventRCalculate(target, event);
        RefEventSCalculate(target, event);
        if (isEndEvent(*event))
            RefEventECalculate(target, event);
        announceAdd(target, keyEventCount(target) - 1);
    }
    // The model's own per-event thresholds, less those of the events that did
    // not fit on the target, so that they stay in step with its table.
    target->RFTSParams->Assign(*model->RFTSParams);
    for (auto it = skipped.rbegin(); it != skipped.rend(); ++it)
        target->RFTSParams->OnKeyEventDel(*it);

    TSorBlockAUXEvents& aux = *target->AUXEvents;
    for (const TSorBlockAUXEvents1E& source : model->AUXEvents->Events) {
        if (aux.TNE >= kMaxEvents)
            break;
        const double m0 = map(source.ML0);
        const double m1 = map(source.ML1);
        const double m2 = map(source.ML2);
        if (!insideTrace(target, m0) || !insideTrace(target, m1) || (source.ML2 != 0 && !insideTrace(target, m2)))
            continue;
        TSorBlockAUXEvents1E copy;
        copy.Assign(source);
        setCodeChar(copy.EC, 1, 'T');
        copy.ML0 = truncSaturated<std::int32_t>(m0);
        copy.ML1 = truncSaturated<std::int32_t>(m1);
        copy.ML2 = source.ML2 != 0 ? truncSaturated<std::int32_t>(m2) : 0;
        RefEventRecalculate(target, &copy);
        aux.AddEvent(copy);
    }
    target->LnkParams->Assign(*model->LnkParams);
}

int RefEventSQO(TSorData* a, TSorData* b, double& bias, double& deviation)
{
    bias = 0.0;
    deviation = 0.0;
    if (keyEventCount(b) < 2 || a == b)
        return 0;
    RefEventApplyTemplate(a, b);
    const int sections = std::min(keyEventCount(a), keyEventCount(b));
    double u = 0.0;  // the running offset of a's backscatter, dB
    double v = 0.0;  // the same for b
    for (int i = 1; i < sections; ++i) {
        const TSorBlockKeyEvents1E* ea = keyEvent(a, i);
        const TSorBlockKeyEvents1E* eb = keyEvent(b, i);
        const double t = owtToKm(b, eb->EPT) - owtToKm(b, keyEvent(b, i - 1)->EPT);
        const double d = (ea->ACI - eb->ACI) / 1000.0;
        bias += (u - v) - d * t / 2.0;
        deviation += RefMathLinesSQO(u - v, d, t);
        if (i + 1 < sections) {
            u -= t * ea->ACI / 1000.0 + ea->FullLoss / 1000.0;
            v -= t * eb->ACI / 1000.0 + eb->FullLoss / 1000.0;
        }
    }
    return 1;
}
