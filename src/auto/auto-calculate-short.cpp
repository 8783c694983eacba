// TAuto::ShortAnalysis: the normal path, from the auto filter's events to the line sections.
#include <algorithm>
#include <cmath>
#include <vector>

#include "auto/auto.h"
#include "auto/event-line.h"
#include "auto/sor-filter.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"
#include "util/safe-array.h"

namespace {

constexpr unsigned int kMaxEvents = 100;
constexpr unsigned int kMaxRows = 200;

// The later of the two points where the trace has settled behind an event.
long settledEnd(const TFEvent& e)
{
    return std::max(e.End, e.Aux);
}

// Events closer than `minGap` points leave no room for a line between them:
// they are one event (the front of a peak and the end of its fall, or the
// pieces of a disturbed launch). The launch stays the launch, and an end
// reached in the noise makes the joined event the end.
template <class Rows>
unsigned int mergeCloseRows(Rows& rows, unsigned int count, long minGap)
{
    if (count == 0)
        return 0;
    unsigned int kept = 1;
    for (unsigned int r = 1; r < count; ++r) {
        TFEvent& last = rows[kept - 1];
        const TFEvent& row = rows[r];
        if (row.Beg - settledEnd(last) < minGap) {
            last.End = std::max(last.End, row.End);
            last.Aux = std::max(last.Aux, row.Aux);
            if (kept > 1 && (row.Type == 'E' || row.Type == '0'))
                last.Type = 'E';
            else if (kept > 1 && row.Type != 'S' && last.Type == 'S')
                last.Type = row.Type;
            continue;
        }
        rows[kept++] = row;
    }
    return kept;
}

} // namespace

// Runs one splice search over every stretch between neighbouring events and
// inserts its finds in order. `limitedByNoise` restricts the stretches to
// those that still stand out of the noise. Returns the last point found.
template <class Search>
static long searchStretches(std::vector<TFEvent>& ev, long wnd, const short* widths, long points, double nf,
                            TSorData* sor, bool limitedByNoise, Search search)
{
    long last = 0;
    for (std::size_t i = 0; i + 1 < ev.size() && ev.size() < kMaxEvents; ++i) {
        long b = settledEnd(ev[i]);
        const long e = ev[i + 1].Beg;
        if (limitedByNoise) {
            const long w = widths != nullptr && ev[i].Beg >= 0 && ev[i].Beg < points ? widths[ev[i].Beg] : 0;
            if (e - b <= 3 * (wnd + w))
                continue;
        }
        float value = 0.0f;
        for (int finds = 0; finds < 99 && ev.size() < kMaxEvents && b < e; ++finds) {
            if (limitedByNoise && sor->NumToLevel(b) < nf + 3.0 && sor->NumToLevel(e) < nf + 3.0)
                break;
            TFEvent found{};
            const long p = search(b, e, ev[i], value, found);
            if (p <= b || p >= e)
                break;
            found.End = std::min(std::max(found.End, p), e - 1);
            ev.insert(ev.begin() + static_cast<std::ptrdiff_t>(i) + 1, found);
            ++i;
            ++Event[1];
            last = p;
            b = std::max(settledEnd(found), p + 1);
        }
    }
    return last;
}

long TAuto::ShortAnalysis()
{
    TSorData* sor = Sor;
    const double ns = sor->FxdParams->PWU[0];
    if (ns > 31100.0 || th.LongPath > 0)
        return 0;

    // One window length a point for the filter, over every point the data
    // block holds (a file may hold more than its pulse segments count).
    const long dataPoints = sor->DataPts->IsEmpty() ? Points : std::max(Points, sor->DataPts->GetPointsNum());
    std::vector<short> widths(static_cast<std::size_t>(std::max(dataPoints, 1L)), 0);
    TSorFilter filter(sor);
    safe_array<TFEvent, kMaxEvents> filterEvents{};
    filter.Result.events = filterEvents.data();
    filter.Result.widths = widths.data();
    filter.SetFilter(7);
    const AutoFilterResultData& res = filter.Result;
    Polar = res.polarBegin;
    LFirst = KmOf(res.begin);
    const bool strongG = res.G != 0;
    TPlus = strongG ? 0.1f : 0.02f;
    TMinus = strongG ? -0.1f : -0.02f;
    if (res.count <= 1)
        return 0;
    const long filterCount = std::min<long>(res.count, kMaxEvents);
    Event[0] += filterCount;

    std::vector<TFEvent> ev(filterEvents.begin(), filterEvents.begin() + filterCount);
    for (TFEvent& e : ev) {
        e.Beg = std::clamp(e.Beg, 0L, Points - 1);
        e.End = std::clamp(e.End, e.Beg, Points - 1);
        e.Aux = std::clamp(e.Aux, 0L, Points - 1);
        e.PeakEnd = std::clamp(e.PeakEnd, e.Beg, Points - 1);
        e.Peak1 = std::clamp(e.Peak1, e.Beg, Points - 1);
    }

    const long wnd = static_cast<long>(2000.0 / Spacing * 0.25 + 2.0);
    PEnd = 0.0;
    ReflStats[0][0] = ReflStats[0][1] = ReflStats[1][0] = ReflStats[1][1] = 0;
    ReflGrades = 0.0f;
    AutoFilterResultData* resPtr = &filter.Result;

    if ((Flags & FlagBigSplices) != 0)
        searchStretches(ev, wnd, widths.data(), Points, NF, sor, false,
                        [&](long b, long e, TFEvent& prev, float& value, TFEvent& found) {
                            return SearchBigSplices(b, e, wnd, prev, value, found, resPtr);
                        });

    // The fiber's mean slope from the clean stretches.
    float slope = DbPerPoint;
    {
        double drop = 0.0;
        double count = 0.0;
        for (std::size_t i = 0; i + 1 < ev.size(); ++i) {
            const long b = settledEnd(ev[i]);
            const long e = ev[i + 1].Beg;
            const long points = e - b;
            const auto n = static_cast<double>(points);
            if (points <= 2 * Pw3 || DbPerPoint <= 0.0f)
                continue;
            double s1 = (LevelAt(b) - LevelAt(e)) / n;
            // The second quotient keeps n although its span is two thirds of n.
            const double s2 = (LevelAt((e + 2 * b) / 3) - LevelAt(e)) / n;
            if (std::fabs(DbPerPoint - s2) < std::fabs(DbPerPoint - s1)) {
                if (std::fabs((DbPerPoint - s2) / DbPerPoint - (DbPerPoint - s1) / DbPerPoint) > 0.2)
                    continue;
                s1 = s2;
            }
            if (LevelAt(e) > NF && 0.8 * DbPerPoint < s1 && s1 < 2.0 * DbPerPoint) {
                drop += s1 * n;
                count += n;
            }
        }
        if (drop > 1.0)
            slope = static_cast<float>(drop / count);
    }

    const long reflCount = ReflStats[0][1];
    const auto reflections = static_cast<double>(reflCount);
    AvgWidth = reflCount > 0 ? static_cast<double>(ReflStats[1][1]) / reflections : static_cast<double>(Pw3);
    if (reflCount > 3)
        Polar = std::max(Polar, static_cast<double>(ReflGrades) / reflections);
    if (Polar > 0.02) {
        const double w = static_cast<double>(wnd + Pw3);
        if (AvgWidth > w || Polar > 0.5 || reflections >= 2.0 * w || (reflections >= 1.2 * w && Polar > 0.15))
            Flags &= FlagNoisyMask;
    }
    if (strongG)
        Flags &= FlagNoisyMask;

    long noiseLimit = Points;
    if ((Flags & FlagNoiseSplices) != 0) {
        const long last = searchStretches(ev, wnd, widths.data(), Points, NF, sor, true,
                                          [&](long b, long e, TFEvent& prev, float& value, TFEvent& found) {
                                              return SearchNoiseSplices(b, e, wnd, prev, value, found, resPtr);
                                          });
        if (last != 0)
            noiseLimit = last;
    }

    const long tail = static_cast<long>((PulseOwt + 100.0) / Spacing + 2.0);
    if ((Flags & FlagWeakSplices) != 0 && (Flags & FlagBigSplices) != 0)
        searchStretches(ev, wnd, widths.data(), Points, NF, sor, false,
                        [&](long b, long e, TFEvent& prev, float& value, TFEvent& found) {
                            return SearchWeakSplices(b, e, wnd, prev, value, found, resPtr);
                        });

    // Rows: the events and the splices found on the stretches between them.
    safe_array<TFEvent, kMaxRows> rows{};
    unsigned int rowCount = 0;
    rows[rowCount++] = ev[0];
    const double nominalNm = sor->FxdParams->AW / 10.0;
    for (std::size_t k = 1; k < ev.size() && rowCount < kMaxRows; ++k) {
        const TFEvent& prev = ev[k - 1];
        long b = settledEnd(prev);
        const long e = ev[k].Beg;
        if (b >= e)
            b = std::min(prev.PeakEnd, e - 1);
        if (static_cast<double>(e - b) * Spacing > 20000.0 && LevelAt(e) > NF && b < e) {
            float measured = 0.0f;
            float offset = 0.0f;
            RefMathLSLf(sor, b, e, measured, offset);
            const float low = std::lround(nominalNm) == 651 ? 0.3f : 0.9f;
            if (measured > low * slope && measured < 1.1f * slope)
                slope = measured;
        }
        if (b >= 0 && b < e && filter.DipFilter(sor, b, e, slope) != 0) {
            filter.SwitchDataPointsBlocks();
            filter.DipFilter(sor, b, e, slope);
            filter.SwitchDataPointsBlocks();
        }
        if ((Flags & FlagSpliceEvent) != 0 && ev[k].Type != 'G') {
            while (e - b > tail && rowCount + 1 < kMaxRows && b < noiseLimit) {
                float sliceSlope = slope;
                float result = 0.0f;
                long pin = 0;
                long findEnd = 0;
                const long at = RefAutoSearchSpliceEvent(sor, b, e, 2000.0f, TPlus, TMinus, sliceSlope, result,
                                                         widths.data(), pin, findEnd);
                if (at <= 0 || at >= Points || LevelAt(at) < NF + 3.5 || b + 3 >= at)
                    break;
                const long stored = widths[static_cast<std::size_t>(at)];
                const long end = at + std::max(stored, Pw1);
                if (end + wnd >= e)
                    break;
                TFEvent row{};
                row.Beg = at;
                row.Peak1 = row.PeakEnd = at;
                row.End = row.Aux = end;
                row.Type = 'S';
                rows[rowCount++] = row;
                ++Event[2];
                b = end + wnd / 2;
            }
        }
        if (rowCount < kMaxRows)
            rows[rowCount++] = ev[k];
    }
    rowCount = mergeCloseRows(rows, rowCount, Pw1);

    // Lines from the rows: on the raw points while the trace stands over the
    // noise, on the filtered ones from there on; the run ends on the filtered.
    filter.SwitchDataPointsBlocks();
    bool onRaw = true;
    for (unsigned int r = 1; r < rowCount; ++r) {
        const TFEvent& before = rows[r - 1];
        const TFEvent& row = rows[r];
        long b = settledEnd(before);
        const long e = row.Beg;
        if (b >= e)
            b = std::max(0L, std::min(before.PeakEnd, e - 1));
        if (onRaw && LevelAt((9 * b + e) / 10) < NF) {
            filter.SwitchDataPointsBlocks();
            onRaw = false;
        }
        // The window of an event spans at least the pulse and its fall.
        const long win = std::max<long>(Pw1, widths[static_cast<std::size_t>(std::clamp(e, 0L, Points - 1))]);
        TEventLine* prevLine = Lines->count > 0 ? (*Lines)[Lines->count - 1] : nullptr;
        const char type = row.Type == '0' ? 'E' : row.Type;
        TEventLine* line = CreateEventLin2(prevLine, b, e, win, slope, tail, type);
        if (line == nullptr)
            continue;
        if (row.Type == 'S')
            line->Type = '_';
        AddEventLin(line, prevLine);
        DeleteShortSplices(Lines->count - 1, static_cast<float>(wnd) * KmPerPoint, TPlus, TMinus,
                           row.Type == 'S' ? 0 : 1);
        if (Lines->count > 0) {
            TEventLine* added = (*Lines)[Lines->count - 1];
            if (added->Type != 'S')
                PEnd = added->P2;
        }
    }
    if (onRaw)
        filter.SwitchDataPointsBlocks();
    if (Lines->count == 0)
        return 0;

    // The loss of the last event against the level that the trace settles to behind it.
    TEventLine* lastLine = (*Lines)[Lines->count - 1];
    const TFEvent& lastEvent = rows[rowCount - 1];
    double tailLevel = NF;
    if (LevelAt(lastEvent.PeakEnd) >= -0.1) {
        tailLevel = NF - 2.4;
    } else {
        const long g = std::max(lastEvent.GradeUp, lastEvent.GradeDown);
        const long start = lastEvent.Beg + ((g + 5) / 5) * wnd + tail;
        if (start >= 0 && start < Points && Linf != nullptr) {
            const float power = RefMathPower(sor, Linf, start, start + (Points - start) / 10, 1);
            if (NF > power)
                tailLevel = std::max(static_cast<double>(power), sor->MinLevel);
        }
    }
    SpliceEnd = lastLine->P2 - tailLevel;
    lastLine->Splice = SpliceEnd;
    Lend = lastLine->Le;

    const TFEvent& first = ev[0];
    float peak = 0.0f;
    const long at = RefAutoGetMax(sor, first.Beg, std::max(first.Beg, std::max(first.Peak1, first.PeakEnd)), peak, 0);
    Refl1 = peak;
    Refl1Owt = sor->FxdParams->NumToOwt(at);

    if (th.UseGiven != 0) {
        SelectSplices(0.0);
    } else {
        const TTH saved = th;
        th.THEnd = 25.0;
        th.THRef = -100.0;
        th.THLoss = th.Event = TPlus * 0.25;
        SelectSplices(TPlus * 0.25);
        th = saved;
    }
    return filterCount;
}
