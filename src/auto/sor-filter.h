// TSorFilter: smoothing of a trace document that can be undone, the fast
// filters of the viewer, and the auto filter that both smooths the trace and
// finds the events the running mean cannot follow (reflections, big steps).
#pragma once

#include <vector>

#include "auto/auto-export.h"
#include "auto/filter.h"
#include "util/safe-array.h"

class TSorData;
class TSorBlockKeyEvents1E;

// One event of the auto filter. All positions are point numbers.
struct TFEvent
{
    long Beg = 0;        // where the event starts
    long Peak1 = 0;      // where the rising part ends
    long PeakEnd = 0;    // the peak, or the end of a flat (saturated) top
    long End = 0;        // where the trace has settled behind the event
    long Aux = 0;        // end of ringing or of the zone the event disturbs
    long GradeUp = 0;    // log2(height / threshold + 1) of the rise; 0 none, -1 refused
    long GradeDown = 0;  // the same of the fall, negative
    long Width = 0;      // width of the peak in points
    // 's' launch found as a plain start, 'S' short event, 'r' reflection,
    // 'R' strongest reflection so far, 'G' reflection under the G flag, 'I'
    // launch without its own reflection, 'E' end reached in noise, '0'
    // closing event at the end of the data, 'g' ghost.
    char Type = 0;
};

// The most events one run of the auto filter reports.
inline constexpr long AutoFilterMaxEvents = 99;

// What the auto filter leaves behind besides the smoothed trace. `events`
// and `widths` belong to the caller (at least 100 events, one width per
// point); when they are null the filter uses buffers of its own.
struct AutoFilterResultData
{
    TFEvent* events = nullptr;
    short* widths = nullptr;
    long count = 0;           // number of events, -1 when the run refused the trace
    long begin = 0;           // first point of the fiber proper
    long G = 0;               // strong reflections rising from near the noise with a high pedestal
    long RingPeriod = 0;      // period of the ringing found behind a strong reflection, points
    float polarBegin = 0.0f;  // ripple (polarisation noise) of the backscatter near the start, dB
    float polarEnd = 0.0f;    // the same from the first event to the last
    float noiseLog = 0.0f;    // noise of the filtered trace, dB (AutoFilterCalcNoise)
    float noisePeak = 0.0f;
};

// The root mean square error of the best fit of a damped sine of `period`
// points on a straight line to the `count` samples of y; infinity when there
// are too few samples (under 8) or the period is shorter than 3 points.
[[nodiscard]] FIBERTEST_AUTO_EXPORT float DampedSineFitError(const float* y, long count, float period);

class FIBERTEST_AUTO_EXPORT TSorFilter : public TFilter
{
public:
    TSorData* Sor = nullptr;       // the document, not owned
    float* LinfAvg = nullptr;      // 16-point mean of Linf, owned
    float* Linf = nullptr;         // linear trace of the document, not owned
    float Spacing = 0.0f;          // owt per point
    float DbOnOwt = 0.0f;          // receiver fall rate, dB per owt
    float DbPt = 0.0f;             // fiber loss per point, dB (set by AutoFilter)
    long PwPoints = 1;             // pulse length in points
    long PwFall = 1;               // pulse plus receiver fall in points
    AutoFilterResultData Result;

    explicit TSorFilter(TSorData* sor);
    ~TSorFilter() override;
    TSorFilter(const TSorFilter&) = delete;
    TSorFilter& operator=(const TSorFilter&) = delete;

    // Takes the document's spacing, pulse and receiver figures; null is ignored.
    void SetSorData(TSorData* sor);
    // Weights to and from the AUX block (weight * 10000 as integers).
    void GetSorMC();
    void SetSorMC();

    // 0 restores the raw trace, 5 the fast filter, 6 the time filter, 7 the
    // auto filter, any other the plain weighted filter. A negative mode
    // applies the mode that the AUX block records.
    void SetFilter(int mode);
    // Swaps the working and the backup points, when there is a backup.
    void SwitchDataPointsBlocks();
    // Forgets that a filter was applied: the filtered points become the
    // document's own and the raw backup goes.
    void EraseFilterStory();
    // The strength class (0, 1, 2 for 0.0, 0.5, 0.8); a non-zero step moves
    // to the next class and applies it.
    int IncLevelF(int step);
    double CalcFPin(double x) const;
    void SetLvlK(double x);
    double GetFLevel() const;

    // ---- filters over the document ----
    void Filter(TSorData* sor);
    void FastFilter(TSorData* sor);
    void FTTFilter(TSorData* sor);
    void DynaF(TSorData* sor);
    // Takes the response (the weights) that the AUX block of `sor` records,
    // with the document's figures, without filtering; null is ignored.
    void SetAFC(TSorData* sor);
    void SerialsFilter(TSorData* sor);
    void LFFilter(TSorData* sor);
    void TempFilter(TSorData* sor, TSorData* other, double x);
    void PONFilter(TSorData* sor, float k, float tau, long from, long to);
    void PONFilter(TSorData* sor, float k, float tau);
    // Smooths a dip with an exponential recovery between from and to; the
    // length of the dip, or 0 when none was found.
    long DipFilter(TSorData* sor, long from, long to, float slope);
    // Draws the noise tails behind strong events towards a straight line.
    void BeardFilter(TSorData* sor, TFEvent* events, long count);
    // The viewer's variant over the part of the trace near the noise.
    void BeardFilter(TSorData* sor, int mode);
    // Removes the slow offset of the baseline of a very long trace.
    void ZeroCorrect(TSorData* sor);

    // ---- noise of the filtered trace ----
    // Noise of data[i + step] - data[i] over a..b; differences larger than
    // `limit` are left out when it is positive. Also returned.
    static float CalcLinfNoise(long a, long b, long step, float limit, const float* data, float& out);
    void CalcLinfNoise(long a, long b, float& peak, float& logNoise);
    // 1 no usable stretch, 2 two stretches, 3 one behind the 3/4 mark, 4 from it.
    int AutoFilterCalcNoise();
    float GetNoiseError(float loss, float level, long n) const;
    float GetKeyEventNoiseError(const TSorBlockKeyEvents1E& event) const;

    // ---- the auto filter ----
    // Smooths the trace with a window following the signal-to-noise ratio and
    // lists the events it cannot follow; the event count or -1.
    long AutoFilter(TSorData* sor, TFEvent* events, short* widths);
    // The 16-point (w) running mean of Linf into LinfAvg.
    void SetLinfAvg(long n, long w);
    long RflAnalisys(TFEvent* prev, long& peak, long last, long rise, long win, float threshold, long& width,
                     long& flat);
    long FallAnalisys(long i, long last, long pw, long win, float threshold);
    long DoubleRDetect(long i, long win);
    long ZvonDetect(long i, long last, float threshold, long win, long limit);
    long SearchDZ(TSorData* sor, TFEvent& event, long limit, float& level);
    long SearchEnd(TSorData* sor, long from, long to, long win, const short* widths, float polar);
    void AutoFilterEventRemove(TSorData* sor, long* count, TFEvent* events, int second);
    bool isGost(TSorData* sor, const TFEvent& a, const TFEvent& b);

private:
    long points() const;
    float level(long i) const;
    void backupRestoreDataPointsBeforeFilterApply(int mode);
    void runAutoFilterMode();

    long avgCount = 0;                         // points in LinfAvg
    float nfLin = 0.0f;                        // linear noise floor of the running walk
    safe_array<TFEvent, 100> ownEvents{};      // used when the caller gives no list
    std::vector<short> ownWidths;
};
