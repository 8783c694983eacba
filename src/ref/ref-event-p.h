// Internals shared by the RefEvent sources: the trace's units, conversions
// that never overflow, event codes and the notifications of the blocks that
// mirror the event table. Private to src/ref; never installed.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "util/saturating-cast.h"

namespace detail::refevent {

// The speed of light in km/s and the size of one OWT unit in s (100 ps).
constexpr double kLightKmPerS = 299792.5;
constexpr double kOwtUnitS = 1e-10;
// DS counts 1/10000 of an OWT unit.
constexpr double kDsScale = 10000.0;
// A pulse of D ns spans D / 0.2 OWT units of trace.
constexpr double kNsPerOwt = 0.2;

// A fractional point number as the whole point it lies in (trunc).
inline long toPin(double f)
{
    return truncSaturated<std::int32_t>(f);
}

// km per OWT unit at the trace's group index; 0 without one.
inline double kmPerOwt(const TSorData* sd)
{
    const double gi = sd->FxdParams->GI * 1e-5;
    return gi > 0.0 ? kLightKmPerS / gi * kOwtUnitS : 0.0;
}

// Distance of `owt` from the user offset, km.
inline double owtToKm(const TSorData* sd, double owt)
{
    return (owt - sd->GenParams->UO) * kmPerOwt(sd);
}

inline long owtToPin(const TSorData* sd, double owt)
{
    return toPin(sd->FxdParams->OwtTofNum(owt));
}

// The point spacing, in OWT units, of the pulse-width segment holding point n.
inline double stepAtPin(const TSorData* sd, long n)
{
    const TSorBlockFixedParameters& fxd = *sd->FxdParams;
    const int segment = fxd.NumToNPW(n);
    if (segment < 0 || static_cast<std::size_t>(segment) >= fxd.DS.size())
        return 0.0;
    return fxd.DS[static_cast<std::size_t>(segment)] / kDsScale;
}

inline double stepAtOwt(const TSorData* sd, double owt)
{
    return stepAtPin(sd, owtToPin(sd, owt));
}

// The nominal pulse at `owt`, ns.
inline double nsAt(const TSorData* sd, double owt)
{
    return sd->FxdParams->GetNsPulse(owt);
}

// The level at a marker, interpolated between the two points around it.
inline double levelAt(const TSorData* sd, double owt)
{
    return sd->OwtToLevel(owt, 1);
}

// The backscatter coefficient in dB at 1 ns (BC is stored as a positive
// number of 0.1 dB).
inline double bcDb(const TSorData* sd)
{
    return -sd->FxdParams->BC * 0.1;
}

// A trace of temperatures only ("TC" without "RL" or "AS") has no return loss
// and no reflectances.
inline bool temperatureOnly(const TSorData* sd)
{
    const TString& typ = sd->AUXParams->TYP;
    return typ.Find("TC") >= 0 && typ.Find("RL") < 0 && typ.Find("AS") < 0;
}

// Character k of an event code, NUL past its end.
inline char codeChar(const TString& code, int k)
{
    return k < code.length ? code.data[k] : '\0';
}

// Sets character k of an event code; a code too short for it is first filled
// up from the code of a new event.
inline void setCodeChar(TString& code, int k, char c)
{
    if (k >= code.length) {
        TString grown("0F9999");
        for (int i = 0; i < code.length && i < grown.length; ++i)
            grown.data[i] = code.data[i];
        code = grown;
    }
    if (k < code.length)
        code.data[k] = c;
}

// "E", "D" and "O" in the second place of the code mark an end event.
inline bool isEndEvent(const TSorBlockKeyEvents1E& e)
{
    const char c = codeChar(e.EC, 1);
    return c == 'E' || c == 'D' || c == 'O';
}

// The loss `loss` in dB stored as the least-squares calculation stores it:
// the full loss rounded to 0.001 dB, EL the same clipped at 32767. A loss
// whose thousandths truncate to exactly 32767 but round below 32768 leaves
// EL at 0: the rule compares the rounded value for the clip and the
// truncated one for the plain store, and it is kept as it is.
inline void storeLoss(TSorBlockKeyEvents1E& e, double loss)
{
    e.EL = 0;
    e.FullLoss = truncSaturated<std::int32_t>(loss * 1000.0 + 0.5);
    if (e.FullLoss >= 32768)
        e.EL = 32767;
    else if (truncSaturated<std::int32_t>(loss * 1000.0) < 32767)
        e.EL = truncSaturated<std::int16_t>(e.FullLoss);
}

inline int keyEventCount(const TSorData* sd)
{
    return sd->KeyEvents->Events.count;
}

// Key event i, or null outside the table.
inline TSorBlockKeyEvents1E* keyEvent(const TSorData* sd, int i)
{
    if (i < 0 || i >= keyEventCount(sd))
        return nullptr;
    return sd->KeyEvents->Events.data[i];
}

// TNKE follows the array after every change.
inline void syncCount(TSorData* sd)
{
    sd->KeyEvents->TNKE = truncSaturated<std::int16_t>(keyEventCount(sd));
}

// The four blocks that keep one entry per key event, informed in the order
// key events, RFTS parameters, RFTS events, link parameters.
void announceAdd(TSorData* sd, int e);
void announceDel(TSorData* sd, int e);
void announceClear(TSorData* sd);

// The most events a table takes: TNKE is 16 bits.
constexpr int kMaxEvents = std::numeric_limits<std::int16_t>::max();

} // namespace detail::refevent
