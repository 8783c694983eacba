// SimBuildTrace: a simulated shot as the trace document an instrument of
// ours writes.
#pragma once

#include <string>

#include "sim/sim-export.h"
#include "sim/sim-model.h"
#include "sim/sim-shot.h"

class TSorData;

// The supplier name of simulated traces (one of the trusted names).
FIBERTEST_SIM_EXPORT extern const char* const SimSupplierName;

// Replaces the contents of `data` (which the caller owns) by the shot:
// second edition, one pulse segment, points at a scale factor of 1000,
// AUXParams at revision 228 with the log scale, noise records, receiver
// bandwidth and the hash of the points. With `withEvents` the key-event table
// holds the true events of the link, markers included; otherwise it is
// empty.
FIBERTEST_SIM_EXPORT void SimBuildTrace(const SimShot& shot, const SimModelOutput& model, TSorData& data,
                                        bool withEvents);

// The key-event table of the true events alone (`data` already holds the
// shot's points and parameters).
FIBERTEST_SIM_EXPORT void SimWriteKeyEvents(const SimShot& shot, const SimModelOutput& model, TSorData& data);

// The whole way from a link file's text to the bytes of a trace; the truth
// file's text too when `truth` is given. Throws SimError.
[[nodiscard]] FIBERTEST_SIM_EXPORT std::string SimSynthesize(const std::string& linkJson,
                                                             const SimShotOptions& options, bool withEvents,
                                                             std::string* truth = nullptr,
                                                             const SimLimits& limits = {});
