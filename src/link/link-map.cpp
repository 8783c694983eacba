#include "link/link-map.h"

#include <algorithm>
#include <cassert>
#include <utility>

TLinkMap::TLinkMap(Nodes nodes, Parameters parameters, SourceTraces traces, Extras extras)
    : nodes_(std::move(nodes)), parameters_(std::move(parameters)), traces_(std::move(traces)),
      extras_(std::move(extras))
{
}

const detail::TNode& TLinkMap::GetNode(std::size_t i) const
{
    assert(i < nodes_.size());
    return nodes_[i];
}

void TLinkMap::SetNode(std::size_t i, detail::TNode node)
{
    assert(i < nodes_.size());
    nodes_[i] = std::move(node);
}

bool TLinkMap::IsEofNode(std::size_t i) const
{
    assert(i < nodes_.size());
    return i + 1 == nodes_.size();
}

std::vector<unsigned> TLinkMap::GetWavelens() const
{
    std::vector<unsigned> wavelens;
    for (const auto& node : nodes_)
        for (const auto& [w, events] : node.GetEvents())
            wavelens.push_back(w);
    for (const auto& [w, constants] : parameters_)
        wavelens.push_back(w);
    std::sort(wavelens.begin(), wavelens.end());
    wavelens.erase(std::unique(wavelens.begin(), wavelens.end()), wavelens.end());
    return wavelens;
}

std::vector<detail::Event> TLinkMap::GetEventsOfWavelen(unsigned w) const
{
    std::vector<detail::Event> events;
    for (const auto& node : nodes_) {
        const auto& own = node.GetEventsOfWavelen(w);
        if (!own.empty())
            events.push_back(own.front());
    }
    return events;
}
