// Private helpers shared by the RefAuto sources; never installed.
#pragma once

#include <algorithm>
#include <cmath>

#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"
#include "util/saturating-cast.h"

namespace refauto {

// Level of point i in dB as the analysis reads it: -65.5 outside the trace.
inline float level(const TSorData* sd, long i)
{
    return sd->DataPts->numTofLevel(i);
}

inline long pointCount(const TSorData* sd)
{
    return static_cast<long>(sd->DataPts->Levels.size());
}

// km per OWT unit (100 ps) at the trace's group index; 0 without one.
inline double kmPerOwt(const TSorData* sd)
{
    const double gi = sd->FxdParams->GI * 1e-5;
    return gi > 0.0 ? 299792.5 / gi * 1e-10 : 0.0;
}

// The distance in km between the points i and j (positive for j > i).
inline double kmBetween(const TSorData* sd, long i, long j)
{
    return (sd->FxdParams->NumToOwt(j) - sd->FxdParams->NumToOwt(i)) * kmPerOwt(sd);
}

// Point spacing of the segment holding point i, in OWT units.
inline double spacingOwt(const TSorData* sd, long i)
{
    const auto& fxd = *sd->FxdParams;
    if (fxd.DS.empty())
        return 0.0;
    return fxd.DS[static_cast<std::size_t>(fxd.NumToNPW(i))] / 10000.0;
}

// Walks that may start or end outside the trace read only the constant
// outside level there; so that a hostile pin cannot make a walk run for
// ever, pins are held within one trace length (plus one) of either end.
// Within that margin every answer is exact.
inline long boundPin(const TSorData* sd, long i)
{
    const long n = pointCount(sd);
    return std::clamp(i, -n - 1, 2 * n + 1);
}

} // namespace refauto
