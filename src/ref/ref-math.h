// RefMath: least-squares lines, mean powers, deviations, noise corrections and modelled event shapes over a trace.
#pragma once

#include "ref/ref-export.h"

class TSorData;

// Conventions of every function here:
// - Point numbers (pins) are zero-based `long`s; a level outside the trace
//   reads as -65.5 dB, so a fit may reach past either end and still see
//   defined values. Ranges of pins are inclusive unless said. A pin more
//   than 2^20 points beyond either end is taken as one at that distance, so
//   that absurd numbers cannot make a fit run for ever.
// - Levels are in dB on the one-way 5 x log10 scale. The float fits over
//   pins (RefMathLSLf and kin) give the slope as the fall per point, positive
//   on a falling trace; the double fits over one-way time (RefMathLSL and
//   kin) give y = slope * OWT + intercept, the slope negative on a falling
//   trace. OWT is in 100 ps.
// - Nothing is reported as an error: degenerate input (an empty or reversed
//   range, a zero divisor, too few points) has a defined value, given at
//   each function. None of them keeps state; only RefMathCalcPower1uS
//   writes into the trace (see there). None owns the TSorData it is given.

// ---- the linear copy of the trace ----

// The float array of linear powers kept as embedded data "LINF", one value
// a point, or null when the trace has none. Owned by the trace.
FIBERTEST_REF_EXPORT float* RefEmbGetLinf(TSorData* sd);

// ---- lines and geometry ----

// The line y = k x + b through (x1, y1) and (x2, y2); k = 0, b = y1 when
// the points share an x or a y.
FIBERTEST_REF_EXPORT void RefMathLine(double x1, double y1, double x2, double y2, double& k, double& b);
FIBERTEST_REF_EXPORT void RefMathSwap(double& a, double& b);
// Clips the segment to the rectangle; 1 when a part of it is inside (the
// ends then hold that part), else 0. Where y1 > y2 only the y values are
// exchanged before clipping.
FIBERTEST_REF_EXPORT int RefMathClipLine(double& x1, double& y1, double& x2, double& y2, double xMin, double yMin,
                                         double xMax, double yMax);
// Root-mean-square of a line that starts at a and falls by b * c over its
// length: sqrt(a^2 + v^2/3 - v a), v = b c.
FIBERTEST_REF_EXPORT double RefMathLinesSQO(double a, double b, double c);
// 5 log10(a b + 1 - a^2 c); 0 when a b <= 0.
FIBERTEST_REF_EXPORT double RefMathLinearFactor(double a, double b, double c);
// The part of a reflection's amplitude that the receiver reaches for a
// pulse of `pulse` ns, a receiver rising `rate` dB per ns and a sampling
// step of `step` ns. 0 without a pulse; a zero step gives the limit 1 - q.
FIBERTEST_REF_EXPORT double RefMathAmplitudePulse(double pulse, double rate, double step);

// ---- modelled shape of a non-reflective event ----

// The fall of the backscatter, in dB, at x from the start of an event of
// width `width` with step `step`, slope s1 before and s2 after (dB per unit
// of x). Beyond the event the straight lines: step + x s2 past it, x s1
// before it. A zero-width event is 0 at its start.
FIBERTEST_REF_EXPORT double RefMathSplicePower(double step, double s1, double s2, double width, double x);
// The same in float with whole widths; inside the event the linear sum
// before the logarithm, outside the straight lines in dB.
FIBERTEST_REF_EXPORT float RefMathSpliceLinPower(float step, float s1, float s2, int width, int x);
// -5 log10 of RefMathSpliceLinPower, -0.0 for a value that is not positive.
// Meant for 0 <= x < width; outside it the dB value of the lines is taken
// through the logarithm as it stands.
FIBERTEST_REF_EXPORT float RefMathSplicePower(float step, float s1, float s2, int width, int x);

// ---- fits over pins, float ----

// Least squares over the levels first..last, x counted backwards from
// `last`: `offset` is the fitted level at `last`, `slope` the fall per
// point. From last - first = 30001 on every second point is taken (the
// slope still per point). first = last:
// slope 0, offset the level; first > last: slope 1.0, offset 0.
FIBERTEST_REF_EXPORT void RefMathLSLf(TSorData* sd, long first, long last, float& slope, float& offset);
// RefMathLSLf as the fitted levels at both ends.
FIBERTEST_REF_EXPORT void RefMathLSL2f(TSorData* sd, long first, long last, float& yFirst, float& yLast);
// The total fall over a..b estimated from four samples (a, the two thirds
// and b).
FIBERTEST_REF_EXPORT float RefMathLSL4f(TSorData* sd, long a, long b);
// Grows a fit ending at `end` from `start` back down to `lowest` (always
// the whole way) and answers the first pin where the fit's slope came
// nearest to `target`. yAtBest and yEnd are the fit's levels at that pin
// and at `end`, relError the slope's error relative to `target`. start =
// end: both levels that of `start`, relError untouched.
FIBERTEST_REF_EXPORT long RefMathGetPinWithLsp(TSorData* sd, long lowest, long start, long end, float target,
                                               float& yAtBest, float& yEnd, float& relError);

// ---- fits over one-way time, double ----

// The line-fit of record over the points between owt1 and owt2, each
// level times `weight` (exactly 1 within 1e-5). One point: slope 0,
// intercept weight x level; reversed or singular: slope 1.0, intercept 0.
FIBERTEST_REF_EXPORT void RefMathLSL_Simple(TSorData* sd, double owt1, double owt2, double& slope, double& intercept,
                                            double weight = 1.0);
// The same function under its other name.
FIBERTEST_REF_EXPORT void RefMathLSL(TSorData* sd, double owt1, double owt2, double& slope, double& intercept,
                                     double weight = 1.0);
// RefMathLSL as the fitted levels at owt1 and owt2.
FIBERTEST_REF_EXPORT void RefMathLSL2(TSorData* sd, double owt1, double owt2, double& y1, double& y2);
// RefMathLSL_Simple, then RefMathDeviationFromLSL of that line.
FIBERTEST_REF_EXPORT void RefMathLSL_AndDeviation(TSorData* sd, double owt1, double owt2, double& slope,
                                                  double& intercept, double& deviation, double weight = 1.0);
// The largest distance of a level from the given line (slope, intercept
// are read, not written) over the points between owt1 and owt2; 0 for one
// point. `weight` is not used.
FIBERTEST_REF_EXPORT void RefMathDeviationFromLSL(TSorData* sd, double owt1, double owt2, double& slope,
                                                  double& intercept, double& deviation, double weight = 1.0);
// A fit that weighs each level by the time its point stands for, with ends
// that need not fall on points; the intercept is the level at owt1 (x is
// counted from owt1). On a straight line of evenly spaced points the slope
// comes out as the line's times (L - d) / L, L = owt2 - owt1 and d the
// spacing, as the closed form has it. Under one point: slope 0, intercept
// the level at owt2.
FIBERTEST_REF_EXPORT void RefMathLeastSquareLoss(TSorData* sd, double owt1, double owt2, double& slope,
                                                 double& intercept);

// ---- block fit ----

// A line through the means (linear domain) of at most about 30 blocks of
// `block` points over first..last, for noisy stretches; yFirst, yLast its
// levels at both ends. A stretch shorter than a block, or one that makes a
// single block: both the level at `first`. A block below 1 counts as 1.
FIBERTEST_REF_EXPORT void RefMathLSLpt(TSorData* sd, long first, long last, double& yFirst, double& yLast,
                                       long block);

// ---- means ----

// Mean of `count` points from `start`, in float; the count is cut at the
// end of the trace. Mode 0: mean of levels (levels below the base
// re-expanded); 1: mean in the linear domain as a level; 2: that linear
// mean itself. `lin` (may be null) supplies the linear values instead of
// the levels; pins before the trace count with the linear value of the
// outside level. 0 when no point remains.
FIBERTEST_REF_EXPORT float RefMathPower(TSorData* sd, const float* lin, long start, long count, int mode);
// The same in double, without cutting the count (points past the end read
// as -65.5) and without the linear array; mode 2 counts as 1. 0 for count < 1.
FIBERTEST_REF_EXPORT double RefMathPower(TSorData* sd, long start, long count, int mode);
// The same over the points between owt1 and owt2.
FIBERTEST_REF_EXPORT double RefMathPower(TSorData* sd, double owt1, double owt2, int mode);
// Mean of weight x level over the points between owt1 and owt2; 0 for a
// reversed section.
FIBERTEST_REF_EXPORT double RefMathAveragePointInSection(TSorData* sd, double owt1, double owt2, double weight);

// ---- deviations ----

// Root-mean-square distance of the levels first..last-1 from the fit over
// first..last; yFirst, yLast the fit's ends. 0 with the outputs untouched
// when last - first < 3 or last is past the end, else 1.
FIBERTEST_REF_EXPORT int RefMathSQO(TSorData* sd, long first, long last, float& deviation, float& yFirst,
                                    float& yLast);
// sqrt(sum of lin[first..last-1]^2 / (last - first)); 0 when last - first < 4,
// for a null array and for a negative `first`.
FIBERTEST_REF_EXPORT float RefMathLinSQO(const float* lin, long first, long last);
// The root-mean-square of the linear trace over the fractions f1..f2 of it,
// as a level: from "LINF" when the trace has it (then `mean` is not
// subtracted), else from the levels less `mean`. 0 for fewer than 4 points.
// The fractions are taken within 0..1.
FIBERTEST_REF_EXPORT float RefMathLinSQO(TSorData* sd, float f1, float f2, float mean);

// ---- noise ----

// How far k noise amplitudes, averaged over n points, move the level at
// pin i, in dB; k = 0 gives half the span between k = +1 and k = -1.
// -100.0 when the noise would take the power to or below zero.
FIBERTEST_REF_EXPORT float RefMathAddNoise(TSorData* sd, long i, long n, int k);

// ---- launch level ----

// The backscatter level extrapolated to 0 km from the fit over km1..km2.
FIBERTEST_REF_EXPORT float RefMathCalcPower0(TSorData* sd, float km1, float km2);
// RefMathCalcPower0 referred to a 1 us pulse, with `loss` (dB, used when
// above 0.001) in place of the stored one. On a trace whose stored loss
// words are zero it writes the pulse correction word of AUXParams (see the
// source).
FIBERTEST_REF_EXPORT double RefMathCalcPower1uS(TSorData* sd, float km1, float km2, float loss);
