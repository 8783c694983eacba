// RefAuto: searches along a trace, extremes, slope and ripple estimates, the
// noise floor, and the searches that locate events on a section.
#pragma once

#include "ref/ref-export.h"

class TSorData;

// Conventions of every function here:
// - Point numbers (pins) are zero-based `long`s; a level outside the trace
//   reads as -65.5 dB (TSorData::NumToLevel), so a search may run past either
//   end and still see defined values. Ranges are inclusive unless said.
// - Levels are in dB on the one-way 5 x log10 scale; a slope is the fall in
//   dB per point, positive on a falling trace.
// - Plain float arrays are read only inside the range the caller gives; the
//   caller answers for that range lying inside the array.
// - Every result is a value: degenerate input has a defined answer and
//   nothing is thrown. None of them keeps state; only RefAutoGetDbOnOwt and
//   RefAutoReSetNF change the trace they are given (see there).

// ---- elementary searches ----

// Going down from i to stop, the first index whose sample is below v. i
// itself when i < stop or when a[i] < v; stop - 1 when none is found.
FIBERTEST_REF_EXPORT long RefAutoSearchBackLess(const float* a, long i, float v, long stop);
// The same on the levels of the trace.
FIBERTEST_REF_EXPORT long RefAutoSearchBackLess(TSorData* sd, long i, float v, long stop);
// Going down from i to 0, the first index with a level above v; -1 for none.
FIBERTEST_REF_EXPORT long RefAutoSearchBackGreather(TSorData* sd, long i, float v);
// A sliding sum of w samples moved down from `end`: the start of the first
// block whose mean is above v (end - w + 1 first, then end - w - 1 and
// lower), or -1 for none.
FIBERTEST_REF_EXPORT long RefAutoSearchBackGreather(const float* a, long end, long w, float v);
// Going up from i, the first index with a level below v, or the point count.
FIBERTEST_REF_EXPORT long RefAutoSearchStraightLess(TSorData* sd, long i, float v);
// The same with the threshold falling by `slope` per step.
FIBERTEST_REF_EXPORT long RefAutoSearchStraightLess(TSorData* sd, long i, float v, float slope);
// Going up from i, the first index with a level above v, or the point count.
FIBERTEST_REF_EXPORT long RefAutoSearchStraightGreather(TSorData* sd, long i, float v);

// ---- means and extremes ----

// Mean of `count` samples from `start`; a negative start is cut to 0 and the
// count by as much. 0 when no sample remains.
FIBERTEST_REF_EXPORT float RefAutoGetAverage(const float* a, long start, long count);
// Extreme over start..end inclusive, its value in v. Ties: mode > 0 the last
// index, mode < 0 the first, mode 0 the integer mean of first and last. An
// empty range (start > end) answers start and leaves v.
FIBERTEST_REF_EXPORT long RefAutoGetMin(const float* a, long start, long end, float& v, int mode);
FIBERTEST_REF_EXPORT long RefAutoGetMax(const float* a, long start, long end, float& v, int mode);
// The same on levels; a negative start counts as 0.
FIBERTEST_REF_EXPORT long RefAutoGetMax(TSorData* sd, long start, long end, float& v, int mode);
// The first strict minimum over start..end-1 (no tie rule).
FIBERTEST_REF_EXPORT long RefAutoGetMin(TSorData* sd, long start, long end, float& v);
// Position of the extreme sliding mean of w samples over start..end, each
// step's sum scaled by 10^(dB/5)^k (k the step number) so that a fall of dB
// per point does not count; a tie moves to the later position. The position
// is the first sample of the window; windows lie wholly inside start..end.
// The minimum starts from the first window's sum, the maximum from the
// first sample alone. -1 (mean 0) for a null array or a range shorter than
// w. `mean` is the unscaled mean at the position found.
FIBERTEST_REF_EXPORT long RefAutoGetAvrMin(const float* a, long start, long end, float& mean, int w, float dB);
FIBERTEST_REF_EXPORT long RefAutoGetAvrMax(const float* a, long start, long end, float& mean, int w, float dB);
FIBERTEST_REF_EXPORT long RefAutoGetAvrMax(const float* a, long start, long end, float& mean, int w);

// ---- steps, slopes and ripple ----

// The largest fall level(i) - level(i + w), i = start..end-w, with its i in
// `at`; returns at once a fall of `limit` or more. 0 and at = start for an
// empty range or a negative w.
FIBERTEST_REF_EXPORT float RefAutoSearchMaxdbFall(TSorData* sd, long start, long end, long w, long& at, float limit);
// RefAutoSearchMaxdbFall with no limit, in dB/km.
FIBERTEST_REF_EXPORT float RefAutoSearchMaxFall(TSorData* sd, long start, long end, long w, long& at);
// a when level(a) > level(b); otherwise where the trace, walking down from
// b, first falls below the middle of the two levels.
FIBERTEST_REF_EXPORT long RefAutoSearchRef(TSorData* sd, long a, long b);
// OWT units in which the receiver falls by 1.5 dB.
FIBERTEST_REF_EXPORT double RefAutoGetOwtBW(TSorData* sd);
// The first fall across w points that leaves w * slope +- tol, with its
// place in `at`; otherwise the largest fall seen and at = 0.
FIBERTEST_REF_EXPORT float RefAutoSearchRefdbFall(TSorData* sd, long start, long end, long w, float tol, float slope,
                                                  long& at);
// Extreme rise and fall across w points over start..end, corrected for the
// fibre's fall of `slope` per point; returns the larger of rise and -fall.
FIBERTEST_REF_EXPORT float RefAutoSearchMaxdbRiseFall(TSorData* sd, long start, long end, long w, float& fall,
                                                      long& fallAt, float& rise, long& riseAt, float slope);
// A ripple estimate from the same search, looking past a single event.
FIBERTEST_REF_EXPORT float RefAutoSearchMaxdbRiseFall(TSorData* sd, long start, long end, long w, float slope);
// Walks back from p towards stop while the trace, seen backwards, still falls
// off a cliff of more than e dB a point; stop when p < stop.
FIBERTEST_REF_EXPORT long RefAutoOtkatEnd(TSorData* sd, long p, long stop, double e);
// Event dead zone at 1.5 dB below the peak at i, in points.
FIBERTEST_REF_EXPORT float RefAutoCalcEDZ(TSorData* sd, long i);
// The default attenuation for the trace's wavelength, dB/km.
FIBERTEST_REF_EXPORT double RefAutoGetLoss(TSorData* sd);
// Whether the key events show a fibre section (asserts a trace, "SD").
FIBERTEST_REF_EXPORT bool RefAutoIsFiberLinkDetected(TSorData* sd);
// Ripple of the backscatter about a robust line over start..end, dB. `table`
// may be null.
FIBERTEST_REF_EXPORT float RefAutoCalcPolar2(TSorData* sd, long start, long end, long n, float slope,
                                             const short* table);
// The ripple level of a section in dB, and in `at` the point where its
// quietest stretch lies.
FIBERTEST_REF_EXPORT float RefAutoCalcPolar(TSorData* sd, long start, long end, long n, float slope, long& at);
// A dip with an exponential recovery between a and b: the point where its
// height was taken, or 0 for none; `ratio` and `width` describe it.
FIBERTEST_REF_EXPORT long RefAutoGetProvalAT(TSorData* sd, long a, long b, float slope, float& ratio, float& width);

// ---- receiver and noise floor ----

// The receiver's fall rate in dB per OWT unit. Stores a measured rate as
// BWU1 of the first measurement mode when the trace had none.
FIBERTEST_REF_EXPORT double RefAutoGetDbOnOwt(TSorData* sd);
// Estimates the noise floor from the stretch between the fractions f1 and f2
// of the trace into nf; 1 when an estimate stands there, else 0.
FIBERTEST_REF_EXPORT int RefAutoReGetNF(TSorData* sd, float f1, float f2, float& nf, int mode);
// Decides the trace's noise floor and returns it, in dB. May rewrite NFSF
// (old form), NF, and, for a trace without a noise reference, MAX and Scale
// of the acquisition block.
FIBERTEST_REF_EXPORT double RefAutoReSetNF(TSorData* sd);

// ---- event location ----

// A slope refined from the last two thirds of a..b.
FIBERTEST_REF_EXPORT float CalcLossPin(TSorData* sd, long a, long b, float slope);
// A loss less the part of it that a slope within tolerance would explain.
FIBERTEST_REF_EXPORT float RefAutoDopuskLosPin(TSorData* sd, long a, long b, long c, long d, float loss, float slope,
                                               float tol);
// The largest step across w points over the expected fall, signed; its place
// (the window's first point) in `at`. A step reaching `limit` narrows the
// search to it and goes on with the limit 100 (at most twice).
FIBERTEST_REF_EXPORT float RefAutoSearchMaxSplice(TSorData* sd, long start, long end, long w, long& at, float slope,
                                                  float limit);
// The first straight stretch (falls within slope * ratio^+-1), or -1.
FIBERTEST_REF_EXPORT long RefAutoSearchStraightLoss(TSorData* sd, long start, long end, long w, float ratio,
                                                    float slope);
// The first i whose fall over w points lies in w * lo .. w * hi, or -1.
FIBERTEST_REF_EXPORT long RefAutoSearchStraightLoss2(TSorData* sd, long start, long end, long w, float lo, float hi);
// The place of a splice of `width` points near a, fitted with m points of
// straight fibre on each side.
FIBERTEST_REF_EXPORT long RefAutoSearchSplicePin(TSorData* sd, long a, long width, long m, float slope);
// Loss across an event between a and b from stretches of w1 before and w2
// after it, kept within lowest..highest. 0 when a = b.
FIBERTEST_REF_EXPORT float RefAutoGetSpl(TSorData* sd, long a, long lowest, long b, long highest, long w1, long w2,
                                         float slope);
// The first point of an event on start..end, or end; `value` the mean
// deviation of the run that marked it.
FIBERTEST_REF_EXPORT long RefAutoSearchEventPin(TSorData* sd, long start, long end, long w, float margin,
                                                float threshold, float level, float slope, float& value);
// Width in points of a reflective event from `start` to e (between the half
// levels of its flanks); 0 for none or without the linear trace "LINF", -1
// for a peak more than `limit` points past start that stands over 3 thr.
// Moves `start` down the rising flank, sets `peak` and `height` (the peak
// over the mean fibre level at start and e).
FIBERTEST_REF_EXPORT float RefAutoGetWidthPlr(TSorData* sd, long& start, long e, long limit, long n, float slope,
                                              float thr, long& peak, float& height);
// The next splice on a section a..b of a short trace: its point or 0; the
// loss in `result`, the stretch in `pin`..`end`, the slope used in `slope`
// (a slope of 0 or below on entry takes the wavelength's default). `step`
// is in OWT units; `table` is not needed.
FIBERTEST_REF_EXPORT long RefAutoSearchSpliceEvent(TSorData* sd, long a, long b, float step, float up, float down,
                                                   float& slope, float& result, const short* table, long& pin,
                                                   long& end);
// The OWT (100 ps) where the tail of an event starting at startOwt ends; the
// OWT of the search's end point (at most the end of the trace) when the
// tail ends within 6 points.
FIBERTEST_REF_EXPORT long RefAutoSearchEndOfEvent(TSorData* sd, long startOwt, long endOwt);
