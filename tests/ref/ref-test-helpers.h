// Traces built from given levels for the trace-mathematics tests, so that
// every expected value can be worked out by hand.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "sor/sor-data.h"

namespace reftest {

// The sampling of the traces made here: 5 x 100 ps a point (about 0.51 m
// at the group index 1.4682), a 100 ns pulse at 1550 nm.
constexpr long kSpacingOwt = 5;      // one point in OWT units
constexpr int kPulseNs = 100;
constexpr int kGroupIndex = 146820;  // 1.4682 in units of 1e-5
constexpr int kBcTenths = 810;       // backscatter coefficient -81.0 dB

// A trace of our own with these levels (dB, 0 or below; stored to 0.001 dB
// as an instrument does), one pulse width, spacing DS = `spacingOwt` x
// 10000, the noise floor `noiseFloorDb` and no events. TYP is "RL". Call
// SetLinf() for the linear companion "LINF" that a load would add.
[[nodiscard]] std::unique_ptr<TSorData> makeTrace(const std::vector<double>& levels, long spacingOwt = kSpacingOwt,
                                                  double noiseFloorDb = -30.0);

// `n` levels from a function of the point number.
[[nodiscard]] std::vector<double> levelsOf(long n, const std::function<double(long)>& level);

// A straight fibre: `start` dB at point 0 falling `fallPerPoint` dB a point.
[[nodiscard]] std::vector<double> straightLine(long n, double start, double fallPerPoint);

// The level a trace keeps for `level` (0.001 dB steps, rounded the way we
// write our own traces).
[[nodiscard]] double stored(double level);

} // namespace reftest
