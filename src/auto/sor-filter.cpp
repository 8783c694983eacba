// The filter frame: the document's figures, the choice of filter, the raw
// backup that lets every filter be undone, and the plain weighted filter.
#include "auto/sor-filter.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"

namespace {

// km per owt for a group index stored as index * 100000.
double kmPerOwt(const TSorData* sor)
{
    const double gi = sor->FxdParams->GI > 0 ? sor->FxdParams->GI * 1e-5 : 1.46;
    return 299792.5 / gi * 1e-10;
}

}  // namespace

TSorFilter::TSorFilter(TSorData* sor)
{
    Result = AutoFilterResultData{};
    SetSorData(sor);
}

TSorFilter::~TSorFilter()
{
    delete[] LinfAvg;
}

void TSorFilter::SetSorData(TSorData* sor)
{
    if (sor == nullptr)
        return;
    Sor = sor;
    Linf = RefEmbGetLinf(sor);
    const TSorBlockFixedParameters* fixed = sor->FxdParams;
    Spacing = fixed->DS.empty() ? 0.0f : static_cast<float>(fixed->DS[0] / 10000.0);
    DbOnOwt = static_cast<float>(RefAutoGetDbOnOwt(sor));
    const double ns = sor->GetRealNsPulse(0);
    if (Spacing > 1e-6f) {
        PwPoints = std::max(1L, static_cast<long>(ns / 0.2 / Spacing + 0.5));
        PwFall = std::max(1L, static_cast<long>((ns / 0.2 + DbOnOwt) / Spacing + 0.5));
    } else {
        PwPoints = 1;
        PwFall = 1;
    }
}

long TSorFilter::points() const
{
    return Sor != nullptr && Sor->DataPts != nullptr && Sor->DataPts->SubBlocks.count != 0 ? Sor->DataPts->GetPointsNum()
                                                                                          : 0;
}

float TSorFilter::level(long i) const
{
    return static_cast<float>(Sor->NumToLevel(i));
}

void TSorFilter::GetSorMC()
{
    if (Sor == nullptr)
        return;
    const TSorBlockAUXParameters* aux = Sor->AUXParams;
    const long count = std::min<long>(aux->TMC, static_cast<long>(aux->MC.size()));
    if (count <= 1) {
        SetK(0);
        return;
    }
    SetK(static_cast<int>(count));
    for (long j = 0; j < count; ++j)
        Weights[j] = aux->MC[static_cast<std::size_t>(j)] / 10000.0;
}

void TSorFilter::SetAFC(TSorData* sor)
{
    if (sor == nullptr)
        return;
    SetSorData(sor);
    GetSorMC();
}

void TSorFilter::SetSorMC()
{
    if (Sor == nullptr)
        return;
    TSorBlockAUXParameters* aux = Sor->AUXParams;
    aux->SetTMC(static_cast<std::int16_t>(std::min(K, 32767L)));
    for (long j = 0; j < K && j < static_cast<long>(aux->MC.size()); ++j)
        aux->MC[static_cast<std::size_t>(j)] = static_cast<std::int16_t>(std::lround(Weights[j] * 10000.0));
}

void TSorFilter::backupRestoreDataPointsBeforeFilterApply(int mode)
{
    TSorData* sor = Sor;
    if (mode >= 1) {
        if (sor->BackupDataPts == nullptr) {
            sor->BackupDataPts = new TSorBlockDataPoints();
            sor->BackupDataPts->Assign(*sor->DataPts);
        } else if (!sor->AUXParams->isFilter()) {
            sor->BackupDataPts->Assign(*sor->DataPts);
        } else {
            // A filter is in force: start again from the raw points so that
            // filters never stack on each other's results.
            sor->DataPts->Assign(*sor->BackupDataPts);
        }
        return;
    }
    if (sor->BackupDataPts != nullptr) {
        sor->DataPts->Assign(*sor->BackupDataPts);
        delete sor->BackupDataPts;
        sor->BackupDataPts = nullptr;
    }
}

void TSorFilter::SetFilter(int mode)
{
    if (Sor == nullptr || Sor->DataPts == nullptr || Sor->AUXParams == nullptr)
        return;
    if (mode < 0)
        mode = Sor->AUXParams->isFilter() ? 7 : 0;
    backupRestoreDataPointsBeforeFilterApply(mode);
    switch (mode) {
    case 0:
        break;
    case 5:
        FTTFilter(Sor);
        break;
    case 6:
        TempFilter(Sor, nullptr, 0.0);
        break;
    case 7:
        runAutoFilterMode();
        break;
    default:
        Filter(Sor);
        break;
    }
    Sor->AUXParams->SetFlagFilter(mode);
}

void TSorFilter::runAutoFilterMode()
{
    if (Linf == nullptr) {
        RefAutoReSetNF(Sor);
        Sor->SetLinf();
        Linf = RefEmbGetLinf(Sor);
    }
    Result.count = AutoFilter(Sor, Result.events, Result.widths);
    TSorBlockAUXParameters* aux = Sor->AUXParams;
    const TSorBlockFixedParameters* fixed = Sor->FxdParams;
    const double km = (fixed->AR - Sor->GenParams->UO) * kmPerOwt(Sor);
    if (aux->ZeroCorrectApplied == 0 && km > 160.0 && static_cast<int>(Sor->GetRealNsPulse(0)) > 10000) {
        ZeroCorrect(Sor);
        aux->ZeroCorrectApplied = 1;
    }
}

void TSorFilter::SwitchDataPointsBlocks()
{
    if (Sor == nullptr || Sor->BackupDataPts == nullptr)
        return;
    std::swap(Sor->DataPts, Sor->BackupDataPts);
}

void TSorFilter::EraseFilterStory()
{
    if (Sor == nullptr)
        return;
    Sor->AUXParams->SetFlagFilter(0);
    // The filtered points become the document's own: no raw copy stays
    // behind to be restored or saved.
    delete Sor->BackupDataPts;
    Sor->BackupDataPts = nullptr;
}

double TSorFilter::CalcFPin(double x) const
{
    if (Sor == nullptr || Sor->FxdParams->DS.empty() || Sor->FxdParams->DS[0] == 0)
        return 1.0;
    const double ns = Sor->GetRealNsPulse(0);
    return std::pow(ns / 0.2 / (Sor->FxdParams->DS[0] / 10000.0) + 10.5, x);
}

void TSorFilter::SetLvlK(double x)
{
    SetK(static_cast<int>(std::min(CalcFPin(x) + 0.75, 30000.0)));
}

double TSorFilter::GetFLevel() const
{
    if (Sor == nullptr || Sor->AUXParams->TMC == 0 || !Sor->AUXParams->isFilter())
        return 0.0;
    const double base = std::log(CalcFPin(1.0));
    return base > 0.0 ? std::log(static_cast<double>(Sor->AUXParams->TMC)) / base : 0.0;
}

int TSorFilter::IncLevelF(int step)
{
    static constexpr double strengths[3] = {0.0, 0.5, 0.8};
    const double s = GetFLevel();
    int cls = s < (strengths[0] + strengths[1]) / 2 ? 0 : (s < (strengths[1] + strengths[2]) / 2 ? 1 : 2);
    if (step == 0 || Sor == nullptr)
        return cls;
    cls = (cls + 1) % 3;
    const double strength = strengths[cls];
    Sor->AUXParams->SetFilterLevel(strength, 0);
    if (strength > 0.0)
        SetLvlK(strength);
    else
        SetK(0);
    SetSorMC();
    SetFilter(strength > 0.0 ? 1 : 0);
    return cls;
}

void TSorFilter::Filter(TSorData* sor)
{
    if (sor == nullptr || sor != Sor)
        return;
    if (Sor->AUXParams->TMC > 0)
        GetSorMC();
    const long n = points();
    if (K <= 1 || n <= 1)
        return;
    TSorBlockAUXParameters* aux = sor->AUXParams;
    std::vector<double> ring(static_cast<std::size_t>(K));
    const int passes = static_cast<int>(aux->GetFilterLevel());
    for (int pass = 0; pass < passes; ++pass) {
        std::fill(ring.begin(), ring.end(), aux->Log5ToLin(sor->NumToLevel(0), 0));
        for (long p = 1; p < n; ++p) {
            ring[static_cast<std::size_t>(p % K)] = aux->Log5ToLin(sor->NumToLevel(p), 0);
            double sum = 0.0;
            for (long j = 0; j < K; ++j)
                sum += Weights[j] * ring[static_cast<std::size_t>(((p - j) % K + K) % K)];
            sor->DataPts->SetLevel(p, aux->LinToLog5(sum));
        }
    }
    SetSorMC();
}
