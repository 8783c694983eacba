// TAuto: building a line section between two filter events.
#include <algorithm>
#include <cmath>

#include "auto/auto-lines-p.h"
#include "auto/auto.h"
#include "auto/event-line.h"
#include "ref/ref-auto.h"
#include "ref/ref-event.h"
#include "ref/ref-math.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"

using namespace autolines;

namespace {

long clampPoint(long i, long points)
{
    if (i < 0)
        return 0;
    return i > points - 1 ? points - 1 : i;
}

// The previous line's event measured against the start of `line`; a plain
// loss is typed by its sign.
void measurePrevious(TEventLine* prev, const TEventLine& line)
{
    if (prev == nullptr)
        return;
    prev->Splice = prev->P2 - (line.P1 + line.LossKm() * (line.L1 - prev->L2));
    if (prev->Type == 'N' || prev->Type == 'P')
        prev->Type = prev->Splice >= 0.001 ? 'P' : 'N';
    // A gain of over 0.5 dB is the next line starting on a reflection's
    // tail, except behind a line under 1 km, where it is a plain step. A
    // reflection or doubled reflection keeps its type.
    if (prev->Splice < -0.5 && prev->Type != 'V' && prev->Type != 'R')
        prev->Type = prev->L2 - prev->L1 < 1.0 ? 'N' : 'R';
}

} // namespace

TEventLine* TAuto::CreateEventLin2(TEventLine* prev, long beg, long end, long win, float slope, long tail, char type)
{
    (void)tail;
    const long points = PointCount(Sor);
    if (points <= 0)
        return nullptr;
    beg = clampPoint(beg, points);
    end = clampPoint(end, points);
    if (end < beg)
        end = beg;
    if (win < 0)
        win = 0;
    const double nf = Sor->FxdParams->GetNF();
    const long n0 = end - beg - 3;
    const double spacing = Spacing > 0.0 ? Spacing : SpacingOwt(Sor);

    // Step off the tail of the previous peak: its fall back to the backscatter
    // takes (peak - level) / DbOnOwt of time. The start moves by a fifth of
    // the stretch at most, or to the tail's end when that is nearer.
    if (prev != nullptr && n0 > 0 && DbOnOwt > 0.0 && spacing > 0.0) {
        const long peakAt = KmToPoint(Sor, prev->Peak);
        const double height = prev->Refl - Sor->NumToLevel(beg);
        if (height > 0.0) {
            // Held to the stretch, so that a degenerate fall rate cannot overflow.
            const double tailPoints = std::fmin(height / DbOnOwt / spacing, static_cast<double>(end - peakAt));
            const long tailEnd = tailPoints > 0.0 ? peakAt + static_cast<long>(std::ceil(tailPoints)) : peakAt;
            if (tailEnd > beg)
                beg += std::min(n0 / 5, tailEnd - beg);
        }
    }

    // A stretch wholly on the saturated top of the event before it holds no
    // backscatter: there is no line, and the caller goes on to the next row.
    float lowest = 0.0f;
    RefAutoGetMin(Sor, beg, end + 1, lowest);
    if (end > beg && lowest >= th.RefSat)
        return nullptr;

    // An event of a wide window may begin before its filter point: a stretch
    // too short to fit goes straight to the measurement with `end` as its end.
    const long shortest = win / 4 + 1;
    if (win > 20 && (type == 'E' || type == 'S') && end - beg < shortest)
        return CreateEventLin(prev, beg, end, end, win, slope, 0.0f, 0.0f);

    // Fit range. Where the stretch runs into the noise, the fit stops at the
    // noise edge: the mean of the first point below the noise from the start
    // and the last point above noise - 3 dB from the end, but not before the
    // first third of the stretch.
    const long n = end - beg;
    const long s = static_cast<long>(std::sqrt(static_cast<double>(n > 0 ? n : 0)));
    long fitEnd = end;
    if (n > 3 && Sor->NumToLevel(end - s) < nf && Sor->NumToLevel(beg) > nf) {
        long edge = RefAutoSearchStraightLess(Sor, beg, static_cast<float>(nf));
        const long back = RefAutoSearchBackGreather(Sor, end - s, static_cast<float>(nf - 3.0));
        if (back > beg && back < end && edge <= end)
            edge = (edge + back) / 2;
        else if (edge > end)
            edge = back > beg && back < end ? back : end;
        if (edge < beg + n / 3)
            edge = beg + n / 3;
        fitEnd = edge;
    }
    if (fitEnd <= beg)
        fitEnd = end;
    // A line wholly below the noise has no backscatter edge to stop at: of a
    // fit over its first half and one over all of it, the one whose slope
    // lies nearer the fibre's ends the line. Both fits are grown from their
    // last three points back to the start, and their pins are not used.
    if (n > 7 && slope > 0.0f && Sor->NumToLevel(beg) < nf && Sor->NumToLevel(end) < nf) {
        const long mid = beg + n / 2;
        float yPin = 0.0f;
        float yLast = 0.0f;
        float halfError = 0.0f;
        float wholeError = 0.0f;
        RefMathGetPinWithLsp(Sor, beg, mid - 2, mid, slope, yPin, yLast, halfError);
        RefMathGetPinWithLsp(Sor, beg, end - 2, end, slope, yPin, yLast, wholeError);
        fitEnd = std::fabs(halfError) < std::fabs(wholeError) ? mid : end;
    }
    // `end` is the first point of the next event, already off the backscatter
    // (the front of its peak or the start of its drop): the fit stops one
    // point before it, or a short line tilts towards the event and both its
    // neighbours' losses come out too large.
    if (fitEnd == end && end - beg > 4)
        fitEnd = end - 1;

    float a = 0.0f;
    float b = 0.0f;
    if (fitEnd > beg)
        RefMathLSL2f(Sor, beg, fitEnd, a, b);
    else
        a = b = static_cast<float>(Sor->NumToLevel(beg));
    TEventLine* line = CreateEventLin(prev, beg, fitEnd, end, win, slope, a, b);
    if (line == nullptr)
        return nullptr;

    // A stretch that falls faster than any fiber and ends in the noise is the
    // tail of the event before it running out behind the end of the fiber:
    // no backscatter to fit. The line is the noise, level at the mean of the
    // stretch's last quarter, so that the event before it shows its full loss.
    const double limit = MaxDbKm > 0.0 ? MaxDbKm : 20.0;
    if (n > 3 && line->LossKm() > limit && Sor->NumToLevel(end - s) < nf + 3.0) {
        const long quarter = std::max(n / 4, 1L);
        const double noise = RefMathPower(Sor, end - quarter + 1, quarter, 0);
        line->P1 = line->P2 = noise;
        line->dBKm = 0.0;
        measurePrevious(prev, *line);
        const double minHeight = RefEventMinReflection(Sor, noise, 0.0);
        line->Type = line->Refl - noise > minHeight || line->Refl >= th.RefSat ? 'R' : 'N';
    }
    return line;
}

TEventLine* TAuto::CreateEventLin(TEventLine* prev, long beg, long end, long next, long win, float slope, float a,
                                  float b)
{
    (void)slope;
    const long points = PointCount(Sor);
    if (points <= 0)
        return nullptr;
    beg = clampPoint(beg, points);
    end = clampPoint(end, points);
    next = clampPoint(next, points);
    if (end < beg)
        end = beg;
    if (next < end)
        next = end;
    if (win < 0)
        win = 0;

    auto* line = new TEventLine();
    line->L1 = PointKm(Sor, beg);
    line->L2 = PointKm(Sor, end);
    line->Le = PointKm(Sor, next);
    line->P1 = a;
    line->P2 = b;

    // The peak of the event behind the line: within one pulse and fall from
    // where it begins, five more of them when it stands high (a long tail of
    // a strong reflection hides the true top).
    const long reach = std::max(std::max(Pw1, win / 2 + 1), 2L);
    GetMaxRef(next, reach, line);
    if (line->Refl - Sor->NumToLevel(next) > 5.0)
        GetMaxRef(next, reach + 5 * std::max(Pw1, 1L), line);

    // A rise in front of the peak that is longer than half a window means the
    // event began on its foot: Le goes back to where the rise starts.
    const long peakAt = KmToPoint(Sor, line->Peak);
    long foot = peakAt;
    while (foot > next && Sor->NumToLevel(foot - 1) < Sor->NumToLevel(foot))
        --foot;
    if (peakAt - foot > win / 2 && foot > end)
        line->Le = PointKm(Sor, foot);

    // The sign of the step across the line: its first level against its last,
    // with 0.2 / sqrt(win + 1) dB as the noise of a level (the value of a
    // window of 100 for wider ones). 0 when the two lie within the noise.
    const double stepNoise = 0.2 / std::sqrt(static_cast<double>(std::min(win, 100L) + 1));
    const double step = end > beg ? Sor->NumToLevel(beg) - Sor->NumToLevel(end - 1) : 0.0;
    const int stepSign = step > stepNoise ? 1 : (step < -stepNoise ? -1 : 0);

    // The fit of record over the line's own points, when it has two of them
    // and falls. A fit that rises while the line's ends lie within the noise
    // of each other is noise: the line then stays flat at its mean. One whose
    // ends rise beyond the noise is a real rise (the foot of a reflection's
    // tail) and is fitted as it is.
    if (end - beg >= 1 && (a >= b || a + b >= 0.0f || stepSign < 0)) {
        LossfSquare(Sor, *line);
    } else {
        const double mean = 0.5 * (static_cast<double>(a) + static_cast<double>(b));
        line->P1 = line->P2 = mean;
        line->dBKm = 0.0;
    }

    // The previous line's event is measured now that this line's start is known.
    measurePrevious(prev, *line);
    // A line falling faster than the one before it by over 0.75 dB/km behind
    // a small step carries that step's loss itself: the step is a plain 'N'.
    // "Small" is taken as under 0.05 dB, the least loss reported as an event,
    // and only plain losses are retyped: a reflection outranks this rule.
    if (prev != nullptr && (prev->Type == 'P' || prev->Type == 'N') && std::fabs(prev->Splice) < 0.05 &&
        line->LossKm() > 0.75 + prev->LossKm())
        prev->Type = 'N';

    // Kind of the event behind this line by the height of its peak over the
    // line extrapolated to the peak; its loss is known only with the next line.
    const double base = line->P2 - line->LossKm() * (line->Peak - line->L2);
    const double height = line->Refl - base;
    const double minHeight = RefEventMinReflection(Sor, base, 0.0);
    // A saturated peak is a reflection whatever its height over the line.
    line->Type = height > minHeight || line->Refl >= th.RefSat ? 'R' : 'N';
    // A line no longer than one window ends on an event whose loss it cannot
    // measure accurately. With a peak of at most 0.2 dB over the line, on a
    // level above the noise, that event is short ('S'), or a doubled
    // reflection ('V') where even that height counts as a reflection. The
    // width of the event is taken as the line's own span in points.
    if (line->Refl < th.RefSat && end - beg <= win && height <= 0.2 && base > Sor->FxdParams->GetNF())
        line->Type = height > minHeight ? 'V' : 'S';
    return line;
}
