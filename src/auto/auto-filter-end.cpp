// The close of an auto-filter run: the end of the fiber, the closing
// events, and the removal of ghosts.
#include <algorithm>
#include <cmath>

#include "auto/auto-filter-p.h"
#include "auto/sor-filter.h"
#include "sor/sor-data.h"

namespace autofilter {

namespace {

void eraseEvent(TFEvent* events, long& count, long at)
{
    for (long k = at; k + 1 < count; ++k)
        events[k] = events[k + 1];
    --count;
}

}  // namespace

void FinishEvents(TSorFilter& f, TSorData* sor, const Walk& w, TFEvent* events, long& count)
{
    if (count <= 0)
        return;
    const long n = w.n;
    const long end = f.SearchEnd(sor, events[0].End, n - 1, w.pw2, f.Result.widths, w.polarBegin);
    if (end > 0) {
        // Whatever the walk opened beyond the end is noise.
        while (count > 1 && events[count - 1].Beg > end)
            --count;
        TFEvent& before = events[count - 1];
        if (count > 1 && before.End + 2 * w.pw2 >= end) {
            // The event that ends the fiber was found by the walk already.
            if (before.GradeUp <= 0)
                before.Type = 'E';
        } else if (count < AutoFilterMaxEvents) {
            TFEvent e{};
            e.Beg = end;
            e.Peak1 = end;
            e.PeakEnd = end;
            e.End = std::min(end + static_cast<long>(f.Result.widths[end]) + w.pw2, n - 1);
            e.Aux = e.End;
            e.GradeDown = f.FallAnalisys(end, n - 1, w.pw, w.pw2, w.nfLin);
            e.Type = 'E';
            events[count++] = e;
        }
    } else if (count < AutoFilterMaxEvents && events[count - 1].End < w.last) {
        // The fiber runs on past the data: a closing event at the end.
        TFEvent e{};
        e.Beg = w.last;
        e.Peak1 = w.last;
        e.PeakEnd = w.last;
        e.End = n - 1;
        e.Aux = n - 1;
        e.Type = '0';
        events[count++] = e;
    }
    f.AutoFilterEventRemove(sor, &count, events, 0);
    f.BeardFilter(sor, events, count);
    if (count == 1) {
        events[1] = events[0];
        events[1].Type = '0';
        count = 2;
    }
}

}  // namespace autofilter

void TSorFilter::AutoFilterEventRemove(TSorData* sor, long* count, TFEvent* events, int /*second*/)
{
    if (sor == nullptr || count == nullptr || events == nullptr || *count < 2)
        return;
    long& c = *count;
    // Two events at the end closer than the receiver can separate: the
    // weaker behind the higher one is its tail.
    if (c >= 3) {
        const TFEvent& a = events[c - 2];
        const TFEvent& b = events[c - 1];
        const long minGrade = std::min(a.GradeUp, b.GradeUp);
        const long near = static_cast<long>(static_cast<float>(PwFall) + 2.0f) + 2 * std::max(0L, minGrade);
        if (b.Beg - a.Beg < near && a.GradeUp > b.GradeUp && b.Type != 'E')
            --c;
    }
    // A multiple echo between two reflections a and b shows at a + b or at
    // 2b - a from the launch: a last event there, weaker than both and as
    // weak as an echo of b, is no event of the fiber.
    if (c >= 4) {
        const TFEvent& tail = events[c - 1];
        const long at = tail.PeakEnd - events[0].Beg;
        const long pairTol = 3 * std::max(PwFall, 1L);
        bool echo = false;
        for (long a = 1; a + 2 < c && !echo; ++a)
            for (long b = a + 1; b + 2 < c && !echo; ++b) {
                const long pa = events[a].PeakEnd - events[0].Beg;
                const long pb = events[b].PeakEnd - events[0].Beg;
                const bool fits = std::labs(at - (pa + pb)) <= pairTol || std::labs(at - (2 * pb - pa)) <= pairTol;
                echo = fits && tail.Type != 'E' && tail.GradeUp > 0 && tail.GradeUp < events[a].GradeUp &&
                       tail.GradeUp < events[b].GradeUp && isGost(sor, events[b], tail);
            }
        // Unless the trace falls into the noise behind it: then it ends the fiber.
        const long behind = std::min(tail.End + PwFall + 2, points() - 1);
        if (echo && !(LinfAvg != nullptr && behind >= 0 && LinfAvg[behind] < 2.0f * nfLin))
            --c;
    }
    // Echoes of a strong reflection at multiples of its distance from the
    // launch: marked as ghosts, or dropped at the end of the list.
    const long launch = events[0].Beg;
    const long tol = 3 * std::max(PwFall, 1L) + 1;
    // A weak event (grade up to 7) behind a twin of at least double its
    // grade is tested the same way, whatever the twin's distance.
    for (long src = 1; src < c; ++src) {
        const long d = events[src].PeakEnd - launch;
        if (d <= 0)
            continue;
        const bool strong = events[src].GradeUp >= 9 && static_cast<double>(d) * Spacing >= 1000.0;
        for (long k = src + 1; k < c; ++k) {
            const bool twin = events[k].GradeUp <= 7 && events[src].GradeUp >= 2 * events[k].GradeUp;
            if (!strong && !twin)
                continue;
            const long pos = events[k].PeakEnd - launch;
            const long multiple = (pos + d / 2) / d;
            if (multiple < 2 || std::labs(pos - multiple * d) > tol || events[k].GradeUp <= 0 ||
                !isGost(sor, events[src], events[k]))
                continue;
            // The trace falling into the noise behind it makes the last
            // event the end of the fiber, whatever its distance.
            const long behind = std::min(events[k].End + PwFall + 2, points() - 1);
            const bool endOfFiber = k == c - 1 && (events[k].Type == 'E' || LinfAvg == nullptr ||
                                                   LinfAvg[behind] < 2.0f * nfLin);
            if (endOfFiber)
                continue;
            if (k == c - 1)
                --c;
            else
                events[k].Type = 'g';
        }
    }
    for (long k = c - 1; k > 0; --k)
        if (events[k].Beg < events[k - 1].Beg)
            autofilter::eraseEvent(events, c, k);
}
