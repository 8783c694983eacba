// SimRunModel: the physics of one OTDR shot, from a resolved link to the
// points of a trace.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/sim-export.h"
#include "sim/sim-shot.h"

// An echo of two reflections that the trace shows where no event is.
struct FIBERTEST_SIM_EXPORT SimGhost
{
    double km = 0.0;             // where it shows, from the start of the trace
    double reflectanceDb = 0.0;  // the reflectance an event there would need for the same peak
};

struct FIBERTEST_SIM_EXPORT SimModelOutput
{
    std::vector<std::uint16_t> raw;  // the points: 0.001 dB below 0 dB
    std::vector<float> clean;        // the same shot without noise, dB (-99 where there is no light)
    // The log scale of the points (see TSorBlockAUXParameters): the level of
    // one unit of the linear scale, and the compression of negative values.
    double logBaseDb = -40.0;
    int negScale = 2;
    double fallDbPerKm = 0.0;  // the receiver's fall after a reflection, trace dB per km
    double orlDb = 0.0;        // optical return loss of the link, dB
    std::vector<SimGhost> ghosts;
};

// The shot: backscatter and Fresnel reflections (and ghosts when asked) as the
// link's impulse response, convolved in the linear domain with the pulse
// (rectangular with a finite rise) and the receiver (single pole at its
// bandwidth), then the receiver's saturation at the top of the scale with its
// slow recovery, Gaussian noise of the receiver's bandwidth at the noise
// floor, and the log scale quantised to 0.001 dB. The same shot and seed
// give the same points on every platform that rounds the standard
// functions alike.
[[nodiscard]] FIBERTEST_SIM_EXPORT SimModelOutput SimRunModel(const SimShot& shot);

// The receiver's single-pole time constant in one-way time (100 ps units).
[[nodiscard]] FIBERTEST_SIM_EXPORT double SimReceiverTauOwt(double receiverMhz);

// A linear value (1 = 0 dB) as a level of the log scale with base `baseDb`
// and negative compression `negScale`, before quantisation; at most 0.
[[nodiscard]] FIBERTEST_SIM_EXPORT double SimLinearToLevel(double linear, double baseDb, int negScale);
