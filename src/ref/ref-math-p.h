// Internals shared by the RefMath sources: fast level reads and the limits
// that keep absurd pin ranges from turning into endless loops.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>

#include "sor/sor-block-data-points.h"
#include "sor/sor-data.h"

namespace refmath::detail {

// How far beyond either end of the trace a range of pins is followed. A fit
// may reach past an end and read the outside level there, but a million
// points of nothing are more than any analysis asks for; pins further out
// are pulled in to this reach, so that hostile numbers cannot make a loop
// run for ever.
constexpr long kPinReach = 1L << 20;

// The levels of a trace read straight from the cache of the data points:
// one compare a point, no call.
class LevelReader
{
public:
    explicit LevelReader(const TSorData* sd)
        : levels_(sd->DataPts->Levels.data()), count_(static_cast<long>(sd->DataPts->Levels.size()))
    {
    }

    [[nodiscard]] long count() const { return count_; }

    // The float level of pin i; the outside level for a pin not in the trace.
    [[nodiscard]] float at(long i) const
    {
        return (i >= 0 && i < count_) ? levels_[static_cast<std::size_t>(i)] : TSorBlockDataPoints::OutsideLevel;
    }

    // The levels i..i+n-1 when they all lie in the trace, else null.
    [[nodiscard]] const float* span(long i, long n) const
    {
        return (i >= 0 && n >= 0 && i <= count_ - n) ? levels_ + i : nullptr;
    }

private:
    const float* levels_;
    long count_;
};

// The pin within the reach of a trace of `count` points.
[[nodiscard]] inline long clampPin(long pin, long count)
{
    if (pin < -kPinReach)
        return -kPinReach;
    if (pin > count + kPinReach)
        return count + kPinReach;
    return pin;
}

// trunc(x) as a pin; NaN reads as -1 (before the trace), and values beyond
// the range of a long are held at its ends.
[[nodiscard]] inline long truncPin(double x)
{
    if (std::isnan(x))
        return -1;
    constexpr double limit = 9.0e18;
    if (x >= limit)
        return static_cast<long>(limit);
    if (x <= -limit)
        return -static_cast<long>(limit);
    return static_cast<long>(x);
}

} // namespace refmath::detail
