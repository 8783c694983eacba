// TAuto: construction, the entries of an analysis and the shared helpers.
#include "auto/auto.h"

#include <cmath>

#include "auto/event-line.h"
#include "auto/sor-filter.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-data.h"

namespace {

// The version stamp in the supplier text; an older one is replaced.
constexpr const char* kStamp = " VA=160204";
constexpr int kStampLength = 10;

// The document's own thresholds into `th`.
void takeDocumentThresholds(TSorData* sor, TTH& th)
{
    if (sor->FxdParams != nullptr) {
        th.THLoss = sor->FxdParams->LT / 1000.0;
        th.THRef = sor->FxdParams->RT / -1000.0;
        th.THEnd = sor->FxdParams->ET / 1000.0;
    }
    if (sor->AUXParams != nullptr)
        th.dBkm = sor->AUXParams->CT / 1000.0;
}

void renewStamp(TSorData* sor)
{
    if (sor->SupParams == nullptr)
        return;
    TString& text = sor->SupParams->OT;
    const TString head(kStamp, 3);
    const int at = text.Find(head.data);
    if (at >= 0)
        text.Delete(at, kStampLength);
    text += kStamp;
}

} // namespace

TAuto::TAuto() : Lines(new TLuArray<TEventLine, TEventLine*>()) {}

TAuto::~TAuto()
{
    delete Lines;
}

int TAuto::Automat(TSorData* sor, int rfts)
{
    if (sor == nullptr)
        return 0;
    // The automatic monitoring thresholds arrive with the baseline comparison.
    (void)rfts;
    TTH given;
    takeDocumentThresholds(sor, given);
    given.UseGiven = 1;
    return AnalysisSorData(sor, &given);
}

int TAuto::AnalysisSorData(TSorData* sor, TTH* given)
{
    if (sor == nullptr || sor->FxdParams == nullptr || sor->AUXParams == nullptr || sor->DataPts == nullptr)
        return 0;
    if (given != nullptr) {
        th = *given;
    } else {
        th.Reset();
        th.UseGiven = 0;
        takeDocumentThresholds(sor, th);
    }
    if (th.THRef <= -64.5)
        th.THRef = -80.0;

    // A trace filtered by an earlier run is analysed from its raw points.
    if (sor->AUXParams->isFilter() && sor->BackupDataPts != nullptr) {
        TSorFilter undo(sor);
        undo.SetFilter(0);
    }
    sor->AUXParams->SetFlagFilter(0);

    std::int32_t userOffset = 0;
    if (sor->GenParams != nullptr) {
        userOffset = sor->GenParams->UO;
        sor->GenParams->UO = 0;
    }
    Sor = sor;
    const int done = Calculate();
    if (done != 0)
        AddSorEvent();
    renewStamp(sor);

    if (sor->GenParams != nullptr)
        sor->GenParams->UO = userOffset;
    RefEventRFTSSync(sor);
    RefEventENSync(sor);
    if (sor->KeyEvents != nullptr)
        RefEventRecalculate(sor, sor->KeyEvents, 0);
    return done;
}

int TAuto::ServiceFunction(TCmdASF cmd, long& arg, void** args)
{
    (void)arg;
    switch (cmd) {
    case ASF_Analysis:
    case ASF_AnalysisEnds: {
        if (args == nullptr)
            return 1;
        auto* sor = static_cast<TSorData*>(args[0]);
        AnalysisSorData(sor, static_cast<TTH*>(args[1]));
        if (cmd == ASF_AnalysisEnds && sor != nullptr)
            RefEventDeleteAllButFirstAndLast(sor);
        return 1;
    }
    case ASF_Compare:
        return 0; // the baseline comparison is not part of this build
    default:
        return 1;
    }
}

double TAuto::LevelAt(long i) const
{
    return Sor != nullptr ? Sor->NumToLevel(i) : -65.5;
}

double TAuto::KmOf(long i) const
{
    if (Sor == nullptr || Sor->FxdParams == nullptr || Sor->FxdParams->GI == 0)
        return 0.0;
    return Sor->FxdParams->NumToOwt(i) * 299792.5 / (Sor->FxdParams->GI * 1e-5) * 1e-10;
}

double TAuto::OwtOfKm(double km) const
{
    if (Sor == nullptr || Sor->FxdParams == nullptr)
        return 0.0;
    return km / (299792.5 / (Sor->FxdParams->GI * 1e-5) * 1e-10);
}

long TAuto::PointOfKm(double km) const
{
    if (Sor == nullptr || Sor->FxdParams == nullptr)
        return 0;
    return static_cast<long>(std::lround(Sor->FxdParams->OwtTofNum(OwtOfKm(km))));
}

void TAuto::ClearLines()
{
    Lines->Clear();
}
