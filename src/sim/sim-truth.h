// SimTruthJson: what a simulated trace holds, for checking what the analysis
// finds in it.
#pragma once

#include <string>

#include "sim/sim-export.h"
#include "sim/sim-model.h"
#include "sim/sim-shot.h"

// The truth file of a shot (its keys are documented in docs/simulator.md):
// wavelength_nm, pulse_ns, spacing_m, direction, fiber_end_km and the events
// with km, kind, loss_dB (the step the trace shows; null for the end) and
// reflectance_dB (null for a non-reflective event), plus the sections, the
// ghosts and the figures of the whole link. Distances run along the trace
// from its start; numbers are written to 1e-6.
[[nodiscard]] FIBERTEST_SIM_EXPORT std::string SimTruthJson(const SimShot& shot, const SimModelOutput& model);
