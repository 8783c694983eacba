// The auto filter: one walk over the linear trace that smooths it with a
// running mean whose length follows the signal-to-noise ratio, and lists the
// places where the mean cannot follow (reflections and large steps).
#include <algorithm>
#include <cmath>

#include "auto/auto-filter-p.h"
#include "auto/sor-filter.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"

void TSorFilter::SetLinfAvg(long n, long w)
{
    delete[] LinfAvg;
    LinfAvg = nullptr;
    avgCount = 0;
    if (Linf == nullptr || n <= 0 || w <= 0)
        return;
    LinfAvg = new float[static_cast<std::size_t>(n)];
    avgCount = n;
    // LinfAvg[i] is the mean of the w samples from i (fewer at the end).
    double sum = 0.0;
    for (long i = n - 1; i >= 0; --i) {
        sum += Linf[i];
        if (i + w < n)
            sum -= Linf[i + w];
        LinfAvg[i] = static_cast<float>(sum / static_cast<double>(std::min(w, n - i)));
    }
}

namespace {

using autofilter::Walk;

// The smallest point of the launch to start the walk from.
long startPoint(Walk& w, const float* linf)
{
    const long span = std::max(2L, (w.rise + w.pw) / 2);
    long at = 0;
    float v = linf[0];
    for (long i = 1; i < span && i < w.n; ++i)
        if (linf[i] < v) {
            v = linf[i];
            at = i;
        }
    if (at + 1 < w.n && (v < w.nfLin || linf[at + 1] < v))
        ++at;
    while (at > 0 && linf[at - 1] > 2.0f * w.nfLin && linf[at - 1] > linf[at] / 4.0f && linf[at - 1] < linf[at])
        --at;
    return at;
}

// The point of the instrument's own front offset (the AUX block's); 0 when
// there is none, or when the data start so far in front of time zero (more
// than a ninth of the offset) that the point does not stand for it.
long frontPoint(const TSorData* sor, float spacing)
{
    const double owt = sor->AUXParams->LFPO;
    if (owt <= 0.0)
        return 0;
    const auto point = static_cast<long>(sor->FxdParams->OwtTofNum(owt));
    return point > 0 && owt > 0.9 * spacing * static_cast<double>(point) ? point : 0;
}

// Where the walk begins. Behind an offset of the instrument (the trace starts
// before its front panel) the launch is looked for at the front panel; the
// walk then starts either behind a plain launch or inside the rise of the
// launch's reflection. Otherwise it starts from the foot of the launch.
void chooseStart(TSorFilter& f, TSorData* sor, Walk& w, const float* linf)
{
    w.front = frontPoint(sor, f.Spacing);
    w.startRising = false;
    w.startLaunch = false;
    if (w.front > 0 && w.front < w.last - w.pw2) {
        long peak = w.front;
        long width = 0;
        long flat = 0;
        const float threshold = 2.0f * (w.nfLin + w.polarBegin / 2.2f * linf[w.front - 1]);
        if (f.RflAnalisys(nullptr, peak, w.last, w.rise, w.pw2, threshold, width, flat) < 1) {
            // No reflection of its own: a plain launch at the point found.
            w.start = std::min(peak, w.last - 1);
            w.startLaunch = true;
        } else {
            w.start = w.front;
            w.startRising = true;
        }
        return;
    }
    // The data begin well in front of the instrument's panel: the fiber
    // starts at the point of time zero, inside the launch's rise.
    const TSorBlockFixedParameters& fxd = *sor->FxdParams;
    if (fxd.GetOwtDataOffset() < 0.0) {
        const auto panel = static_cast<long>(fxd.OwtTofNum(0.0));
        if (static_cast<float>(panel) > 300.0f / f.Spacing + static_cast<float>(w.pw) / 10.0f + 1.0f &&
            panel < w.last - w.pw2) {
            w.start = panel;
            w.startRising = true;
            return;
        }
    }
    w.start = startPoint(w, linf);
}

}  // namespace

long TSorFilter::AutoFilter(TSorData* sor, TFEvent* events, short* widths)
{
    if (sor == nullptr)
        sor = Sor;
    if (sor == nullptr || sor->DataPts == nullptr || sor->DataPts->SubBlocks.count == 0)
        return -1;
    if (sor != Sor)
        SetSorData(sor);
    const long n = points();
    Linf = RefEmbGetLinf(sor);
    if (n <= 0 || Spacing < 1e-6f || Linf == nullptr || n < 8)
        return -1;
    if (events == nullptr)
        events = ownEvents.data();
    if (widths == nullptr) {
        ownWidths.assign(static_cast<std::size_t>(n), 1);
        widths = ownWidths.data();
    }
    Result.events = events;
    Result.widths = widths;

    TSorBlockAUXParameters* aux = sor->AUXParams;
    Walk w;
    w.n = n;
    float nfLog = static_cast<float>(sor->FxdParams->GetNF());
    if (std::fabs(nfLog - aux->GetNoisePeak()) > 0.1)
        nfLog = static_cast<float>(RefAutoReSetNF(sor));
    w.nfLog = nfLog;
    const double kmPt = sor->FxdParams->LenDS();
    w.dbPt = static_cast<float>(RefAutoGetLoss(sor) * kmPt);
    DbPt = w.dbPt;
    const float spacing = Spacing;
    const double ns = sor->GetRealNsPulse(0);
    const double kmOwt = spacing > 0 ? kmPt / spacing : 0.0;
    w.ghostSpan = kmOwt > 0 ? static_cast<long>(0.018 / kmOwt / spacing) : 0;
    const float fall = DbOnOwt > 0.0f ? 1.5f / DbOnOwt : DbOnOwt;
    w.win1 = static_cast<long>((fall + 16.0f) / spacing) / 2 + 1;
    w.win2 = static_cast<long>((2.0f * fall + 16.0f) / spacing + 0.5f) / 3 + 1;
    w.win3 = static_cast<long>((3.0f * fall + 500.0f) / spacing + 0.5f) + 8;
    w.pw = PwFall;
    w.pw2 = w.pw + 2;
    w.nfLin = aux->Log5ToLin(nfLog, 0);
    nfLin = w.nfLin;
    if (!(w.nfLin >= 0.1f))
        return -1;
    w.rise = static_cast<long>(2.5f / (DbOnOwt + 0.01f) / spacing + 1.0f);
    w.rise = std::clamp(w.rise, 1L, n / 4 + 1);
    w.satLin = w.nfLin * 5000.0f;
    w.last = w.rise > 3 ? n - w.rise : n - 3;
    w.last = std::max(w.last, 1L);

    SetLinfAvg(n, 16);
    std::fill(widths, widths + n, static_cast<short>(1));

    // Polarisation noise near the start.
    const long a = std::min(w.pw2 + w.win3, n - 1);
    long b = n / (w.win1 + w.pw2 / 2) < 401 ? n / 3 : n / 4;
    const long step = std::max(w.win1, 10L);
    long blocks = b > a ? (b - a) / step / (w.win1 + w.pw2 / 2) + 1 : 1;
    if (blocks > 20) {
        blocks = 20;
        b = std::max(a + step * 20, n / 10);
    }
    b = std::clamp(b, 0L, n - 1);
    long quiet = 0;
    w.polarBegin = b > a ? RefAutoCalcPolar(sor, a, b, blocks, w.dbPt, quiet) : 0.0f;
    if (!(w.polarBegin >= 0.001f) && sor->GenParams->NW != 651)
        w.polarBegin = static_cast<float>(4.0 / (ns + 100.0));
    Result.polarBegin = w.polarBegin;
    w.refLin = Linf[b];
    if (w.nfLin >= w.refLin)
        w.refLin = Linf[a] / 3.0f;

    chooseStart(*this, sor, w, Linf);
    const long count = autofilter::RunWalk(*this, sor, w, events, widths);
    Result.G = w.g;
    Result.count = count;
    Result.begin = count > 0 ? events[0].Beg : 0;
    AutoFilterCalcNoise();
    if (count > 1) {
        long at = 0;
        const long from = events[0].End;
        const long to = events[count - 1].Beg;
        Result.polarEnd = to > from + 16 ? RefAutoCalcPolar(sor, from, to, 20, w.dbPt, at) : Result.polarBegin;
    }
    return count;
}
