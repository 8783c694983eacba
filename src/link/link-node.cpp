#include "link/link-node.h"

#include <cassert>
#include <iterator>
#include <utility>

namespace detail {

namespace {

const char* const typeNames[] = {
    "linkStart", "linkEnd", "subscriberSplitter", "connector", "apcConnector",
    "welding", "macrobend", "officeSplitter", "unknown",
};

} // namespace

TNode::TNode(Type type, EventsMap events, std::string comment, unsigned splitterRatio)
    : type_(type), events_(std::move(events)), comment_(std::move(comment)), splitterRatio_(splitterRatio)
{
}

TNode::TNode(const TNode& node, OverridesMap overrides)
    : TNode(node)
{
    overrides_ = std::move(overrides);
}

unsigned TNode::GetWavelen(std::size_t i) const
{
    assert(i < GetWavelensNum());
    return std::next(events_.begin(), static_cast<std::ptrdiff_t>(i))->first;
}

const Event& TNode::GetEvent(std::size_t i) const
{
    assert(i < GetWavelensNum());
    const auto& events = std::next(events_.begin(), static_cast<std::ptrdiff_t>(i))->second;
    assert(!events.empty());
    return events.front();
}

const std::vector<Event>& TNode::GetEventsOfWavelen(unsigned w) const
{
    static const std::vector<Event> none;
    const auto it = events_.find(w);
    return it == events_.end() ? none : it->second;
}

std::vector<Event> TNode::GetMergedEventsForWavelen(std::size_t i) const
{
    assert(i < GetWavelensNum());
    const auto& events = std::next(events_.begin(), static_cast<std::ptrdiff_t>(i))->second;
    if (events.size() <= 1)
        return {};
    return {events.begin() + 1, events.end()};
}

double TNode::GetAverPosForWavelen(std::size_t i) const { return GetEvent(i).pos; }
double TNode::GetAverLenForWavelen(std::size_t i) const { return GetEvent(i).sectionLength; }
OptionalDouble TNode::GetAverSectionLossForWavelen(std::size_t i) const { return GetEvent(i).sectionLoss; }
OptionalDouble TNode::GetAverEventLossForWavelen(std::size_t i) const { return GetEvent(i).loss; }
AnnotatedReflectance TNode::GetMaxReflForWavelen(std::size_t i) const { return GetEvent(i).reflectance; }
OptionalDouble TNode::GetPreciseWavelenForWavelen(std::size_t i) const { return GetEvent(i).preciseWavelength; }
bool TNode::IsDwdmWavelen(std::size_t i) const { return GetEvent(i).dwdm; }

double TNode::CalcAverPos() const
{
    assert(GetWavelensNum() > 0);
    double sum = 0.0;
    for (std::size_t i = 0; i < GetWavelensNum(); ++i)
        sum += GetAverPosForWavelen(i);
    return sum / static_cast<double>(GetWavelensNum());
}

OptionalDouble TNode::CalcAverEventLoss() const
{
    assert(GetWavelensNum() > 0);
    double sum = 0.0;
    bool any = false;
    for (std::size_t i = 0; i < GetWavelensNum(); ++i) {
        const OptionalDouble loss = GetAverEventLossForWavelen(i);
        if (loss.first) {
            sum += loss.second;
            any = true;
        }
    }
    if (!any)
        return NoValue();
    return MakeOptionalDouble(sum / static_cast<double>(GetWavelensNum()));
}

const char* NodeTypeName(TNode::Type type)
{
    const auto n = static_cast<int>(type);
    return n >= 0 && n <= static_cast<int>(TNode::unknown) ? typeNames[n] : "unknown";
}

bool NodeTypeFromName(const std::string& name, TNode::Type& type)
{
    for (int n = 0; n <= static_cast<int>(TNode::unknown); ++n) {
        if (name == typeNames[n]) {
            type = static_cast<TNode::Type>(n);
            return true;
        }
    }
    return false;
}

} // namespace detail
