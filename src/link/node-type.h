// The type of a link-map node from the events matched at one place of the
// link: link start and end, splitters of a PON, connectors, splices and
// macrobends.
#pragma once
#include <cstddef>
#include "link/link-export.h"
#include "link/link-node.h"
#include "link/matched-event.h"

class TEventsMatcher;

namespace detail {

// A splitter the link is said to have (by the PON settings of its traces),
// not yet found. With `anyRatio` its ratio is not known and any splitter of
// at least 1:4 takes it.
struct ExpectedSplitter
{
    bool anyRatio = false;
    unsigned ratio = 1;
};

// What decides a node's type beside its events.
struct NodeTypeContext
{
    bool first = false;                     // the first node of the map
    bool last = false;                      // the last one
    bool waitingForSplitter = false;        // a splitter is expected and not yet found
    ExpectedSplitter expected;              // the one expected
    std::size_t wavelenDirectionsPairs = 0; // of the group the events came from
    double macrobendThreshold = 1.0;        // dB of loss difference between the events
    double minWeldingLoss = 0.01;           // dB: a smaller non-reflective loss is no splice
};

// The rules, in order: link start, link end, an expected splitter (a loss of
// at least the ideal splitter's with no strong reflection), a macrobend (a
// non-reflective loss that differs between wavelengths by more than the
// threshold), an APC connector, a connector, a splice ("welding"), unknown.
FIBERTEST_LINK_EXPORT TNode::Type DeduceNodeType(const MatchedEvents& events, const NodeTypeContext& context);

// The same for matched event i of the matcher.
FIBERTEST_LINK_EXPORT TNode::Type DeduceNodeType(const TEventsMatcher& matcher, std::size_t i, bool waitingForSplitter,
                                                 const ExpectedSplitter& expected, double macrobendThreshold,
                                                 double minWeldingLoss = 0.01);

} // namespace detail

// The loss of an ideal 1:ratio splitter, 10 lg(ratio) dB.
FIBERTEST_LINK_EXPORT double CalcIdealPonSplitterLoss(unsigned ratio);
// The largest power of two up to 8192 whose ideal loss is below `loss`; 1 if none is.
FIBERTEST_LINK_EXPORT unsigned CalcIdealPonSplitterRatio(double loss);
