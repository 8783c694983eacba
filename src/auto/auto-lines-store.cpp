// TAuto: the line store. Fits of a line, its peak, the Splice between lines, and the
// cleaning of short splices as lines are appended.
#include <algorithm>
#include <cmath>
#include <vector>

#include "auto/auto-lines-p.h"
#include "auto/auto.h"
#include "auto/event-line.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"

namespace autolines {

double KmPerOwt(const TSorData* sd)
{
    if (sd == nullptr || sd->FxdParams == nullptr || sd->FxdParams->GI <= 0)
        return 0.0;
    return 299792.5 / (sd->FxdParams->GI * 1e-5) * 1e-10;
}

double PointKm(const TSorData* sd, long i)
{
    if (sd == nullptr || sd->FxdParams == nullptr)
        return 0.0;
    return sd->FxdParams->NumToOwt(i) * KmPerOwt(sd);
}

double KmToOwt(const TSorData* sd, double km)
{
    const double k = KmPerOwt(sd);
    return k > 0.0 ? km / k : 0.0;
}

long PointCount(const TSorData* sd)
{
    return sd != nullptr && sd->FxdParams != nullptr ? sd->FxdParams->GetTotalPinPW() : 0;
}

long KmToPoint(const TSorData* sd, double km)
{
    const long points = PointCount(sd);
    if (points <= 0)
        return 0;
    const double n = std::round(sd->FxdParams->OwtTofNum(KmToOwt(sd, km)));
    if (!(n >= 0.0))
        return 0;
    return n >= static_cast<double>(points - 1) ? points - 1 : static_cast<long>(n);
}

double SpacingOwt(const TSorData* sd)
{
    if (sd == nullptr || sd->FxdParams == nullptr || sd->FxdParams->DS.empty())
        return 0.0;
    return sd->FxdParams->DS[0] / 10000.0;
}

} // namespace autolines

using namespace autolines;

void TAuto::LossSquare(TSorData* sor, TEventLine& line, long n)
{
    if (sor == nullptr || sor->FxdParams == nullptr)
        return;
    const double length = line.L2 - line.L1;
    const double owt1 = KmToOwt(sor, line.L1);
    const double owt2 = KmToOwt(sor, line.L2);
    if (!(length >= 1e-6) || !(owt2 > owt1))
        return;
    const long first = static_cast<long>(std::ceil(sor->FxdParams->OwtTofNum(owt1)));
    const long last = static_cast<long>(std::floor(sor->FxdParams->OwtTofNum(owt2)));
    if (first < 0 || last - first < 1)
        return;  // under two points there is nothing to fit
    double y1 = 0.0;
    double y2 = 0.0;
    RefMathLSL2(sor, owt1, owt2, y1, y2);
    line.P1 = y1;
    line.P2 = y2;
    line.dBKm = (y1 - y2) / length;

    // Dev: the largest distance of the n-point running mean of the residuals
    // from the line, the departure that averaging over n points still shows.
    const long count = last - first + 1;
    const long window = n < 1 ? 1 : (n > count ? count : n);
    const double perOwt = (y2 - y1) / (owt2 - owt1);
    std::vector<double> residual(static_cast<std::size_t>(count));
    for (long i = 0; i < count; ++i) {
        const double owt = sor->FxdParams->NumToOwt(first + i);
        residual[static_cast<std::size_t>(i)] = sor->NumToLevel(first + i) - (y1 + (owt - owt1) * perOwt);
    }
    double sum = 0.0;
    double worst = 0.0;
    for (long i = 0; i < count; ++i) {
        sum += residual[static_cast<std::size_t>(i)];
        if (i >= window)
            sum -= residual[static_cast<std::size_t>(i - window)];
        if (i >= window - 1)
            worst = std::fmax(worst, std::fabs(sum / static_cast<double>(window)));
    }
    line.Dev = worst;
}

void TAuto::LossfSquare(TSorData* sor, TEventLine& line)
{
    const double length = line.L2 - line.L1;
    if (sor == nullptr || !(length >= 1e-6))
        return;
    const long first = KmToPoint(sor, line.L1);
    const long last = KmToPoint(sor, line.L2);
    if (last - first < 1)
        return;
    float yFirst = 0.0f;
    float yLast = 0.0f;
    RefMathLSL2f(sor, first, last, yFirst, yLast);
    line.P1 = yFirst;
    line.P2 = yLast;
    line.dBKm = (line.P1 - line.P2) / length;
}

void TAuto::GetMaxRef(long p, long n, TEventLine* line)
{
    if (line == nullptr || Sor == nullptr)
        return;
    const long points = PointCount(Sor);
    if (points <= 0)
        return;
    if (p < 0)
        p = 0;
    if (p > points - 1)
        p = points - 1;
    long last = p + (n < 1 ? 0 : n - 1);
    if (last > points - 1)
        last = points - 1;
    float peak = 0.0f;
    // The first of equal maxima: on a saturated top the peak is where it begins.
    const long at = RefAutoGetMax(Sor, p, last, peak, -1);
    line->Refl = peak;
    line->Peak = PointKm(Sor, at);
}

void TAuto::SetLinesSplice()
{
    if (Lines == nullptr)
        return;
    for (int i = 0; i + 1 < Lines->count; ++i) {
        if (Lines->data[i] == nullptr || Lines->data[i + 1] == nullptr)
            continue;
        TEventLine& a = *Lines->data[i];
        TEventLine& b = *Lines->data[i + 1];
        const double gap = b.L1 - a.L2;
        const double lengthB = b.L2 - b.L1;
        const double lengthA = a.L2 - a.L1;
        double slopeA = a.LossKm();
        // A line shorter than the gap in front of it is not trusted on its
        // own: its start level is drawn towards the one the line before predicts.
        if (gap > lengthB && std::fabs(slopeA - LossKm) < std::fabs(b.LossKm() - LossKm) && lengthB + lengthA > 0.0) {
            if (slopeA <= 0.0)
                slopeA = LossKm;
            b.P1 = (lengthA * (slopeA * lengthB + b.P2) + lengthB * b.P1) / (lengthB + lengthA);
        }
        a.Splice = a.P2 - (b.P1 + b.LossKm() * (b.L1 - a.L2));
    }
}

namespace {

// Joins line `index` with the one behind it: the later line takes the start
// of the earlier one, which is deleted. The later object survives, so that a
// caller holding it keeps a valid pointer.
void mergeIntoNext(TLuArray<TEventLine, TEventLine*>& lines, int index)
{
    TEventLine& early = *lines.data[index];
    TEventLine& late = *lines.data[index + 1];
    late.L1 = early.L1;
    late.P1 = early.P1;
    lines.DelData(index);
}

// Splice in units of the threshold of its sign (both thresholds taken as magnitudes).
double spliceInThresholds(double splice, float tPlus, float tMinus)
{
    const double unit = std::fabs(splice >= 0.0 ? tPlus : tMinus);
    return unit > 0.0 ? std::fabs(splice) / unit : 0.0;
}

} // namespace

// Answers 0 when nothing changed; 2 when two lines were joined (the newest
// line object survives as the last one and now starts where its predecessor
// did); 1 when the newest line was refused and deleted. After a non-zero
// answer a caller reads the last line from the list again.
int TAuto::DeleteShortSplices(int /*index*/, float span, float tPlus, float tMinus, int flag)
{
    if (Lines == nullptr || Lines->count < 2 || !(tPlus > 0.0f))
        return 0;
    const int count = Lines->count;
    for (int i = std::max(0, count - 3); i < count; ++i)
        if (Lines->data[i] == nullptr)
            return 0;
    TEventLine& last = *Lines->data[count - 1];
    TEventLine& middle = *Lines->data[count - 2];
    const double b = 3.0 * tPlus;
    // The gap in front of the newest line is the extent of the event between
    // it and its predecessor, counted in `span` (km of the event window the
    // caller uses) when given, and never as less than one window.
    const double gap = std::fmax((last.L1 - middle.L2) / (span > 0.0f ? static_cast<double>(span) : 1.0), 1.0);
    const double s = spliceInThresholds(middle.Splice, tPlus, tMinus);
    const long fitWindow = Pw0 > 0 ? Pw0 : 1;

    // An event must carry three thresholds of loss times the windows it spans
    // (b / tPlus, with s counted in thresholds); a smaller one is no event.
    if (s * gap < b / tPlus) {
        mergeIntoNext(*Lines, count - 2);
        LossSquare(Sor, *Lines->data[Lines->count - 1], fitWindow);
        SetLinesSplice();
        return 2;
    }

    if (count >= 3) {
        TEventLine& before = *Lines->data[count - 3];
        const double length = middle.L2 - middle.L1;
        if (s * length < 5.0 * tPlus && length < 10.0 * tPlus && length < 50.0 * tPlus) {
            // A short middle line with a small event behind it: join it with the
            // newest line when the joined slope keeps closer to the running mean
            // attenuation (the two neighbours, weighted by 25 tPlus km each) than
            // the middle line's own slope does.
            const double weight = 25.0 * tPlus;
            const double lenBefore = std::fmin(before.L2 - before.L1, weight);
            const double lenLast = std::fmin(last.L2 - last.L1, weight);
            if (lenBefore + lenLast > 0.0) {
                const double mean = (before.LossKm() * lenBefore + last.LossKm() * lenLast) / (lenBefore + lenLast);
                TEventLine joined;
                joined.Assign(last);
                joined.L1 = middle.L1;
                joined.P1 = middle.P1;
                LossSquare(Sor, joined, fitWindow);
                if (std::fabs(joined.LossKm() - mean) < std::fabs(middle.LossKm() - mean)) {
                    mergeIntoNext(*Lines, count - 2);
                    LossSquare(Sor, *Lines->data[Lines->count - 1], fitWindow);
                    SetLinesSplice();
                    return 2;
                }
            }
        }
    }

    // A last line too short to hold a fit that even rises is no fiber: refused.
    const double lastLength = last.L2 - last.L1;
    if (lastLength < 2.0 * tPlus && last.P1 < last.P2 && last.Type != 'S' && last.Type != 'R' && flag == 0) {
        Lines->DelData(count - 1);
        return 1;
    }
    return 0;
}
