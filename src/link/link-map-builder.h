// BuildLinkMap: from the analysed traces of one link (several pulses, several
// wavelengths, both ends) to its typed map.
#pragma once
#include <utility>
#include <vector>
#include "link/link-export.h"
#include "link/link-map.h"
#include "link/matched-event.h"
#include "link/node-type.h"

class TSorDataGroup;
class TEventsMatcher;

// The loss difference between wavelengths (dB) above which a non-reflective
// event is a macrobend: 1.0.
FIBERTEST_LINK_EXPORT double CalcDefaultMaxEventDispersionThreshold(const TSorDataGroup& group);

// `maxEventDispersionThreshold`: as above. `minWeldingLoss`: the least loss
// (dB) of a non-reflective event typed as a splice; 0.01 in the two-argument
// form.
FIBERTEST_LINK_EXPORT TLinkMap BuildLinkMap(const TSorDataGroup& group, double maxEventDispersionThreshold);
FIBERTEST_LINK_EXPORT TLinkMap BuildLinkMap(const TSorDataGroup& group, double maxEventDispersionThreshold,
                                            double minWeldingLoss);

// The nodes without those of type unknown. The events of a dropped node are
// carried, as overrides, by the next node that is kept.
FIBERTEST_LINK_EXPORT std::vector<detail::TNode> FilterOutUnknownNodes(const std::vector<detail::TNode>& nodes);

// The node's sub-events of the wavelength that has the most; the lower
// wavelength on a tie, none without wavelengths.
FIBERTEST_LINK_EXPORT std::vector<detail::Event> FindMaxWavelenMergedEvents(const detail::TNode& node);

namespace detail {

// The matched events of one place, one pair (forward, backward) per
// wavelength in ascending wavelength; either side may be absent, not both.
using PairedMatchedEvents = std::vector<std::pair<const MatchedEvent*, const MatchedEvent*>>;
FIBERTEST_LINK_EXPORT PairedMatchedEvents BuildPairedMatchedEvents(const MatchedEvents& events);

// The node of matched event i: per wavelength the mean of both directions.
FIBERTEST_LINK_EXPORT TNode MakeNode(const TEventsMatcher& matcher, std::size_t i, bool waitingForSplitter,
                                     const ExpectedSplitter& expected, double macrobendThreshold,
                                     double minWeldingLoss);

} // namespace detail
