// detail::Event: one event of one trace as the link analysis sees it, in km
// along the forward direction of the link, whichever end the trace was shot
// from.
#pragma once
#include <utility>
#include "link/link-export.h"
#include "link/optional-double.h"
#include "link/sor-data-group.h"

namespace detail {

// How far a reflectance is to be believed: "tiny" is below what the trace
// could measure (event code kind "0"), "huge" saturated the receiver (kind
// "2"), anything else is "normal".
enum class ReflectanceType { tiny = 0, normal = 1, huge = 2 };

// Its text in the link-map file: "tiny", "normal", "huge".
FIBERTEST_LINK_EXPORT const char* ReflectanceTypeName(ReflectanceType type);

// The kind and the value (dB) of a reflectance.
using AnnotatedReflectance = std::pair<ReflectanceType, double>;

struct Event
{
    double pos = 0.0;                 // km
    double leftShoulderStart = 0.0;   // km, from ML0
    double leftShoulderEnd = 0.0;     // km, from ML1
    double rightShoulderStart = 0.0;  // km, from ML2
    double rightShoulderEnd = 0.0;    // km, from ML3
    OptionalDouble loss;              // dB; only the first sub-event of a merged event has one
    AnnotatedReflectance reflectance{ReflectanceType::normal, 0.0};
    OptionalDouble sectionLoss;       // dB of the fibre section before the event
    double sectionLength = 0.0;       // km of that section
    OptionalDouble preciseWavelength; // nm, when the source is known more finely than its nominal wavelength
    bool dwdm = false;                // a DWDM channel

    // Sub-event `subIndex` of merged event `index` of a trace, in forward
    // km; only sub-event 0 carries the loss (the end event's included).
    static Event Make(const TSorDataGroup::TTrace& trace, int index, int subIndex);
};

} // namespace detail
