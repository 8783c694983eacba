#include "link/event-thresholds.h"

#include <cassert>
#include <iterator>
#include <utility>

TEventThresholds::TEventThresholds(Values values)
    : values_(std::move(values))
{
}

const std::string& TEventThresholds::GetName(std::size_t i) const
{
    assert(i < GetNamesNum());
    return std::next(values_.begin(), static_cast<std::ptrdiff_t>(i))->first;
}

const double* TEventThresholds::GetThreshold(const std::string& name) const
{
    const auto it = values_.find(name);
    return it == values_.end() ? nullptr : &it->second;
}

void TEventThresholds::SetThreshold(const std::string& name, double value) { values_[name] = value; }

TEventThresholdsContainer::TEventThresholdsContainer(Thresholds thresholds)
    : thresholds_(std::move(thresholds))
{
}

unsigned TEventThresholdsContainer::GetWavelen(std::size_t i) const
{
    assert(i < GetWavelensNum());
    return std::next(thresholds_.begin(), static_cast<std::ptrdiff_t>(i))->first;
}

const TEventThresholds* TEventThresholdsContainer::GetThresholds(unsigned wavelen) const
{
    const auto it = thresholds_.find(wavelen);
    return it == thresholds_.end() ? nullptr : &it->second;
}

void TEventThresholdsContainer::SetThresholds(unsigned wavelen, TEventThresholds thresholds)
{
    thresholds_[wavelen] = std::move(thresholds);
}
