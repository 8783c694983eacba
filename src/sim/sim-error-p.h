// The simulator's way of refusing input, shared by its sources: one message
// form, "<key>: <what>", and numbers shown as the user wrote them. Private to
// src/sim; never installed.
#pragma once

#include <cstdio>
#include <string>

#include "sim/sim-link.h"

namespace detail::sim {

[[noreturn]] inline void fail(const std::string& key, const std::string& what)
{
    throw SimError(key + ": " + what);
}

inline std::string numberText(double v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g", v);
    return buffer;
}

} // namespace detail::sim
