// RefEvent: the numbers of a key event from the trace, the event table kept in step with its dependent blocks, return loss and the merge of two directions.
#pragma once

#include "ref/ref-export.h"

class TSorData;
class TSorBlockKeyEvents;
class TSorBlockKeyEvents1E;
class TSorBlockAUXEvents1E;

// Stateless functions over one trace (two for the template and the
// bidirectional merge). None of them owns a TSorData or an event it is
// given. Levels are on the one-way 5 x log10 scale in dB, times are one-way
// times (OWT) in 100 ps, reflectances in dB (negative), pulses in ns, the
// backscatter coefficient in dB at 1 ns. Stored event fields keep the units
// of the key-event block (0.001 dB, 0.001 dB/km, OWT).

// ---- reflectance ----

// Reflectance of a peak `h` dB above the backscatter for a pulse of `pulse`
// ns and backscatter coefficient `bc`: 10 log10((10^(h/5) - 1) pulse) + bc.
// For h <= 0 the exponent h/5 is taken as 0.0002, so the result stays finite.
FIBERTEST_REF_EXPORT double RefEventReflection(double h, double pulse, double bc);
// The inverse: the height of a peak of reflectance `r`.
FIBERTEST_REF_EXPORT double RefEventReflectionPower(double r, double pulse, double bc);

// Reflectance of a peak of height `h` at `owt`, with the trace's pulse and
// BC, corrected for the part of a short pulse's amplitude that the receiver
// does not reach.
FIBERTEST_REF_EXPORT double RefEventReflection(TSorData* sd, double owt, double h);
// Height of a peak of reflectance `r` at `owt`, with the trace's pulse and BC.
FIBERTEST_REF_EXPORT double RefEventReflectionPower(TSorData* sd, double owt, double r);
// The same, plus the fall of the fibre (`slope` in dB/km) over half a pulse.
FIBERTEST_REF_EXPORT double RefEventReflectionPower(TSorData* sd, double owt, double r, double slope);
// Reflectance of the peak at `owt2` above the base level at `owt1`.
FIBERTEST_REF_EXPORT double RefEventReflection1(TSorData* sd, double owt1, double owt2);
// Reflectance of the highest point between two times above the level at the
// earlier one; BC when the highest point is that earlier one.
FIBERTEST_REF_EXPORT double RefEventReflectionByMaxBetweenOWTs(TSorData* sd, double owt1, double owt2);
// Reflectance of an event from the levels `y1` at point `i` and `y2` at
// point `j` and its loss `d`: the mean height over one pulse behind `i`.
// 0 unless j > i and the pulse spans more than one point.
FIBERTEST_REF_EXPORT double RefEventReflection(TSorData* sd, long i, double y1, long j, double y2, double d);
// Reflectance of a wide event at point `i` on the level `level`, with the
// modelled fall across it (slopes `s1`, `s2` in dB/km before and after, loss
// `step`) taken out. 0 when the pulse is too short or runs past the trace.
FIBERTEST_REF_EXPORT double RefEventReflection(TSorData* sd, long i, double level, double s1, double s2, double step);
// The height in dB below which a peak on a base level `floor` counts as
// noise, plus `margin`: 2 (2.2 / (p + 0.5) + 0.01) with p = poww(floor - NF),
// the base's power over the noise floor. At the noise a peak must stand
// 3 dB high, more below it; on clean backscatter hardly at all. (Read the other
// way round, with NF - floor, the margin would be largest on the cleanest
// fibre, 8.8 dB, and a -40 dB end seen with a 300 ns pulse would count as no
// reflection.)
FIBERTEST_REF_EXPORT double RefEventMinReflection(TSorData* sd, double floor, double margin);
// The share of a reflection's amplitude that the receiver reaches for the
// pulse at `owt` (1 for a long pulse).
FIBERTEST_REF_EXPORT double RefEventLinAmplPulse(TSorData* sd, double owt);

// ---- one key event ----
// `event` belongs to the key events of `sd` or is about to; its markers
// ML0..ML4 must be set.

// ER and the kind EC[0] from the peak at ML4 (found over EPT..ML2 when ML4 is 0).
FIBERTEST_REF_EXPORT void RefEventRCalculate(TSorData* sd, TSorBlockKeyEvents1E* event);
// The same for an event with the negative loss `loss` (a gainer).
FIBERTEST_REF_EXPORT void RefEventRCalculateNegSplice(TSorData* sd, TSorBlockKeyEvents1E* event, double loss);
// Least-squares loss (EL, FullLoss), LMT "LS", and ACI. The first event
// (EPT 0) gets no loss and keeps its LMT.
FIBERTEST_REF_EXPORT void RefEventSCalculate(TSorData* sd, TSorBlockKeyEvents1E* event);
// ACI from the line over ML0..ML1; 0 for an empty section.
FIBERTEST_REF_EXPORT void RefEventACICalculate(TSorData* sd, TSorBlockKeyEvents1E* event);
// The end event: markers after it at the end of the trace, ER, loss, ELMP2 and ORL.
FIBERTEST_REF_EXPORT void RefEventECalculate(TSorData* sd, TSorBlockKeyEvents1E* event);
// Places a reflective event's EPT and ML2 from its peak ML4.
FIBERTEST_REF_EXPORT void RefEventMarkerR(TSorData* sd, TSorBlockKeyEvents1E* event);
// Recomputes the event that stands at index `i` of the table (the next
// event limits the search for the peak).
FIBERTEST_REF_EXPORT void RefEventRecalculate(TSorData* sd, TSorBlockKeyEvents1E* event, int i);
// Recomputes every event of `events`; with `once` non-zero only the first,
// and then answers 1. Otherwise 0.
FIBERTEST_REF_EXPORT int RefEventRecalculate(TSorData* sd, TSorBlockKeyEvents* events, int once);
// The loss of an auxiliary event between its markers ML0 and ML1, by its method.
FIBERTEST_REF_EXPORT void RefEventRecalculate(TSorData* sd, TSorBlockAUXEvents1E* event);
// 1 when the trace behind the event stands clear of the noise so that its
// loss can be measured, else 0. Both pointers must be set.
FIBERTEST_REF_EXPORT int RefEventLossMeasurable(TSorData* sd, TSorBlockKeyEvents1E* Event);
// The same for event `n` (0 for an index outside the table).
FIBERTEST_REF_EXPORT int RefEventLossMeasurable(TSorData* sd, int n);
// Distance in km of the first event whose loss cannot be measured, its
// index in `n`; 0 (and `n` untouched) when every loss can be.
FIBERTEST_REF_EXPORT double RefEventGetMeasurableDistance(TSorData* sd, int& n);
// How far the position of event `n` can be trusted, in points.
FIBERTEST_REF_EXPORT double RefEventTrusting(TSorData* sd, int n);

// ---- the event table ----
// Every change goes through these, so that the landmarks (LnkParams), the
// per-event threshold sets (RFTSParams), the comparison results
// (RFTSEvents) and, where said, the auxiliary events keep one entry per key
// event, index for index.

// Inserts a copy of `event` in order of EPT (the caller keeps `event`) and
// informs the dependent blocks; with `recalc` non-zero recomputes it.
// Answers its index, or -1 for an event outside the trace.
FIBERTEST_REF_EXPORT int RefEventAdd(TSorData* sd, const TSorBlockKeyEvents1E* event, int recalc);
// Inserts a copy of an auxiliary event in order of ML0 with its loss
// computed; 0 done, 1 for a marker outside the trace.
FIBERTEST_REF_EXPORT int RefEventAdd(TSorData* sd, const TSorBlockAUXEvents1E* event);
// With `keyEvent` 0 removes auxiliary event `i`; otherwise key event `i`
// (never the first, never one outside the table).
FIBERTEST_REF_EXPORT void RefEventDel(TSorData* sd, int i, int keyEvent);
// Removes every key event between the first and the last.
FIBERTEST_REF_EXPORT void RefEventDeleteAllButFirstAndLast(TSorData* sd);
// Removes every key event and auxiliary event; the dependent blocks are cleared.
FIBERTEST_REF_EXPORT void RefEventSorDelete(TSorData* sd);
// EN = 1..n along the table.
FIBERTEST_REF_EXPORT void RefEventENSync(TSorData* sd);
// Clears the dependent blocks and announces every event again: the
// threshold sets and comparison results start afresh, one per event, and
// landmarks lose their event references.
FIBERTEST_REF_EXPORT void RefEventRFTSSync(TSorData* sd);
// Rebuilds the auxiliary events from the key events: one per event from the
// second, over its section before (ML0..ML1), least squares, loss computed.
FIBERTEST_REF_EXPORT void RefEventSORToAUXSync(TSorData* sd);
// Index of the event nearest to `owt`; -1 without events.
FIBERTEST_REF_EXPORT int RefEventGetNumEvent(TSorData* sd, double owt);
// Index of the first event beyond `owt`; -1 when there is none.
FIBERTEST_REF_EXPORT int RefEventGetNextEvent(TSorData* sd, double owt);
// Replaces the events of `target` with those of `model`, placed by distance,
// with the model's RFTS and link parameters.
FIBERTEST_REF_EXPORT void RefEventApplyTemplate(TSorData* target, TSorData* model);
// Compares `a` with its model `b` section by section: the mean offset of a's
// backscatter against b's in `bias`, the summed deviations in `deviation`.
// Applies b's events to a first. 0 (both 0, `a` untouched) when b has fewer
// than 2 events, else 1.
FIBERTEST_REF_EXPORT int RefEventSQO(TSorData* a, TSorData* b, double& bias, double& deviation);

// ---- the link ----

// The backscattered energy between two times, as a level.
FIBERTEST_REF_EXPORT double RefEventORL(TSorData* sd, double owt1, double owt2);
// The optical return loss between two times in dB; 0 without events.
FIBERTEST_REF_EXPORT double RefEventCalcORL(TSorData* sd, double owt1, double owt2);
// ORL, RLMP1 and RLMP2 of the key events over ELMP1..ELMP2; not on a
// temperature trace.
FIBERTEST_REF_EXPORT void RefEventSetORL(TSorData* sd);
// The end-to-end loss stays as the analysis set it; kept as a hook.
FIBERTEST_REF_EXPORT void RefEventSetEEL(TSorData* sd);
// An estimate of the launch quality from the near-end reflection and the
// backscatter behind it. Answers 0 (not applicable), 1 (the receiver was
// saturated) or 2; `quality` and the reference level `p` are set with 1 and
// 2. `loss` in dB/km (0: the default of the wavelength), `level` a reference
// level (negative) or 0, `bw` non-zero to take the peak height as it is.
FIBERTEST_REF_EXPORT int RefEventLinkQuality(TSorData* sd, float& quality, float& p, float loss, float level, float bw);
// A new group index `ri` (e.g. 1.4682): GI and the attenuations follow, ORL again.
FIBERTEST_REF_EXPORT void RefEventSetNewRI(TSorData* sd, double ri);
// A new backscatter coefficient `bc` in dB (e.g. -81.0): BC and the
// reflectances follow, ORL again; not on a temperature trace.
FIBERTEST_REF_EXPORT void RefEventSetNewBC(TSorData* sd, double bc);
// Merges the event tables of two traces taken from both ends of one fibre.
// 0 done; 1 pulses, 2 spacings differ by more than 1 % (of a's), 3 the lengths
// do not match (or a table has no two ends); on 1, 2 and 3 nothing changes.
// Events of one side without a partner are copied into the other; a's inner
// events take the mean loss of both directions.
FIBERTEST_REF_EXPORT int RefEventBiDir(TSorData* a, TSorData* b);
// Inserts behind event `i` of `into` the event `j` of `from`, mirrored about
// the end of `into`, with the dependent blocks informed; answers the new
// event's index, or -1 when `i` has no event after it or `j` is not in `from`.
FIBERTEST_REF_EXPORT int RefEventInsBiDir(TSorData* into, TSorData* from, int i, int j);
