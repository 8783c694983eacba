#include "link/link-map-totals.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>

namespace {

// Light speed in vacuum, km per ns.
constexpr double lightKmPerNs = 299792.458e-9;

bool IsWavelentPresent(const TLinkMap& map, unsigned wavelen)
{
    const std::vector<unsigned> wavelens = map.GetWavelens();
    return std::find(wavelens.begin(), wavelens.end(), wavelen) != wavelens.end();
}

// One stretch of the link as the return loss sees it: a fibre section and
// the node that ends it.
struct Stretch
{
    double lengthKm = 0.0;
    double sectionLossDb = 0.0;
    double eventLossDb = 0.0;            // at the node, after its reflection
    double reflectanceDb = 0.0;
    bool reflects = false;
};

// The running sum of the power returned by the stretches up to i, linear
// and relative to the launched power: gamma(i) = gamma(i-1) + a*b + c, with
// a the round-trip transmission to the start of the section, b what the
// section scatters back, and c the node's reflection brought back through
// the whole round trip to it. Computed once per stretch, in order.
class GammaSum
{
public:
    GammaSum(std::vector<Stretch> stretches, double backscatterPerKm)
        : stretches_(std::move(stretches)), backscatterPerKm_(backscatterPerKm)
    {
    }

    [[nodiscard]] std::size_t size() const { return stretches_.size(); }

    double CalcGamma(std::size_t i)
    {
        if (i < cache.size())
            return cache[i];
        assert(i == cache.size());
        const Stretch& s = stretches_[i];
        const double before = i == 0 ? 0.0 : CalcGamma(i - 1);
        const double a = detail::CalcY(-2.0 * lossSoFar_);
        const double b = scatteredBy(s);
        lossSoFar_ += s.sectionLossDb;
        const double c = s.reflects ? detail::CalcY(s.reflectanceDb) * detail::CalcY(-2.0 * lossSoFar_) : 0.0;
        lossSoFar_ += s.eventLossDb;
        cache.push_back(before + a * b + c);
        return cache.back();
    }

private:
    // Backscatter of a section of length L and attenuation alpha (1/km): the
    // integral of beta * exp(-2 alpha z) over the section, beta the
    // backscatter per km.
    [[nodiscard]] double scatteredBy(const Stretch& s) const
    {
        if (s.lengthKm <= 0.0)
            return 0.0;
        const double alpha = s.sectionLossDb / s.lengthKm / detail::CalcTenLgE();
        if (std::fabs(alpha) < 1e-12)
            return backscatterPerKm_ * s.lengthKm;
        return backscatterPerKm_ / (2.0 * alpha) * (1.0 - std::exp(-2.0 * alpha * s.lengthKm));
    }

    std::vector<Stretch> stretches_;
    double backscatterPerKm_;
    std::vector<double> cache;
    double lossSoFar_ = 0.0;  // dB one way, to where the last stretch ended
};

} // namespace

namespace detail {

double CalcY(double x)
{
    return std::pow(10.0, x * 0.1);
}

double CalcTenLgE()
{
    return 10.0 * std::log10(std::exp(1.0));
}

} // namespace detail

OptionalDouble CalcLength(const TLinkMap& map, unsigned wavelen)
{
    assert(IsWavelentPresent(map, wavelen));
    for (std::size_t i = map.GetNodesNum(); i-- > 0;) {
        const auto& events = map.GetNode(i).GetEventsOfWavelen(wavelen);
        if (!events.empty())
            return MakeOptionalDouble(events.front().pos);
    }
    return NoValue();
}

OptionalDouble CalcTotalLoss(const TLinkMap& map, unsigned wavelen)
{
    assert(IsWavelentPresent(map, wavelen));
    double sum = 0.0;
    bool any = false;
    const auto add = [&](const OptionalDouble& v) {
        if (v.first) {
            sum += v.second;
            any = true;
        }
    };
    for (std::size_t i = 0; i < map.GetNodesNum(); ++i) {
        const detail::TNode& node = map.GetNode(i);
        const auto overrides = node.GetOverrides().find(wavelen);
        if (overrides != node.GetOverrides().end())
            for (const detail::Event& e : overrides->second.events) {
                add(e.sectionLoss);
                add(e.loss);
            }
        const auto& events = node.GetEventsOfWavelen(wavelen);
        if (events.empty())
            continue;
        if (i > 0)
            add(events.front().sectionLoss);
        if (i > 0 && !map.IsEofNode(i))
            add(events.front().loss);
    }
    return any ? MakeOptionalDouble(sum) : NoValue();
}

OptionalDouble CalcTotalOrl(const TLinkMap& map, unsigned wavelen)
{
    assert(IsWavelentPresent(map, wavelen));
    // The backscatter per km of fibre under continuous light: a pulse of
    // tau ns returns B * tau (B the 1 ns coefficient) from a length of
    // v * tau / 2 of fibre, so 2 B / v per km, v = c / n.
    double backscatterPerKm = 0.0;
    const auto constants = map.GetParameters().find(wavelen);
    if (constants != map.GetParameters().end() && constants->second.refractiveIndex > 0.0) {
        const double v = lightKmPerNs / constants->second.refractiveIndex;
        backscatterPerKm = 2.0 * detail::CalcY(constants->second.backscatteringCoeff) / v;
    }
    std::vector<Stretch> stretches;
    const auto addEvent = [&stretches](const detail::Event& e, bool withLoss) {
        Stretch s;
        s.lengthKm = std::max(0.0, e.sectionLength);
        s.sectionLossDb = e.sectionLoss.first ? e.sectionLoss.second : 0.0;
        s.eventLossDb = withLoss && e.loss.first ? e.loss.second : 0.0;
        // A reflectance of 0 dB or more would return more light than was
        // sent: a file that stores return losses as positive numbers, or
        // none at all. It is no measurement, and neither is one far below
        // anything a trace can show.
        s.reflects = e.reflectance.first != detail::ReflectanceType::tiny && e.reflectance.second < 0.0 &&
                     e.reflectance.second > -100.0;
        s.reflectanceDb = e.reflectance.second;
        stretches.push_back(s);
    };
    // The start node is the instrument's own connection: its reflection is
    // not the link's, and its section is empty.
    for (std::size_t i = 1; i < map.GetNodesNum(); ++i) {
        const detail::TNode& node = map.GetNode(i);
        const auto overrides = node.GetOverrides().find(wavelen);
        if (overrides != node.GetOverrides().end())
            for (const detail::Event& e : overrides->second.events)
                addEvent(e, true);
        const auto& events = node.GetEventsOfWavelen(wavelen);
        if (!events.empty())
            addEvent(events.front(), !map.IsEofNode(i));
    }
    if (stretches.empty())
        return NoValue();
    GammaSum gamma(std::move(stretches), backscatterPerKm);
    double total = 0.0;
    for (std::size_t i = 0; i < gamma.size(); ++i)
        total = gamma.CalcGamma(i);
    if (!(total > 0.0))
        return NoValue();
    return MakeOptionalDouble(-10.0 * std::log10(total));
}
