// Traces of our own built from a level for each point, for tests that need
// a trace whose every value is known: one pulse width, 1550 nm, the group
// index 1.4682, levels stored to 0.001 dB as our instruments store them.
#pragma once

#include <functional>
#include <memory>

#include "sor/sor-data.h"

namespace owntrace {

struct Shape
{
    double pulseNs = 100.0;
    long spacingOwt = 5;          // one point in OWT units (5 x 100 ps, about 0.51 m)
    double noiseFloorDb = -30.0;
    bool rangeToLastPoint = false;  // AR set to the last point (else 0, no range recorded)
    bool linear = false;            // with the linear companion "LINF" a load would add
};

// `n` points with the levels `level(i)` in dB (0 or below), the level range
// computed as a load computes it, TYP "RL", no events.
[[nodiscard]] std::unique_ptr<TSorData> makeTrace(long n, const std::function<double(long)>& level,
                                                  const Shape& shape = {});

} // namespace owntrace
