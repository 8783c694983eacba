// The walk of the auto filter over the points: the running mean, the output
// levels, the opening and closing of events, and the restarts of the walk
// with a lower sensitivity where weak events crowd.
#include <algorithm>
#include <cmath>

#include "auto/auto-filter-p.h"
#include "auto/sor-filter.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-data.h"

namespace autofilter {

float FiberFactor(float dbPerPoint, long points)
{
    return std::pow(10.0f, -dbPerPoint * static_cast<float>(points) / 5.0f);
}

namespace {

void setThresholds(Walk& w, float x)
{
    float noiseAdd = x * w.polarBegin / 2.2f;
    if (w.g > 0 && w.polarBegin < 0.1f)
        noiseAdd = x * 0.045454545454545456f;
    if (x != 0.0f && x + w.refLin > 1.0f)
        noiseAdd -= w.nfLin * x / (x + w.refLin);
    // Below about 0.01 dB the steps are those of the stored levels, not of
    // the fiber.
    noiseAdd = std::max(noiseAdd, x * 0.0046f);
    const float u = noiseAdd + w.nfLin;
    const auto sens = static_cast<float>(w.sens);
    w.t1 = u * (sens + 0.5f);
    w.t3 = w.win1 >= w.win2 ? w.t1 * 3.0f : w.t1 * 4.0f;
    w.tf = -u * (sens + 0.7f);
    w.tf2 = 1.5f * w.tf;
    if (w.g > 0) {
        w.tf *= 3.0f;
        w.tf2 *= 3.0f;
    }
}

// Window length that the signal-to-noise ratio of `mean` calls for.
long targetWindow(const Walk& w, float mean)
{
    const float v = std::max(mean, 1.0f);
    const float l = 9.01f - std::log2(v / (w.nfLin + v * 0.15f * w.polarBegin / 2.2f));
    if (!(l <= 7.0f))  // NaN too: a noise figure that tells nothing asks for the widest window
        return 128;
    if (l < 0.0f)
        return 1;
    auto target = static_cast<long>(std::exp2(std::floor(l)));
    if (l - std::floor(l) > 0.5f)
        target = target * 3 / 2;
    return std::max(target, 1L);
}

// The running mean over the samples first..i of a stretch between events.
class RunningMean
{
public:
    RunningMean(const float* samples, long at) : linf(samples) { restart(at); }

    void restart(long at)
    {
        first = at;
        last = at;
        sum = linf[at];
    }
    [[nodiscard]] long size() const { return last - first + 1; }
    [[nodiscard]] float mean() const { return static_cast<float>(sum / static_cast<double>(size())); }
    // Takes in sample `to` and keeps about `target` samples: growing by one,
    // shrinking by two per point.
    void advance(long to, long target)
    {
        for (long p = last + 1; p <= to; ++p)
            sum += linf[p];
        last = to;
        long drop = size() > target ? 2 : (size() == target + 1 ? 1 : 0);
        while (drop-- > 0 && size() > 1)
            sum -= linf[first++];
    }
    // Cuts the window to its newest `keep` samples; a deep cut is summed anew.
    void shorten(long keep)
    {
        keep = std::max(keep, 1L);
        if (keep >= size())
            return;
        const long newFirst = last - keep + 1;
        if (keep < size() / 2) {
            sum = 0.0;
            for (long p = newFirst; p <= last; ++p)
                sum += linf[p];
        } else {
            for (long p = first; p < newFirst; ++p)
                sum -= linf[p];
        }
        first = newFirst;
    }

private:
    const float* linf;
    long first = 0;
    long last = 0;
    double sum = 0.0;
};

struct WalkState
{
    TSorFilter& f;
    TSorData* sor;
    Walk& w;
    TFEvent* events;
    short* widths;
    long count = 0;
};

// The sample ahead, kept inside the trace.
float ahead(const WalkState& s, long i, long d)
{
    return s.f.Linf[std::clamp(i + d, 0L, s.w.n - 1)];
}

bool addEvent(WalkState& s, const TFEvent& e)
{
    if (s.count >= AutoFilterMaxEvents)
        return false;
    s.events[s.count++] = e;
    return true;
}

// Measures a reflection that rises at i; fills e and answers whether it stands.
bool measureReflection(WalkState& s, long i, TFEvent& e)
{
    Walk& w = s.w;
    TFEvent* prev = s.count > 0 ? &s.events[s.count - 1] : nullptr;
    long peak = i;
    long width = 0;
    long flat = 0;
    const long grade = s.f.RflAnalisys(prev, peak, w.last, w.rise, w.pw2, w.t1, width, flat);
    if (grade < 1)
        return false;
    e = TFEvent{};
    e.Beg = std::max(0L, i - 1);
    e.Peak1 = std::max(e.Beg, peak - flat);
    e.PeakEnd = peak;
    e.Width = width;
    e.GradeUp = grade;
    float level = 0.0f;
    s.f.SearchDZ(s.sor, e, w.last, level);
    e.GradeDown = s.f.FallAnalisys(e.Beg, w.last, w.pw, e.End - e.Beg, w.t1);
    e.Aux = e.End;
    // A low bump wider than the pulse is a short event rather than a
    // reflection; a strong peak stays a reflection however long its
    // saturated top and the receiver's tail make it.
    e.Type = e.Width > w.pw2 && grade < 4 ? 'S' : (w.g > 0 ? 'G' : 'r');
    return true;
}

// Measures a step down that starts near i.
bool measureFall(WalkState& s, long i, float mean, TFEvent& e)
{
    Walk& w = s.w;
    const float* linf = s.f.Linf;
    long beg = std::max(0L, i - 1);
    // The first sample of the fall lies where the trace left the mean (the
    // one from before the fall), by the noise whatever the sensitivity: a
    // less sensitive walk sees the fall later.
    const float left = w.tf * 0.3f * 0.7f / (static_cast<float>(w.sens) + 0.7f);
    for (long k = 0; k < 4 * w.pw2 && beg > 0 && linf[beg] < mean + left; ++k)
        --beg;
    const long grade = s.f.FallAnalisys(beg, w.last, w.pw, w.pw2, -w.tf);
    if (grade >= 0)
        return false;
    e = TFEvent{};
    e.Beg = beg;
    e.Peak1 = beg;
    e.PeakEnd = beg;
    e.Width = 0;
    e.GradeDown = grade;
    float level = 0.0f;
    s.f.SearchDZ(s.sor, e, w.last, level);
    // A step spreads over one pulse at least.
    e.End = std::max(e.End, std::min(beg + w.pw, w.last));
    e.Aux = e.End;
    e.Type = 'S';
    return true;
}

// When the events at the end of the list are three or more short ones in a
// row whose weights (high for weak events close behind the one before) sum
// to 30 or more, the index of the middle one of them; else 0.
long restartIndex(const WalkState& s)
{
    // So many restarts find noise at every threshold: the walk goes on.
    constexpr long maxRestarts = 8;
    if (s.w.sens >= maxRestarts)
        return 0;
    long first = s.count;
    while (first > 1 && s.events[first - 1].Type == 'S')
        --first;
    const long run = s.count - first;
    if (run < 3)
        return 0;
    double weight = 0.0;
    for (long k = first; k < s.count; ++k) {
        const TFEvent& e = s.events[k];
        const auto grade = static_cast<double>(std::max(e.GradeUp, -e.GradeDown));
        const auto distance = static_cast<double>(std::max(1L, e.Beg - s.events[k - 1].Beg));
        weight += (4.5 - grade) * 100.0 * static_cast<double>(s.w.pw2) / (distance * (1.0 + grade));
    }
    return weight >= 30.0 ? first + run / 2 : 0;
}

// The end of the zone behind a strong reflection where its ghosts open no events.
long ghostZoneEnd(const Walk& w, const TFEvent& e)
{
    return std::min(static_cast<long>(static_cast<float>(e.End) + 1.07f * static_cast<float>(w.ghostSpan)),
                    w.last - 1);
}

// A second reflection on the fall of the first, closer than the first takes
// to settle or inside the zone where the first's ghosts are ignored: the
// first ends at the foot of the second, so that the walk opens the second
// there. Only a rise that stands as a reflection of its own counts. Answers
// whether there was one.
bool endBeforeSecondRise(WalkState& s, TFEvent& e, long zoneEnd)
{
    const long foot = s.f.DoubleRDetect(e.PeakEnd, std::max(e.End, zoneEnd) - e.PeakEnd);
    if (foot <= e.PeakEnd + 1)
        return false;
    // The thresholds of the foot's level, leaving those of the walk alone.
    Walk w = s.w;
    setThresholds(w, s.f.Linf[foot]);
    long peak = foot + 1;
    long width = 0;
    long flat = 0;
    if (s.f.RflAnalisys(&e, peak, w.last, w.rise, w.pw2, w.t1, width, flat) < 1)
        return false;
    e.End = std::min(e.End, foot - 1);
    e.Aux = std::max(e.Aux, e.End);
    return true;
}

bool strongerThanAllBehindLaunch(const WalkState& s, long grade)
{
    for (long k = 1; k < s.count; ++k)
        if (s.events[k].GradeUp >= grade)
            return false;
    return true;
}

// A launch at i that shows no reflection of its own.
TFEvent plainLaunch(WalkState& s, long i, char type)
{
    const Walk& w = s.w;
    const float* linf = s.f.Linf;
    TFEvent launch{};
    launch.Beg = i;
    launch.Peak1 = std::min(i + w.pw, w.n - 1);
    // The launch may stand at its top from the first point on.
    long top = i;
    for (long p = i; p < std::min(i + 2 * w.pw2 + w.rise, w.n); ++p)
        if (linf[p] > linf[top])
            top = p;
    launch.PeakEnd = top;
    launch.End = std::min(launch.Peak1 + w.win1, w.n - 1);
    float settled = 0.0f;
    s.f.SearchDZ(s.sor, launch, w.last, settled);
    launch.End = std::max(launch.End, std::min(launch.Peak1 + w.win1, w.n - 1));
    launch.PeakEnd = i;
    launch.Aux = launch.End;
    launch.Width = w.pw;
    launch.Type = type;
    return launch;
}

// Writes the levels of the stretch from..to unfiltered (inside an event).
void keepRaw(WalkState& s, long from, long to)
{
    for (long p = std::max(0L, from); p <= to && p < s.w.n; ++p)
        s.widths[p] = 1;
}

void writeLevel(WalkState& s, long i, float mean, long m)
{
    const TSorBlockAUXParameters* aux = s.sor->AUXParams;
    float out = aux->LinToLog5(mean);
    // The mean stands half a window behind the point: take the fiber's fall
    // over that distance off where the trace is well above the noise.
    if (mean > 10.0f * s.w.nfLin)
        out -= s.w.dbPt * static_cast<float>(m - 1) / 2.0f;
    s.sor->DataPts->SetfLevel(i, out);
    s.widths[i] = static_cast<short>(std::min(m, 32767L));
}

}  // namespace

long RunWalk(TSorFilter& f, TSorData* sor, Walk& w, TFEvent* events, short* widths)
{
    WalkState s{f, sor, w, events, widths};
    const float* linf = f.Linf;

    // The launch: a reflection at the start, or a plain start.
    TFEvent launch{};
    long i = w.start;
    setThresholds(w, linf[i]);
    if (w.startLaunch) {
        // A launch without a reflection found at the front offset.
        launch.Beg = std::min(w.front, i);
        launch.PeakEnd = i;
        launch.Peak1 = std::min(i + w.pw, w.n - 1);
        launch.End = std::min(launch.Peak1 + w.win1, w.n - 1);
        launch.Aux = launch.End;
        launch.Width = w.pw;
        launch.Type = 's';
    } else if (w.startRising) {
        // The walk starts inside the launch's rise: its reflection, or, when
        // the trace rises to no peak of its own, a launch without one.
        if (measureReflection(s, i, launch))
            launch.Beg = i;
        else
            launch = plainLaunch(s, i, 'I');
    } else if (!measureReflection(s, std::min(i + 1, w.n - 1), launch)) {
        launch = plainLaunch(s, i, 's');
    } else {
        launch.Beg = i;
    }
    addEvent(s, launch);
    keepRaw(s, 0, launch.End);
    i = std::max(launch.End, 1L);

    RunningMean run(linf, i);
    long target = targetWindow(w, linf[i]);
    float meanAtChange = std::max(linf[i], 1e-6f);
    long ghostEnd = -1;
    // The mean before the trace began to fall away from it.
    float steadyMean = linf[i];
    // A new mean from point `at` on, behind an event.
    const auto restartMean = [&](long at) {
        run.restart(at);
        steadyMean = linf[at];
        target = targetWindow(w, linf[at]);
        meanAtChange = std::max(linf[at], 1e-6f);
    };
    for (++i; i < w.last; ++i) {
        const float mean = run.mean();
        const long m = run.size();
        setThresholds(w, std::max(mean, 0.0f));
        float d1 = linf[i] - mean;
        float d2 = 0.0f;
        if (d1 > 0.0f) {
            long top = i + 1;
            while (w.rise > 2 && top < i + w.rise && top + 1 < w.n && linf[top + 1] > linf[top])
                ++top;
            d2 = ahead(s, top, 0) - mean;
        } else {
            d2 = ahead(s, i, w.win1) - mean;
        }
        // Nothing opens in the noise.
        if (linf[i] < w.nfLin && mean < w.nfLin) {
            d1 = -1.0f;
            d2 = -1.0f;
        }
        // A fast fall: the window shortens so that the mean can follow.
        if (d1 < w.tf && d2 < w.tf2 && m >= 2 && ahead(s, i, 1) < mean + w.tf2) {
            const int depth = static_cast<int>(std::min(d2 / w.tf2, 8.0f));
            run.shorten(std::max(m >> depth, w.win1 / 2));
        } else if (d1 >= w.tf * 0.7f / (static_cast<float>(w.sens) + 0.7f)) {
            // Not below the mean by more than the most sensitive walk allows.
            steadyMean = mean;
        }
        TFEvent e{};
        bool opened = false;
        if (i > ghostEnd) {
            const bool rising = (d1 > 2.0f * w.t1 && d2 > 5.0f * w.t3) ||
                                (d1 > w.t1 && d2 > w.t3 && ahead(s, i, w.win2) - mean > w.t1 && d1 < d2) ||
                                (d1 > w.t3 && w.pw < 2);
            if (rising) {
                const double up = sor->NumToLevel(i + w.pw / 2);
                const double down = sor->NumToLevel(i - w.pw / 2) - w.dbPt * static_cast<float>(w.pw);
                if (up > down || w.win3 < w.pw || (d1 > 3.0f * w.t1 && w.pw != 4))
                    opened = measureReflection(s, i, e);
            }
            // Falls are measured against the fiber's own fall from the
            // centre of the window to the sample looked at.
            const auto below = [&](long d) {
                const float expected = mean * FiberFactor(w.dbPt, d + (m + 1) / 2);
                return ahead(s, i, d) - expected < w.tf;
            };
            const bool falling = !opened && d1 < w.tf && below(0) && below(w.win2) && below(2 * w.win1) &&
                                 below(2 * w.win2) && below(w.win3);
            if (falling)
                opened = measureFall(s, i, steadyMean, e);
        }
        bool twoPeaks = false;
        if (opened && e.GradeUp > 0)
            twoPeaks = endBeforeSecondRise(s, e, e.GradeUp > 8 ? ghostZoneEnd(w, e) : e.End);
        if (opened) {
            if (e.Beg <= s.events[s.count - 1].End)
                e.Beg = s.events[s.count - 1].End + 1;
            e.End = std::max(e.End, e.Beg + 1);
            // The G flag: a strong reflection rising from near the noise with
            // a high pedestal behind it.
            if (e.GradeUp > 9 && (s.count == 1 || w.g > 0) && ahead(s, e.Beg, -w.win1) < 10.0f * w.nfLin &&
                ahead(s, i, w.pw2 + w.win3) > ahead(s, e.PeakEnd, 0) / 2.0f)
                ++w.g;
            // The strongest reflection behind the launch so far is the
            // candidate for the end of the fiber.
            if (e.Type == 'r' && strongerThanAllBehindLaunch(s, e.GradeUp))
                e.Type = 'R';
            TFEvent& prev = s.events[s.count - 1];
            if (e.GradeUp <= 0 && (e.Beg <= prev.End + 2 || (prev.GradeUp <= 0 && e.Beg <= prev.Beg + 2 * w.pw2))) {
                // The trace behind the previous event had not settled yet:
                // the fall belongs to it.
                prev.End = std::max(prev.End, e.End);
                prev.Aux = prev.End;
                prev.GradeDown = std::min(prev.GradeDown, e.GradeDown);
                e = prev;
            } else if (!addEvent(s, e)) {
                break;
            } else if (const long back = restartIndex(s); back > 0) {
                // A run of weak events close together is the noise: the
                // walk goes back to the middle one, less sensitive.
                ++w.sens;
                s.count = back;
                i = s.events[back - 1].End;
                restartMean(i);
                continue;
            }
            if (e.GradeUp > 8 && !twoPeaks) {
                ghostEnd = ghostZoneEnd(w, e);
                // Ringing behind a strong reflection opens no events.
                const long ringEnd = f.ZvonDetect(e.PeakEnd, w.last, w.t1, w.pw2, 10 * w.pw2);
                if (ringEnd > e.End) {
                    e.Aux = ringEnd;
                    s.events[s.count - 1].Aux = ringEnd;
                    ghostEnd = std::max(ghostEnd, std::min(ringEnd, w.last - 1));
                }
            }
            keepRaw(s, e.Beg, e.End);
            for (long p = i; p < e.Beg && p < w.n; ++p)
                writeLevel(s, p, run.mean(), run.size());
            i = e.End;
            if (i >= w.last - 1)
                break;
            restartMean(i);
            // The fiber ends here when the trace behind the event lies in
            // the noise; a step without a reflection is then the end reached
            // in the noise.
            if (f.LinfAvg != nullptr && i < w.n && f.LinfAvg[i] < 2.0f * w.nfLin &&
                ahead(s, i, w.win3) < 2.0f * w.nfLin) {
                if (s.count > 1 && s.events[s.count - 1].GradeUp <= 0)
                    s.events[s.count - 1].Type = 'E';
                break;
            }
            // A strong reflection near the noise ends the useful trace.
            if (e.GradeUp >= 13 && f.LinfAvg != nullptr && f.LinfAvg[i] < 5.0f * w.nfLin && s.count >= 3)
                break;
            continue;
        }
        run.advance(i, target);
        const float now = run.mean();
        writeLevel(s, i, now, run.size());
        if (now < 0.75f * meanAtChange || now > 1.3f * meanAtChange) {
            target = targetWindow(w, now);
            meanAtChange = std::max(now, 1e-6f);
        }
    }
    // Past the walk: the sliding mean with the final window.
    const long from = std::clamp(i, 1L, w.n - 1);
    RunningMean tail(linf, from);
    for (long p = from; p < w.n; ++p) {
        tail.advance(p, target);
        writeLevel(s, p, tail.mean(), tail.size());
    }
    long count = s.count;
    FinishEvents(f, sor, w, events, count);
    return count;
}

}  // namespace autofilter
