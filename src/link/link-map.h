// TLinkMap: the typed map of one link, the result of the link analysis: its
// nodes in order along the link, the fibre constants per wavelength and the
// parameters of the traces it was built from.
#pragma once
#include <cstddef>
#include <map>
#include <string>
#include <vector>
#include "link/link-export.h"
#include "link/link-node.h"

// The fibre as a trace describes it, per wavelength.
struct TFiberConstants
{
    double backscatteringCoeff = 0.0;  // dB (-BC * 0.1)
    double refractiveIndex = 0.0;      // group index (GI * 1e-5)
};

// One source trace of the map, as the user is shown it.
struct TTraceParameters
{
    std::string name;                  // file name
    double refractiveIndex = 0.0;
    double backscatteringCoeff = 0.0;  // dB
    unsigned wavelength = 0;           // nm
    unsigned pulseWidth = 0;           // ns
    double measurementTime = 0.0;      // s
    double acquisitionRange = 0.0;     // km
    double resolution = 0.0;           // m between points
    double optimalDeadZone = 0.0;      // m
};

class FIBERTEST_LINK_EXPORT TLinkMap
{
public:
    using Nodes = std::vector<detail::TNode>;
    using Parameters = std::map<unsigned, TFiberConstants>;
    using SourceTraces = std::vector<TTraceParameters>;
    // Further named values of the map, such as "ponSplitterRatio".
    using Extras = std::map<std::string, double>;

    TLinkMap() = default;
    TLinkMap(Nodes nodes, Parameters parameters, SourceTraces traces = {}, Extras extras = {});

    [[nodiscard]] const Nodes& GetNodes() const { return nodes_; }
    [[nodiscard]] std::size_t GetNodesNum() const { return nodes_.size(); }
    [[nodiscard]] const detail::TNode& GetNode(std::size_t i) const;
    void SetNode(std::size_t i, detail::TNode node);
    // True for the last node.
    [[nodiscard]] bool IsEofNode(std::size_t i) const;
    // Every wavelength of the map's nodes and fibre constants, ascending.
    [[nodiscard]] std::vector<unsigned> GetWavelens() const;
    // The node's own event at wavelength w, for each node that has one.
    [[nodiscard]] std::vector<detail::Event> GetEventsOfWavelen(unsigned w) const;

    [[nodiscard]] const Parameters& GetParameters() const { return parameters_; }
    [[nodiscard]] const SourceTraces& GetSourceTraces() const { return traces_; }
    [[nodiscard]] const Extras& GetExtras() const { return extras_; }

private:
    Nodes nodes_;
    Parameters parameters_;
    SourceTraces traces_;
    Extras extras_;
};
