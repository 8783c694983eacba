// Where a loss without reflection begins, from the whole of its fall rather
// than the first point the walk saw off the line.
#pragma once

#include "auto/auto-export.h"

class TSorData;
class TEventLine;

// The km at which the step between `before` and `after` (consecutive lines
// of a trace) begins, or `fallback` when it cannot be told.
//
// Behind a step the trace falls from the line before to the line after over
// one pulse, smoothed by the receiver. In linear power the share of the fall
// made by x, f(x), rises from 0 to 1; the integral of 1 - f from the end of
// the line before to the start of the line after is the distance to the
// centre of the fall, which is half a pulse and the receiver's mean delay
// behind the step. Every point of the fall counts, so the noise of each
// averages out and a small step is placed as well as a large one; a
// threshold crossing is placed late on a small step, by as much as the
// noise delays it.
//
// The walk finds a step where its fall first stands out of the noise, never
// before it begins: the estimate may only move it earlier, by at most a
// pulse. The step stays where it was when the lines are less than 0.03 dB
// apart (either way: a gain is located as a loss) or too short to hold
// the fall.
FIBERTEST_AUTO_EXPORT double LocateStepKm(TSorData* sor, const TEventLine& before, const TEventLine& after,
                                          double pulseOwt, double fallback);
