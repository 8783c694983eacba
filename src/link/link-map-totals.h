// Figures of a whole link at one wavelength, from its map: length, total
// loss and optical return loss.
#pragma once
#include "link/link-export.h"
#include "link/link-map.h"
#include "link/optional-double.h"

// Position (km) of the last node that has an event at the wavelength; absent
// if none has. Asserts that the map has the wavelength.
FIBERTEST_LINK_EXPORT OptionalDouble CalcLength(const TLinkMap& map, unsigned wavelen);

// The loss (dB) from the start of the link to its end: every fibre section
// and every event loss between them, those of nodes dropped as unknown (kept
// as overrides) included. The losses of the start and end nodes are not
// part of it: they are the connections of the instrument at either end, and
// what a trace shows there is its launch or its fall into the noise. Absent
// if nothing could be summed.
FIBERTEST_LINK_EXPORT OptionalDouble CalcTotalLoss(const TLinkMap& map, unsigned wavelen);

// The optical return loss (dB, positive) of the link seen from its start:
// the light reflected by each node after the start and scattered back by
// each fibre section, each attenuated by the round trip to it. Absent when
// nothing returns.
FIBERTEST_LINK_EXPORT OptionalDouble CalcTotalOrl(const TLinkMap& map, unsigned wavelen);

namespace detail {

// 10^(x/10): a power ratio in dB to linear.
FIBERTEST_LINK_EXPORT double CalcY(double x);
// 10 lg e: dB per neper of power, to turn an attenuation in dB/km into 1/km.
FIBERTEST_LINK_EXPORT double CalcTenLgE();

} // namespace detail
