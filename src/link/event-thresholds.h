// Named thresholds of the event decisions, per wavelength, as the threshold
// files hold them. The names are free: the file carries whatever it is given.
#pragma once
#include <cstddef>
#include <map>
#include <string>

#include "link/link-export.h"

// The thresholds of one wavelength: name -> value, ordered by name.
class FIBERTEST_LINK_EXPORT TEventThresholds
{
public:
    using Values = std::map<std::string, double>;

    TEventThresholds() = default;
    explicit TEventThresholds(Values values);

    [[nodiscard]] std::size_t GetNamesNum() const { return values_.size(); }
    // The i-th name in order.
    [[nodiscard]] const std::string& GetName(std::size_t i) const;
    // The value of `name`; null when there is none. Valid until the next change.
    [[nodiscard]] const double* GetThreshold(const std::string& name) const;
    void SetThreshold(const std::string& name, double value);
    [[nodiscard]] const Values& GetValues() const { return values_; }

    friend bool operator==(const TEventThresholds& a, const TEventThresholds& b) { return a.values_ == b.values_; }

private:
    Values values_;
};

// The thresholds of every wavelength (nm), ordered by wavelength.
class FIBERTEST_LINK_EXPORT TEventThresholdsContainer
{
public:
    using Thresholds = std::map<unsigned, TEventThresholds>;

    TEventThresholdsContainer() = default;
    explicit TEventThresholdsContainer(Thresholds thresholds);

    [[nodiscard]] std::size_t GetWavelensNum() const { return thresholds_.size(); }
    // The i-th wavelength in ascending order.
    [[nodiscard]] unsigned GetWavelen(std::size_t i) const;
    // The thresholds of `wavelen`; null when there are none. Valid until the
    // next change.
    [[nodiscard]] const TEventThresholds* GetThresholds(unsigned wavelen) const;
    void SetThresholds(unsigned wavelen, TEventThresholds thresholds);
    [[nodiscard]] const Thresholds& GetAll() const { return thresholds_; }

    friend bool operator==(const TEventThresholdsContainer& a, const TEventThresholdsContainer& b)
    {
        return a.thresholds_ == b.thresholds_;
    }

private:
    Thresholds thresholds_;
};
