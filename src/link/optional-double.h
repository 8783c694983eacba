// OptionalDouble: a value of the link analysis that may be absent (a loss
// that cannot be measured, a span end the trace does not mark). `first` says
// whether `second` holds a value.
#pragma once
#include <utility>

using OptionalDouble = std::pair<bool, double>;

inline OptionalDouble MakeOptionalDouble(double value) { return {true, value}; }
inline OptionalDouble NoValue() { return {false, 0.0}; }
