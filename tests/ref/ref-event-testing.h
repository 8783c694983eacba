// Traces and key events for the RefEvent tests: positions are given in points
// of the traces of reftest::makeTrace (5 OWT units a point, from OWT 0).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "ref-test-helpers.h"
#include "ref/ref-event.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

namespace refeventtest {

// km per OWT unit at the group index of the test traces.
constexpr double kKmPerOwt = 299792.5 / (reftest::kGroupIndex * 1e-5) * 1e-10;

inline double atPin(long pin)
{
    return static_cast<double>(pin * reftest::kSpacingOwt);
}

// reftest::makeTrace with the display range computed as a load computes it:
// its lower end is the floor that levels are held to.
inline std::unique_ptr<TSorData> makeTrace(const std::vector<double>& levels, long spacingOwt = reftest::kSpacingOwt,
                                           double noiseFloorDb = -30.0)
{
    auto sd = reftest::makeTrace(levels, spacingOwt, noiseFloorDb);
    sd->CalculateValues();
    return sd;
}

// A key event at point `ept` with the sections ml0..ml1 before and ml2..ml3
// after it (points), ML4 unknown.
inline TSorBlockKeyEvents1E eventAt(long ept, long ml0, long ml1, long ml2, long ml3, const char* code = "0F9999")
{
    TSorBlockKeyEvents1E e;
    e.EPT = static_cast<std::int32_t>(atPin(ept));
    e.ML0 = static_cast<std::int32_t>(atPin(ml0));
    e.ML1 = static_cast<std::int32_t>(atPin(ml1));
    e.ML2 = static_cast<std::int32_t>(atPin(ml2));
    e.ML3 = static_cast<std::int32_t>(atPin(ml3));
    e.EC = code;
    return e;
}

// Adds a copy of `e` to the table without recomputing it; answers its index.
inline int addEvent(TSorData& sd, const TSorBlockKeyEvents1E& e)
{
    const int index = RefEventAdd(&sd, &e, 0);
    EXPECT_GE(index, 0);
    return index;
}

} // namespace refeventtest
