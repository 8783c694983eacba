// Traces with known key events for the link-analysis tests: a fibre of known
// attenuation from a launch level, stepped down by each event's loss and
// lost in the noise at its end, with the event table written by hand as an
// analysis would have written it.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "sor/sor-data.h"

namespace linktest {

// The group index of the traces made here, and the km of one OWT unit (100
// ps) at it.
constexpr double kGroupIndex = 1.4682;
constexpr double kKmPerOwt = 299792.5 / kGroupIndex * 1e-10;

// The whole OWT nearest a distance, and the km of an OWT.
[[nodiscard]] std::int32_t owtAt(double km);
[[nodiscard]] inline double kmAt(double owt) { return owt * kKmPerOwt; }

constexpr double kDefault = std::numeric_limits<double>::quiet_NaN();

// One key event. Distances in km, rounded to whole OWT units.
struct EventSpec
{
    double km = 0.0;        // EPT
    double loss = 0.0;      // dB: EL and the full loss; the trace steps down by it at EPT
    double aci = 0.0;       // dB/km, ACI of the section before
    double reflectance = 0.0;  // dB, ER
    char kind = '0';        // EC[0]: '0' tiny, '1' normal, '2' huge reflectance
    // Markers; kDefault gives ML0 = km - 0.1 (not below 0), ML1 = km,
    // ML2 = km + pulse length + one point, ML3 = ML2 + 0.1 (not past the trace).
    double ml0 = kDefault;
    double ml1 = kDefault;
    double ml2 = kDefault;
    double ml3 = kDefault;
};

struct TraceSpec
{
    double rangeKm = 30.0;        // length of the trace
    long spacingOwt = 500;        // one point in OWT units (about 10 m)
    unsigned wavelength = 1550;   // nm, NW (AW ten times it)
    double pulseNs = 100.0;
    double launchLevel = -10.0;   // dB at 0 km
    double attenuation = 0.2;     // dB/km of the trace
    double noiseLevel = -45.0;    // dB; the fibre ends in it after the last event
    // Where the fibre sinks into the noise before its end (a pulse too weak
    // to see farther); kDefault: at the last event.
    double noiseFromKm = kDefault;
    // The loss-measurability floor is the noise floor less 2 dB: -32 dB here.
    double noiseFloorDb = -30.0;
    std::uint32_t direction = 0;  // AUXParams Direction, 0 or 1
    // Span marks (AUXParams); the defaults mark the first and the last event.
    std::uint32_t spanBeginType = 3;
    std::int32_t spanBeginValue = 0;
    std::uint32_t spanEndType = 4;
    std::int32_t spanEndValue = 0;
};

// The trace: levels launchLevel - attenuation x km - the losses of the events
// passed, never below noiseLevel, and noiseLevel beyond the fibre; the
// events in the key-event table as given.
[[nodiscard]] std::unique_ptr<TSorData> makeLinkTrace(const TraceSpec& trace, const std::vector<EventSpec>& events);

} // namespace linktest
