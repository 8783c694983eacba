// The merge of the event tables of two traces taken from both ends of one
// fibre. Positions of the other direction are mirrored about the fibre's end:
// an event at t in one trace stands at E - t in the other.
#include <cmath>

#include "ref/ref-event-p.h"
#include "ref/ref-event.h"

using namespace detail::refevent;

namespace {

// Two values differ by more than 1 % of the first.
bool differ(double a, double b)
{
    return std::fabs(a - b) > 0.01 * std::fabs(a);
}

// How far the position of event i can be trusted, in OWT units, with the
// margin of two points that the pairing allows on top.
double pairingTolerance(TSorData* sd, int i, double step)
{
    return step * (RefEventTrusting(sd, i) + 2.0);
}

// The positional weight of event i (OWT units; smaller is better).
double weight(TSorData* sd, int i, double step)
{
    const double w = step * RefEventTrusting(sd, i);
    return w > 0.0 ? w : step;
}

} // namespace

int RefEventBiDir(TSorData* a, TSorData* b)
{
    if (a == b)
        return 0;
    if (differ(a->GetRealNsPulse(0.0), b->GetRealNsPulse(0.0)))
        return 1;
    const double sa = stepAtPin(a, 0);
    const double sb = stepAtPin(b, 0);
    if (differ(sa, sb) || !(sa > 0.0) || !(sb > 0.0))
        return 2;
    const int lastA = keyEventCount(a) - 1;
    const int lastB = keyEventCount(b) - 1;
    // Both ends are needed to mirror anything.
    if (lastA < 1 || lastB < 1)
        return 3;

    // The fibre's end: the mean of both ends weighted by how well each is
    // placed, on a whole number of points from a's end.
    const double ta = keyEvent(a, lastA)->EPT;
    const double tb = keyEvent(b, lastB)->EPT;
    const double wa = weight(a, lastA, sa);
    const double wb = weight(b, lastB, sb);
    const double k = wb / wa;
    if (std::fabs(ta - tb) > wa * (k + 1.0) + 5.0 * sa)
        return 3;
    const double c = std::trunc((k * ta + tb) / (k + 1.0));
    const double end = ta + std::trunc(sa * std::round((c - ta) / sa));
    keyEvent(a, lastA)->EPT = truncSaturated<std::int32_t>(end);
    keyEvent(b, lastB)->EPT = truncSaturated<std::int32_t>(end);
    const double endPrecision = 1.0 / wa + 1.0 / wb;
    const double lengthGap = std::fabs(ta - tb);

    // Walk a's inner events up and b's down, both in a's direction. The
    // earlier of an unpaired two has no partner: it is copied into the other
    // table, behind the event before it.
    int i = 1;
    int j = lastB - 1;
    while (i < keyEventCount(a) - 1 && j >= 1) {
        const double pa = keyEvent(a, i)->EPT;
        const double pb = end - keyEvent(b, j)->EPT;
        const double reach = lengthGap + pairingTolerance(a, i, sa) + pairingTolerance(b, j, sb);
        if (pb < pa - reach) {
            if (RefEventInsBiDir(a, b, i - 1, j) < 0)
                break;
            ++i;
            --j;
        } else if (pa < pb - reach) {
            if (RefEventInsBiDir(b, a, j, i) < 0)
                break;
            ++i;
        } else {
            // One event seen from both ends: where both are placed better
            // than the ends, it goes to their weighted mean.
            const double wai = weight(a, i, sa);
            const double wbj = weight(b, j, sb);
            if (1.0 / wai + 1.0 / wbj > endPrecision && std::fabs(pa - pb) > 1.5 * sa) {
                const double mean = (wbj * pa + wai * pb) / (wai + wbj);
                keyEvent(a, i)->EPT = truncSaturated<std::int32_t>(mean + 0.5);
                keyEvent(b, j)->EPT = truncSaturated<std::int32_t>(end - keyEvent(a, i)->EPT);
            }
            ++i;
            --j;
        }
    }
    // What one side has left over lies beyond everything the other side had.
    for (; j >= 1; --j, ++i)
        if (RefEventInsBiDir(a, b, i - 1, j) < 0)
            break;
    for (; i < keyEventCount(a) - 1; ++i)
        if (RefEventInsBiDir(b, a, 0, i) < 0)
            break;

    // The loss of an event is the mean of both directions: the backscatter
    // difference across it counts once with each sign.
    const int countA = keyEventCount(a);
    if (countA == keyEventCount(b))
        for (int n = 1; n < countA - 1; ++n) {
            TSorBlockKeyEvents1E* ea = keyEvent(a, n);
            const TSorBlockKeyEvents1E* eb = keyEvent(b, countA - 1 - n);
            storeLoss(*ea, (ea->FullLoss / 1000.0 + eb->FullLoss / 1000.0) * 0.5);
        }
    return 0;
}

int RefEventInsBiDir(TSorData* into, TSorData* from, int i, int j)
{
    const int count = keyEventCount(into);
    const TSorBlockKeyEvents1E* source = keyEvent(from, j);
    if (into == from || source == nullptr || i < 0 || i + 1 >= count || count >= kMaxEvents)
        return -1;
    TSorBlockKeyEvents1E* before = keyEvent(into, i);
    TSorBlockKeyEvents1E* after = keyEvent(into, i + 1);
    const double end = keyEvent(into, count - 1)->EPT;

    auto* event = new TSorBlockKeyEvents1E();
    event->Assign(*source);
    event->EPT = truncSaturated<std::int32_t>(end - source->EPT);
    event->ML0 = before->ML2;
    // The section before the event ends at the mirrored end of the source's
    // own, and never beyond the event itself.
    event->ML1 = truncSaturated<std::int32_t>(std::min(end - source->ML1, static_cast<double>(event->EPT)));
    // The tail of a reflection keeps its length: it follows the pulse, not the fibre.
    event->ML2 = truncSaturated<std::int32_t>(end - 2.0 * source->EPT + source->ML2);
    event->ML3 = after->ML1;
    event->ML4 = source->ML4 != 0 ? truncSaturated<std::int32_t>(end - source->ML4) : 0;
    event->EN = static_cast<std::int16_t>(count);
    if (event->ML1 < before->ML3) {
        before->ML3 = event->ML1;
        RefEventRecalculate(into, before, i);
    }
    if (after->ML0 < event->ML2) {
        after->ML0 = event->ML2;
        RefEventRecalculate(into, after, i + 1);
    }
    // Recalculated in the place of `before`: the event after it is the one
    // that limits the new event's peak.
    RefEventRecalculate(into, event, i);
    into->KeyEvents->Events.InsData(event, i + 1);
    syncCount(into);
    announceAdd(into, i + 1);
    return i + 1;
}
