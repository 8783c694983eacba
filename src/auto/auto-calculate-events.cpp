// TAuto: the key-event table rebuilt from the line sections.
#include <algorithm>
#include <climits>
#include <cmath>

#include "auto/auto-locate.h"
#include "auto/auto.h"
#include "auto/event-line.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

namespace {

std::int32_t owtWord(double owt)
{
    if (!(owt > INT_MIN) || !(owt < INT_MAX))
        return owt > 0 ? INT_MAX : INT_MIN;
    return static_cast<std::int32_t>(std::lround(owt));
}

std::int16_t lossWord(double dB)
{
    const double v = std::floor(dB * 1000.0 + 0.5);
    return static_cast<std::int16_t>(std::clamp(v, -32768.0, 32767.0));
}

std::int16_t attenuationWord(double dBkm)
{
    return static_cast<std::int16_t>(std::clamp(std::round(dBkm * 1000.0), -32768.0, 32767.0));
}

const char* techniqueOf(const TSorBlockKeyEvents1E& e)
{
    return static_cast<double>(e.ML1 - e.ML0) * static_cast<double>(e.ML3 - e.ML2) > 0.0 ? "LS" : "2P";
}

// The first character of the event code followed by `rest`.
void setCode(TSorBlockKeyEvents1E& e, const char* rest)
{
    const char kind = e.EC.length > 0 ? e.EC.data[0] : '0';
    TString code(kind);
    code += rest;
    e.EC = code;
}

} // namespace

void TAuto::SetReflection(TSorBlockKeyEvents1E* event, double peak, double base, char type, TSorData* sor)
{
    if (event == nullptr || sor == nullptr)
        return;
    const double h = peak - base;
    const double r = RefEventReflection(sor, static_cast<double>(event->EPT), h);
    event->ER = static_cast<std::int32_t>(std::clamp(r * 1000.0, -2.0e9, 2.0e9));
    const double m = RefEventMinReflection(sor, base, 0.0);
    const bool saturated = peak >= th.RefSat;
    char kind = event->EC.length > 0 ? event->EC.data[0] : '0';
    switch (type) {
    case '=':
        break;
    case 'N':
    case 'P':
        kind = '0';
        break;
    case 'R':
        kind = saturated ? '2' : '1';
        break;
    case 'S':
        kind = '0';
        event->CMT = "Splice value is not accurate";
        break;
    case 'V':
        kind = saturated ? 'D' : 'd';
        event->CMT = "Possibly doubled reflection";
        break;
    default:
        kind = h < m ? '0' : (saturated ? '2' : '1');
        break;
    }
    event->EC = TString(kind);
}

void TAuto::AddSorEvent()
{
    TSorData* sor = Sor;
    if (sor == nullptr || Lines->count == 0 || sor->KeyEvents == nullptr)
        return;
    TSorBlockFixedParameters* fxd = sor->FxdParams;
    RefEventSorDelete(sor);
    TSorBlockKeyEvents* block = sor->KeyEvents;
    const int n = Lines->count;

    auto* launch = new TSorBlockKeyEvents1E();
    block->Events.AddData(launch);
    const TEventLine* line0 = (*Lines)[0];
    const double offset = fxd->GetOwtDataOffset();
    if (offset >= 0.0) {
        launch->EPT = owtWord(offset);
    } else {
        launch->EPT = 0;
        const double front = sor->AUXParams->LFPO != 0 ? -static_cast<double>(sor->AUXParams->LFPO)
                                                       : OwtOfKm(LFirst);
        launch->ML0 = std::min(0, static_cast<int>(PulseOwt + 250.0 + front));
    }
    launch->ML2 = owtWord(OwtOfKm(line0->L1));
    launch->ML3 = owtWord(OwtOfKm(line0->L2));
    launch->ML4 = owtWord(Refl1Owt);
    double launchLoss = 0.0;
    const double pulseKm = PulseOwt * 299792.5 / (fxd->GI * 1e-5) * 1e-10;
    if (pulseKm > line0->L1)
        launchLoss = (pulseKm - line0->L1) * line0->LossKm();
    const double p0 = P0 - launchLoss;
    SetReflection(launch, Refl1, p0, Refl1 - P0 + launchLoss > 0.1 ? 'R' : 'S', sor);
    setCode(*launch, "F9999");
    launch->LMT = techniqueOf(*launch);

    for (int i = 0; i < n; ++i) {
        const TEventLine* line = (*Lines)[i];
        auto* e = new TSorBlockKeyEvents1E();
        block->Events.AddData(e);
        block->TNKE = static_cast<std::int16_t>(block->Events.count);
        double eventKm = line->Le;
        if (i + 1 < n && (line->Type == 'N' || line->Type == 'P'))
            eventKm = LocateStepKm(sor, *line, *(*Lines)[i + 1], PulseOwt, line->Le);
        e->EPT = owtWord(OwtOfKm(eventKm));
        e->ML0 = owtWord(OwtOfKm(line->L1));
        e->ML1 = owtWord(OwtOfKm(line->L2));
        e->ML4 = owtWord(OwtOfKm(line->Peak));
        e->ACI = attenuationWord(line->LossKm());
        e->EL = lossWord(line->Splice);
        const double baseAtEvent = line->P2 - (line->Le - line->L2) * line->LossKm();
        if (i + 1 < n) {
            const TEventLine* next = (*Lines)[i + 1];
            e->ML2 = owtWord(OwtOfKm(next->L1));
            e->ML3 = owtWord(OwtOfKm(next->L2));
            const double d = line->P1 - line->P2;
            const double span = d <= 0.2 ? 0.5 : std::min(2.0 * d, 2.0);
            const double nextDrop = next->P1 - next->P2;
            bool narrowed = false;
            if (span < nextDrop) {
                e->ML3 -= owtWord((1.0 - span / nextDrop) * (e->ML3 - e->ML2));
                narrowed = true;
            }
            // The section in front is held to the same fall: a long line over
            // fibers of different attenuation, or over a splice too small to
            // report, bends away from the trace at its end, and the loss is
            // read there.
            if (span < d) {
                e->ML0 += owtWord((1.0 - span / d) * (e->ML1 - e->ML0));
                narrowed = true;
            }
            if (narrowed)
                RefEventSCalculate(sor, e);
            e->LMT = techniqueOf(*e);
            SetReflection(e, line->Refl, line->Type == 'S' || line->Type == 'V' ? next->P1 : line->P2, line->Type,
                          sor);
            setCode(*e, "F9999");
        } else {
            e->ML2 = owtWord(e->EPT + PulseOwt);
            e->ML3 = owtWord(e->EPT + 2.0 * PulseOwt);
            e->LMT = techniqueOf(*e);
            SetReflection(e, line->Refl, baseAtEvent, line->Type, sor);
            setCode(*e, line->Splice >= th.THEnd ? "E9999" : "O9999");
        }
    }
    block->TNKE = static_cast<std::int16_t>(block->Events.count);
    block->ENSync();

    ArrangeShortEventsMarkers();
    block->EEL = static_cast<std::int32_t>(std::lround(std::clamp(Loss * 1000.0, -2.0e9, 2.0e9)));
    block->ELMP1 = owtWord(fxd->NumToOwt(0));
    block->ELMP2 = owtWord(OwtOfKm(Lend));
    RefEventSetORL(sor);
    const double lt = th.THLoss * 1000.0 + 0.5;
    fxd->LT = lt > 0.0 ? static_cast<std::uint16_t>(std::min(lt, 65535.0)) : 0;
    const double rt = -th.THRef * 1000.0 + 0.5;
    fxd->RT = th.THRef < -65.0 ? std::uint16_t{65000} : static_cast<std::uint16_t>(std::clamp(rt, 0.0, 65535.0));
    const double et = th.THEnd * 1000.0 + 0.5;
    fxd->ET = et > 0.0 ? static_cast<std::uint16_t>(std::min(et, 65535.0)) : 0;
    const double ct = th.dBkm * 1000.0 + 0.5;
    sor->AUXParams->CT = ct > 0.0 ? static_cast<std::uint16_t>(std::min(ct, 65535.0)) : 0;
}

void TAuto::ArrangeShortEventsMarkers()
{
    if (Sor == nullptr || Sor->KeyEvents == nullptr)
        return;
    TLuArray<TSorBlockKeyEvents1E>& events = Sor->KeyEvents->Events;
    const int n = events.count;
    if (n < 3)
        return;
    auto isDoubled = [&](int i) {
        const TString& code = events[i]->EC;
        return code.length > 0 && (code.data[0] == 'd' || code.data[0] == 'D');
    };
    const double maxOwt = Sor->GetMaxOwt();
    for (int i = 1; i < n; ++i) {
        if (!isDoubled(i))
            continue;
        // A group of doubled reflections takes the section of the ordinary event before it.
        int before = i - 1;
        while (before > 0 && isDoubled(before))
            --before;
        int after = i;
        while (after < n && isDoubled(after))
            ++after;
        for (int k = i; k < after; ++k) {
            events[k]->EC.data[0] = '1';
            events[k]->ML0 = events[before]->ML0;
            events[k]->ML1 = events[before]->ML1;
        }
        const std::int32_t m2 = after < n ? events[after]->ML0 : owtWord(maxOwt);
        const std::int32_t m3 = after < n ? events[after]->ML1 : owtWord(maxOwt);
        for (int k = before; k < after; ++k) {
            events[k]->ML2 = m2;
            events[k]->ML3 = m3;
        }
        i = after;
    }
}
