// TAuto::Calculate and the merge of the line sections (SelectSplices).
#include <algorithm>
#include <cmath>

#include "auto/auto.h"
#include "auto/event-line.h"
#include "ref/ref-auto.h"
#include "ref/ref-event.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"

namespace {

std::uint16_t thresholdWord(double value)
{
    const double v = value * 1000.0 + 0.5;
    if (!(v > 0.0))
        return 0;
    return v >= 65535.0 ? std::uint16_t{65535} : static_cast<std::uint16_t>(v);
}

} // namespace

// Writes the thresholds in force into the document's fixed parameters.
static void writeThresholds(TSorData* sor, const TTH& th)
{
    TSorBlockFixedParameters* fxd = sor->FxdParams;
    fxd->LT = thresholdWord(th.THLoss);
    fxd->RT = th.THRef < -65.0 ? std::uint16_t{65000} : thresholdWord(-th.THRef);
    fxd->ET = thresholdWord(th.THEnd);
}

void TAuto::SetMaxDbKm(double x)
{
    if (x * 10.0 < MaxDbKm)
        MaxDbKm = x * 10.0;
    if (MaxDbKm < 1.0)
        MaxDbKm = 1.0;
}

bool TAuto::IsNormACI(double a, double b) const
{
    double limit = b > 0.01 ? 2.0 * b : 2.0;
    if (Sor != nullptr && Sor->FxdParams != nullptr && Sor->FxdParams->AW < 10000)
        limit = 5.0;
    return -0.5 < a && a < limit;
}

void TAuto::AddEventLin(TEventLine* line, TEventLine* prev)
{
    if (line == nullptr)
        return;
    if (line->Type == '_')
        line->Type = prev != nullptr && prev->Splice > 0.0 ? 'P' : 'N';
    Lines->AddData(line);
}

int TAuto::Calculate()
{
    TSorData* sor = Sor;
    if (sor == nullptr || sor->FxdParams == nullptr || sor->AUXParams == nullptr || sor->DataPts == nullptr)
        return 0;
    TSorBlockFixedParameters* fxd = sor->FxdParams;
    Linf = RefEmbGetLinf(sor);
    MaxDbKm = 20.0;
    th.Event = th.THLoss;
    if (th.THEnd < 1.0)
        th.THEnd = 1.0;
    ClearLines();

    NF = RefAutoReSetNF(sor);
    const double scaleBase = sor->AUXParams->GetLogBase();
    if (NF < scaleBase)
        NF = scaleBase;
    if (Linf == nullptr) {
        sor->SetLinf();
        Linf = RefEmbGetLinf(sor);
    }

    // The points the segments count, but never more than the data block
    // holds: a file may promise billions it does not have.
    Points = std::min(fxd->GetTotalPinPW(), sor->DataPts->IsEmpty() ? 0L : sor->DataPts->GetPointsNum());
    Spacing = fxd->DS.empty() ? 0.0 : fxd->DS[0] / 10000.0;
    if (!(Spacing > 0.0) || Points < 2 || fxd->GI <= 0 || fxd->PWU.empty())
        return 0;
    LossKm = RefAutoGetLoss(sor);
    DbOnOwt = RefAutoGetDbOnOwt(sor);
    if (DbOnOwt == 0.0 || !std::isfinite(DbOnOwt))
        return 0;
    PulseOwt = fxd->PWU[0] / 0.2;
    if (sor->AUXParams->isFilter()) {
        const double r = PulseOwt / Spacing;
        if (r <= 0.0 || DbOnOwt <= 0.0)
            return 0;
        NF += std::log10(r) * 5.0 * -0.5;
        PulseOwt *= 1.4;
    }

    Fall15 = 1.5 / DbOnOwt;
    Pw0 = static_cast<long>(std::ceil(PulseOwt / Spacing + 1.0));
    Pw1 = static_cast<long>(std::ceil((PulseOwt + Fall15) / Spacing + 1.0));
    Pw3 = static_cast<long>(std::ceil((PulseOwt + 3.0 * Fall15) / Spacing + 1.0));
    KmPerPoint = static_cast<float>(Spacing * 299792.5 / (fxd->GI * 1e-5) * 1e-10);
    DbPerPoint = static_cast<float>(KmPerPoint * LossKm);

    // The long path of the analysis is not part of this build: where the
    // filtered path declines, the run gives up and the document keeps its events.
    if (ShortAnalysis() == 0)
        return 0;

    const int n = Lines->count;
    TEventLine* launch = nullptr;
    for (int i = 0; i < n && launch == nullptr; ++i) {
        TEventLine* line = (*Lines)[i];
        if ((line->Type != 'S' && line->Type != 'V') || line->L2 - line->L1 > 0.1)
            launch = line;
    }
    if (launch == nullptr && n > 0)
        launch = (*Lines)[0];

    // Dead zones: walk down towards the launch while the trace stands off the launch line.
    Dz01 = Dz05 = 0.0;
    if (launch != nullptr) {
        bool found01 = false;
        const long start = std::min(PointOfKm(Lend), 2 * PointOfKm(LBeg));
        const double a = launch->LossKm();
        for (long i = std::max(0L, start); i >= 0; --i) {
            const double d = std::fabs(LevelAt(i) - (launch->P1 + (launch->L1 - KmOf(i)) * a));
            if (!found01 && d >= 0.1) {
                Dz01 = KmOf(i + 1);
                found01 = true;
            }
            if (d >= 0.5) {
                Dz05 = KmOf(i + 1);
                break;
            }
        }
    }

    if (n == 1 && (*Lines)[0]->L2 < 0.001)
        P0 = NF;
    else if (launch != nullptr)
        P0 = launch->P1 + (launch->L1 - KmOf(0)) * launch->LossKm();
    else
        P0 = NF;
    P0 = std::min(std::max(P0, NF), 1.0);
    PEnd = std::min(PEnd, P0);
    DR = P0 - NF;
    Loss = n > 0 ? P0 - (*Lines)[n - 1]->P2 : 0.0;

    writeThresholds(sor, th);
    return 1;
}

void TAuto::SelectSplices(double minLoss)
{
    if (Sor == nullptr)
        return;
    SetLinesSplice();
    const double minLen = th.MinLen;
    int i = 0;
    // Every merge deletes a line, so the restarts end.
    while (i < Lines->count) {
        TEventLine* line = (*Lines)[i];
        TEventLine* next = i + 1 < Lines->count ? (*Lines)[i + 1] : nullptr;
        const double length = line->L2 - line->L1;
        const bool longEnough = length >= minLen;

        if (longEnough && line->Splice > th.THEnd && line->Type != 'S' && line->Type != 'V') {
            while (Lines->count > i + 1)
                Lines->DelData(Lines->count - 1);
            Lend = line->Le;
            PEnd = line->P2;
            return;
        }
        if (next == nullptr)
            break;

        const double ai = line->LossKm();
        const double aj = next->LossKm();
        const bool shortType = line->Type == 'S' || line->Type == 'V';
        const double base = shortType ? next->P1 : line->P2;
        const double height = line->Refl - base;
        double r = RefEventReflection(Sor, OwtOfKm(line->Peak), height);
        if (r >= th.THRef && std::fabs(line->Splice) < 0.4 && height < 0.4)
            r = RefEventReflection(Sor, PointOfKm(line->L2), line->P2, PointOfKm(next->L1), next->P1, line->Splice);

        if (ai > MaxDbKm && ai < aj)
            MaxDbKm = ai * 1.001;

        int verdict = 0;
        if (shortType) {
            if (r < th.THRef && line->Refl - LevelAt(PointOfKm(line->Le)) < 1.0)
                verdict = 4;
        } else if (line->Type == 'R') {
            if (r < th.THRef) {
                if (std::fabs(line->Splice) < minLoss)
                    verdict = 30;
                if (!IsNormACI(ai, 0.0) && verdict == 0)
                    verdict = 3;
            }
        } else {
            if (std::fabs(line->Splice) < minLoss)
                verdict = 1;
            if (!IsNormACI(ai, 0.0) && verdict == 0 && line->Splice < ai * (next->L1 - line->L2))
                verdict = 20;
            if (!IsNormACI(ai, 0.0) && verdict == 0 && next->Type != 'V') {
                const double g = std::fabs(next->P1 - next->P2);
                if (g > line->P2 - next->P2)
                    verdict = 21;
                else if (std::fabs(line->Splice) < g)
                    verdict = 2;
            }
        }
        if (ai < 0.1 && r < th.THRef + 3.0 && minLoss < RefPower &&
            minLoss + (aj - ai) * (line->L2 - line->L1) > line->Splice)
            verdict = 5;

        if ((!longEnough || verdict != 0) && ai < MaxDbKm) {
            next->L1 = line->L1;
            if ((next->Type == 'S' || next->Type == 'V') && !shortType)
                next->Type = line->Type;
            LossSquare(Sor, *next, SetAvgPin(next->P2, 0.05, 1, std::max(th.AvgPin, Pw0)));
            Lines->DelData(i);
            SetLinesSplice();
            i = 0;
            continue;
        }
        if (length * LossKm > minLoss)
            SetMaxDbKm(ai);
        ++i;
    }
}
