// TAuto: the searches for splices and reflections between the auto filter's events.
#include <algorithm>
#include <cmath>
#include <vector>

#include "auto/auto.h"
#include "auto/sor-filter.h"
#include "ref/ref-auto.h"
#include "sor/sor-data.h"

namespace {

// What one scan of a stretch found.
struct StepFind
{
    long at = 0;         // first point of the event
    double step = 0.0;   // loss across it, dB (negative for a gain)
    double height = 0.0; // peak over the backscatter in front of it, dB
    double limit = 0.0;  // the step the stretch's noise allows
};

// Median of v - offset in magnitude (`absolute`) or sign, over at most about
// 2048 evenly strided samples: the robust figures of a stretch need no more.
double median(const std::vector<double>& v, double offset, bool absolute)
{
    if (v.empty())
        return 0.0;
    const std::size_t stride = v.size() / 2048 + 1;
    std::vector<double> sample;
    sample.reserve(v.size() / stride + 1);
    for (std::size_t i = 0; i < v.size(); i += stride)
        sample.push_back(absolute ? std::fabs(v[i] - offset) : v[i] - offset);
    const auto mid = sample.begin() + static_cast<std::ptrdiff_t>(sample.size() / 2);
    std::nth_element(sample.begin(), mid, sample.end());
    return *mid;
}

// The spread of a mean of w points from the stretch's own noise: the second
// differences of the means of consecutive blocks of w points cancel the
// fiber's fall and any slow change of it (a section of another attenuation),
// and their median deviation ignores the few blocks an event touches.
// Negative when the stretch holds fewer than three blocks.
double blockMeanSpread(const std::vector<double>& prefix, long w)
{
    const long blocks = static_cast<long>(prefix.size() - 1) / w;
    if (blocks < 3)
        return -1.0;
    auto blockMean = [&](long k) {
        const auto a = static_cast<std::size_t>(k * w);
        return (prefix[a + static_cast<std::size_t>(w)] - prefix[a]) / static_cast<double>(w);
    };
    std::vector<double> second;
    second.reserve(static_cast<std::size_t>(blocks - 2));
    for (long k = 1; k + 1 < blocks; ++k)
        second.push_back(blockMean(k - 1) - 2.0 * blockMean(k) + blockMean(k + 1));
    // A second difference holds six times the variance of one mean.
    return 1.4826 * median(second, 0.0, true) / std::sqrt(6.0);
}

// Two windows of w points, `gap` points apart, slide along start..end. Their
// mean levels, corrected for the fiber's fall, differ by the loss of an event
// between them. The fall is taken locally, from the statistic one window
// and gap before and behind (held by the median of the whole stretch when
// those two disagree, as next to another event), so that sections of
// different attenuation give no steps and a step is sized against the fiber
// around it. The noise is measured on the stretch too: a clean stretch
// yields nothing.
bool scanStretch(TSorData* sor, long start, long end, long w, long gap, long rise, double sigmas,
                 double floorLimit, StepFind& out)
{
    const long n = end - start + 1;
    if (w < 2 || gap < 1 || n < 2 * w + gap + 4)
        return false;
    std::vector<double> prefix(static_cast<std::size_t>(n) + 1, 0.0);
    for (long i = 0; i < n; ++i)
        prefix[static_cast<std::size_t>(i) + 1] = prefix[static_cast<std::size_t>(i)] + sor->NumToLevel(start + i);
    auto mean = [&](long from, long count) {
        const auto a = static_cast<std::size_t>(from - start);
        return (prefix[a + static_cast<std::size_t>(count)] - prefix[a]) / static_cast<double>(count);
    };
    const long first = start + w;
    const long last = end - gap - w + 1;
    std::vector<double> stat;
    stat.reserve(static_cast<std::size_t>(last - first + 1));
    for (long p = first; p <= last; ++p)
        stat.push_back(mean(p - w, w) - mean(p + gap, w));
    const double med = median(stat, 0.0, false);
    const auto count = static_cast<long>(stat.size());
    const long reachOut = w + gap;
    std::vector<double> base(stat.size(), med);
    std::vector<double> dev(stat.size(), 0.0);
    for (long i = 0; i < count; ++i) {
        const bool hasBefore = i - reachOut >= 0;
        const bool hasAfter = i + reachOut < count;
        double b = med;
        if (hasBefore && hasAfter) {
            // The median of the two sides and the stretch's median.
            const double x = stat[static_cast<std::size_t>(i - reachOut)];
            const double y = stat[static_cast<std::size_t>(i + reachOut)];
            b = std::max(std::min(x, y), std::min(std::max(x, y), med));
        }
        base[static_cast<std::size_t>(i)] = b;
        dev[static_cast<std::size_t>(i)] = stat[static_cast<std::size_t>(i)] - b;
    }
    const double spread = blockMeanSpread(prefix, w);
    // The deviation takes the noise of two window means, and half of that again from the base.
    const double sigma = spread >= 0.0 ? std::sqrt(3.0) * spread : 1.4826 * median(stat, med, true);
    const double limit = std::max(sigmas * sigma, floorLimit);

    // The first excursion over the limit, then its extreme within the windows' reach.
    std::size_t hit = stat.size();
    for (std::size_t i = 0; i < stat.size(); ++i)
        if (std::fabs(dev[i]) > limit) {
            hit = i;
            break;
        }
    if (hit == stat.size())
        return false;
    // A small reflection lifts the second window before the loss behind it
    // shows: the larger excursion within reach tells the event's sign.
    std::size_t best = hit;
    const std::size_t reach = std::min(stat.size(), hit + static_cast<std::size_t>(w + gap));
    for (std::size_t i = hit; i < reach; ++i)
        if (std::fabs(dev[i]) > std::fabs(dev[best]))
            best = i;
    const double sign = dev[best] > 0.0 ? 1.0 : -1.0;
    // The extreme stands where the first window has just left the event's
    // front and the second has passed its fall: the event starts behind it
    // by about the part of the gap that the fall does not take.
    const double peakValue = dev[best];
    std::size_t right = best;
    while (right + 1 < stat.size() && sign * dev[right + 1] >= 0.9 * sign * peakValue)
        ++right;
    const long rough = first + static_cast<long>((best + right) / 2);
    // The fall of the fiber per point, and the line of the backscatter in
    // front of the event from a window that surely lies before it. The fall
    // is that of the windows just in front of the event where the stretch
    // holds them: a section of another attenuation behind the event must not
    // tilt the line that the event's start is read from.
    const auto frontAt = static_cast<std::size_t>(reachOut);
    const double frontFall = best >= frontAt ? stat[best - frontAt] : base[best];
    const double fallPerPoint = frontFall / static_cast<double>(w + gap);
    const long frontEnd = std::max(start + 2, rough - w);
    const long frontCount = std::min(w, frontEnd - start);
    const double frontMean = mean(frontEnd - frontCount, frontCount);
    const double frontCentre = static_cast<double>(frontEnd) - static_cast<double>(frontCount + 1) / 2.0;
    auto lineAt = [&](double p) { return frontMean - fallPerPoint * (p - frontCentre); };
    // The event starts where a short forward mean first passes half of the
    // step: the pulse spreads the step over `rise` points, whose middle the
    // half-way crossing marks.
    const long m = std::max(4L, gap);
    long at = rough;
    for (long p = frontEnd; p + m <= end + 1 && p <= rough + w; ++p) {
        const double ahead = mean(p, m);
        if (sign * (lineAt(static_cast<double>(p) + static_cast<double>(m - 1) / 2.0) - ahead) > 0.5 * sign * peakValue) {
            at = std::max(start + 1, p + (m - rise) / 2);
            break;
        }
    }
    // An apparent gain with a peak over the line is a reflection: it starts
    // where the trace first rises half way to its top, and its loss shows
    // behind the peak's fall.
    if (sign < 0.0) {
        const long from = first + static_cast<long>(best);
        const long to = std::min(end, from + gap + w);
        float top = 0.0f;
        const long peak = RefAutoGetMax(sor, from, to, top, -1);
        const double height = top - lineAt(static_cast<double>(peak));
        if (height > std::max(0.2, 3.0 * limit)) {
            long front = peak;
            while (front > frontEnd && sor->NumToLevel(front - 1) > lineAt(static_cast<double>(front - 1)) + 0.5 * height)
                --front;
            const long afterStart = std::min(peak + gap, end - 2);
            const long afterCount = std::max(1L, std::min(w, end - afterStart + 1));
            out.at = std::max(start + 1, front);
            out.step = lineAt(static_cast<double>(afterStart) + static_cast<double>(afterCount - 1) / 2.0) - mean(afterStart, afterCount);
            out.height = height;
            out.limit = limit;
            return true;
        }
    }
    const double before = lineAt(static_cast<double>(at));
    float top = 0.0f;
    RefAutoGetMax(sor, std::max(start, at - 2), std::min(end, at + gap), top, 0);
    out.at = at;
    out.step = peakValue;
    out.height = top - before;
    out.limit = limit;
    return true;
}

long filterWindow(const AutoFilterResultData* res, long i, long points)
{
    if (res == nullptr || res->widths == nullptr || i < 0 || i >= points)
        return 0;
    return std::max<long>(0, res->widths[i]);
}

} // namespace

long TAuto::SearchBigSplices(long beg, long end, long wnd, TFEvent& prev, float& value, TFEvent& found,
                             AutoFilterResultData* res)
{
    if (Sor == nullptr || Points < 2)
        return 0;
    end = std::min(end, Points - 1);
    const long start = std::max({beg, prev.End, prev.Aux, 0L});
    if (end - start < 5 || LevelAt(start) < NF + 3.0)
        return 0;
    // The scan stops where the trace sinks into the noise.
    long stop = end;
    const double floorLevel = NF + 5.0;
    while (stop > start && LevelAt(stop) < floorLevel)
        stop -= std::max(1L, (stop - start) / 64);
    // The block over which a step is judged: what the noise model asks for
    // at this level, at least two pulses, at most the filter's own window.
    const long longest = std::max(2 * Pw1, wnd + filterWindow(res, beg, Points));
    const long w = std::clamp(SetAvgPin(LevelAt(stop), 0.05, std::max(2 * Pw1, 4L), longest), 4L,
                              std::max(4L, (stop - start) / 4));
    const double level = LevelAt(stop);
    const double floorLimit = std::max(GetFault(level, static_cast<double>(w)) + 2.0 * Polar / std::sqrt(w), 0.05);
    StepFind step;
    if (scanStretch(Sor, start, stop, w, std::max(Pw1, 2L), Pw0, 5.0, floorLimit, step) && step.at > start &&
        step.at < end) {
        found = TFEvent{};
        found.Beg = step.at;
        found.Peak1 = found.PeakEnd = step.at;
        found.End = found.Aux = std::min(end, step.at + Pw1);
        found.Width = Pw1;
        found.GradeUp = step.height > 0.0 ? static_cast<long>(step.height / step.limit) : 0;
        found.GradeDown = -static_cast<long>(std::fabs(step.step) / step.limit + 0.5);
        const double reflLimit = std::max(0.2, 3.0 * step.limit);
        if (step.height > reflLimit && step.height > 0.5 * std::fabs(step.step)) {
            found.Type = 'r';
            ReflStats[0][1] += 1;
            ReflStats[1][1] += Pw1;
            ReflGrades += static_cast<float>(-found.GradeDown);
        } else {
            found.Type = step.height > 0.6 * std::fabs(step.step) ? 'S' : 'N';
        }
        value = static_cast<float>(step.step);
        return step.at;
    }

    // Nothing found: an overestimated polarisation noise hides weak events,
    // so measure it on this stretch and search once more with the measure.
    if (ReflStats[0][1] == 0 && wnd * 100 < end - beg && Polar > 0.02) {
        long at = 0;
        const float measured = RefAutoCalcPolar(Sor, beg, end, wnd, DbPerPoint, at);
        if (measured > 0.0f && measured < 0.95 * Polar) {
            Polar = measured;
            return SearchBigSplices(beg, end, wnd, prev, value, found, res);
        }
    }
    return 0;
}

long TAuto::SearchNoiseSplices(long beg, long end, long wnd, TFEvent& prev, float& value, TFEvent& found,
                               AutoFilterResultData* res)
{
    if (Sor == nullptr || Points < 2 || Polar > 0.5)
        return 0;
    end = std::min(end, Points - 1);
    long start = std::max({beg, prev.End, prev.Aux, 0L});
    if (end - start < 5)
        return 0;
    while (start < end && LevelAt(start) < NF + 3.0)
        ++start;
    if (end - start < 5)
        return 0;
    long stop = end;
    while (stop > start && LevelAt(stop) < NF + 3.0)
        --stop;
    const long w = std::clamp(2 * wnd + filterWindow(res, beg, Points), std::max(2 * Pw1, 4L),
                              std::max(4L, (stop - start) / 4));
    const double floorLimit =
        std::max({GetFault(LevelAt(stop), static_cast<double>(w)), 0.5 * std::fabs(value), 0.08});
    StepFind step;
    if (!scanStretch(Sor, start, stop, w, std::max(Pw1, 2L), Pw0, 6.0, floorLimit, step) || step.at <= start ||
        step.at >= end)
        return 0;
    const double fault = std::max(step.limit, 1e-3);
    found = TFEvent{};
    found.Beg = found.PeakEnd = step.at;
    found.Peak1 = found.End = std::min(end, step.at + std::max(th.MinPin, Pw1));
    found.Aux = 0;
    found.GradeUp = 1;
    found.GradeDown = static_cast<long>(std::fabs(step.step) / fault + 0.5);
    found.Type = step.step > 0.0 ? 's' : 'n';
    value = static_cast<float>(step.step);
    return step.at;
}

long TAuto::SearchWeakSplices(long beg, long end, long wnd, TFEvent& prev, float& value, TFEvent& found,
                              AutoFilterResultData* res)
{
    if (Sor == nullptr || Polar < 0.02)
        return 0;
    end = std::min(end, Points - 1);
    const long start = std::max({beg, prev.End, prev.Aux, 0L});
    if (end - start < 5 || LevelAt(start) < NF + 3.0)
        return 0;
    const long w = std::clamp(static_cast<long>(3.0 * AvgWidth), std::max(Pw1, 4L), std::max(4L, (end - start) / 4));
    const double floorLimit = std::max(GetFault(LevelAt(end), static_cast<double>(w)), 0.03);
    StepFind step;
    if (scanStretch(Sor, start, end, w, std::max(Pw1, 2L), Pw0, 4.0, floorLimit, step) && step.at > start &&
        step.at < end) {
        found = TFEvent{};
        found.Beg = found.Peak1 = found.PeakEnd = step.at;
        found.End = found.Aux = std::min(end, step.at + Pw1);
        found.GradeDown = -static_cast<long>(std::fabs(step.step) / step.limit + 0.5);
        found.Type = step.height > 0.2 && step.height > 0.5 * std::fabs(step.step) ? 'r' : 'N';
        value = static_cast<float>(step.step);
        return step.at;
    }
    long at = 0;
    const float measured = RefAutoCalcPolar(Sor, beg, end, wnd, DbPerPoint, at);
    if (Polar > 0.02 && measured > 0.0f && measured < 0.95 * Polar) {
        Polar = measured;
        return SearchBigSplices(beg, end, wnd, prev, value, found, res);
    }
    return 0;
}
