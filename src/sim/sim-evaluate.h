// SimEvaluate: how well the key events of an analysed trace match the true
// events of the simulated link it was made from.
//
// Terms (pulse length L = the pulse's length in fiber, one way; spacing s =
// the truth's spacing_m):
// - A true event is detectable when it lies more than 1.5 L from the start of
//   the trace, at least 2 L from the true events on either side of it, its
//   level stands at least 5 dB above the truth's noise floor, and it has a
//   step of at least 0.1 dB (either sign: a gainer is as visible as a loss),
//   a reflectance of at least -60 dB, or is the end of the fiber.
// - The level at an event is the median of the trace's points over a stretch
//   of max(L, 16 s) just ahead of it (ending one tolerance before the event,
//   never reaching back past the middle between it and the previous event):
//   the backscatter that arrives at the event, read from the trace itself.
// - Found events match true ones within the tolerance 2 s + L / 2, one to one,
//   the nearest pair first (ties to the earlier events). Every true event
//   takes part, detectable or not.
// - A false event is a found event that matches no true event. Found events
//   beyond the end (more than the tolerance past fiber_end_km) are always
//   false and are counted apart as well.
// - A found event matched to a true event that is not detectable is neither
//   a hit nor false: the event is really there, so reporting it is not an
//   error, but finding it is not required either, so it may not raise the
//   precision. It is left out of the precision altogether.
// - recall = hits / detectable; precision = hits / (hits + false), where the
//   hits are the detectable true events matched. Either is NaN when its
//   denominator is 0.
// - Errors are found minus true, of the hits: location (km); loss (dB) for
//   non-end events with a step of at least 0.2 dB whose level stands 15 dB
//   above the noise; reflectance (dB) where both are reflective (a found
//   event is reflective when its code's kind is not "0" and ER lies below 0
//   and above -100 dB, as makers write 0 or far-out values for none). A reflective
//   true event reported as non-reflective counts in `reflectanceMissing`.
//   A peak coded saturated ("2" or "D") shows only a lower bound of its
//   reflectance: when the value reported lies more than the reflectance
//   target (2 dB) below the true one it counts in `reflectanceSaturated`
//   instead of the errors.
// - The found end is the first found event whose code marks the end ("E" as
//   its second character), or the farthest found event when none does.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/sim-export.h"

class TSorData;

struct FIBERTEST_SIM_EXPORT SimTruthEvent
{
    double km = 0.0;
    std::string kind;
    std::optional<double> lossDb;         // the step the trace shows; none at the end
    std::optional<double> reflectanceDb;  // none: non-reflective
};

// What the evaluation needs of a truth file (see docs/simulator.md).
struct FIBERTEST_SIM_EXPORT SimTruth
{
    int wavelengthNm = 0;
    double pulseNs = 0.0;
    double spacingM = 0.0;
    double groupIndex = 0.0;              // 0 when the file does not give it: the trace's is used
    std::optional<double> noiseFloorDb;   // none: the trace's NF less 2.4 dB, as the simulator stores it
    double fiberEndKm = 0.0;
    std::vector<SimTruthEvent> events;    // in order along the trace
};

// Reads a truth file; throws SimError "<key>: <what>" for anything missing,
// out of range or not JSON. The events are sorted by km.
[[nodiscard]] FIBERTEST_SIM_EXPORT SimTruth SimParseTruth(const std::string& json);

struct FIBERTEST_SIM_EXPORT SimTrueEventResult
{
    double levelAboveNoiseDb = 0.0;
    bool detectable = false;
    std::string whyNot;                    // empty when detectable: the first rule it fails
    int matchedFound = -1;                 // index into SimEvaluation::found
    std::optional<double> locationErrorKm;
    std::optional<double> lossErrorDb;     // only where the loss error is measured
    std::optional<double> reflectanceErrorDb;
};

enum class SimFoundVerdict { Hit, Undetectable, False };

struct FIBERTEST_SIM_EXPORT SimFoundEvent
{
    int number = 0;                        // EN
    double km = 0.0;
    double lossDb = 0.0;
    std::optional<double> reflectanceDb;
    bool markedEnd = false;
    bool saturated = false;                // coded "2" or "D": the peak reached the top
    int matchedTrue = -1;                  // index into SimTruth::events
    SimFoundVerdict verdict = SimFoundVerdict::False;
    bool beyondEnd = false;
};

// Absolute errors: how many, their mean, 95th percentile (nearest rank) and
// maximum; all 0 without errors.
struct FIBERTEST_SIM_EXPORT SimErrorStats
{
    int count = 0;
    double meanAbs = 0.0;
    double p95Abs = 0.0;
    double maxAbs = 0.0;
};

struct FIBERTEST_SIM_EXPORT SimEvaluation
{
    double pulseLengthKm = 0.0;
    double toleranceKm = 0.0;
    std::vector<SimTrueEventResult> trueEvents;  // parallel to SimTruth::events
    std::vector<SimFoundEvent> found;            // in the table's order

    int detectable = 0;
    int hits = 0;
    int matchedUndetectable = 0;
    int falseEvents = 0;
    int beyondEnd = 0;
    int reflectanceMissing = 0;
    int reflectanceSaturated = 0;
    double recall = 0.0;
    double precision = 0.0;

    SimErrorStats location;     // km
    SimErrorStats loss;         // dB
    SimErrorStats reflectance;  // dB

    bool endFound = false;
    double endKm = 0.0;
    double endErrorKm = 0.0;    // found minus true
    bool endWithinTolerance = false;
};

// Evaluates the key events of `analysed` against the truth. The trace's own
// points give the levels; its group index places the events unless the truth
// gives one. Throws SimError when the trace has no points or no group index
// to place them with.
[[nodiscard]] FIBERTEST_SIM_EXPORT SimEvaluation SimEvaluate(const SimTruth& truth, const TSorData& analysed);

// The nearest-rank 95th percentile of the absolute values; 0 for none.
[[nodiscard]] FIBERTEST_SIM_EXPORT double SimPercentile95Abs(std::vector<double> values);
