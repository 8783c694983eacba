// Conversions of doubles to integers that no value can make undefined: a
// hostile file or a degenerate trace may yield NaN or numbers far beyond
// what the integer holds.
#pragma once

#include <cmath>
#include <limits>

// `value` truncated towards zero and held within the range of T; NaN gives 0.
template <class T>
[[nodiscard]] T truncSaturated(double value)
{
    if (std::isnan(value))
        return 0;
    if (value <= static_cast<double>(std::numeric_limits<T>::min()))
        return std::numeric_limits<T>::min();
    if (value >= static_cast<double>(std::numeric_limits<T>::max()))
        return std::numeric_limits<T>::max();
    return static_cast<T>(std::trunc(value));
}

// `value` rounded to the nearest whole number (halves away from zero) and
// held within the range of T; NaN gives the lowest value.
template <class T>
[[nodiscard]] T roundSaturated(double value)
{
    if (!(value > static_cast<double>(std::numeric_limits<T>::lowest())))
        return std::numeric_limits<T>::lowest();
    if (value >= static_cast<double>(std::numeric_limits<T>::max()))
        return std::numeric_limits<T>::max();
    return static_cast<T>(std::llround(value));
}
