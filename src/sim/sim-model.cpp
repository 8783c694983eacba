#include "sim/sim-model.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double ln10 = 2.302585092994046;
// The slope of the log scale's linear stretch |x| <= 2 (5 log10(2) / 2).
constexpr double log5Slope = 0.752574989159953;
// One ns of round-trip time is 5 units of one-way time (100 ps each).
constexpr double owtPerNs = 5.0;

// The model runs on a grid finer than the points where the pulse is short
// against the spacing, within these bounds.
constexpr int maxOversampling = 16;
constexpr long maxFineCells = 1L << 22;
// Rise (and fall) of the laser pulse, ns; at most a quarter of the pulse.
constexpr double laserRiseNs = 1.0;
// The points keep noise below the base compressed by this factor.
constexpr int negativeCompression = 2;
// The base of the log scale stands this far below the noise floor, so that
// noise is mostly logarithmic; never below this level, so that the
// compressed negative noise stays within the 16 bits of a point.
constexpr double baseBelowFloorDb = 3.0;
constexpr double lowestBaseDb = -60.0;
// Recovery after saturation: the receiver's own time constant twice, and 2 ns
// for each dB of overload, up to 30 dB.
constexpr double recoveryNsPerDb = 2.0;
constexpr double maxOverloadDb = 30.0;
// Ghosts weaker than this reflectance are left out, and only the strongest
// reflections make them.
constexpr double weakestGhostDb = -100.0;
constexpr std::size_t maxGhostSources = 64;
// The level of "no light" among the noiseless levels.
constexpr float darkLevel = -99.0f;

double linear(double levelDb)
{
    return std::pow(10.0, levelDb / 5.0);
}

// Gaussian numbers from a 64-bit Mersenne twister by the Box-Muller
// transform, the same sequence on every platform for a seed.
class Gaussian
{
public:
    explicit Gaussian(std::uint64_t seed) : rng(seed) {}

    double next()
    {
        if (haveSpare) {
            haveSpare = false;
            return spare;
        }
        const double r = std::sqrt(-2.0 * std::log(uniform()));
        const double angle = 2.0 * pi * uniform();
        spare = r * std::sin(angle);
        haveSpare = true;
        return r * std::cos(angle);
    }

private:
    // Uniform in (0, 1]: the top 53 bits, never 0 for the logarithm.
    double uniform() { return (static_cast<double>(rng() >> 11) + 1.0) * 0x1.0p-53; }

    std::mt19937_64 rng;
    double spare = 0.0;
    bool haveSpare = false;
};

// The fine grid: `k` cells per point of `delta` one-way time each; cell m
// ends at time m * delta and holds what arrives in (m - 1, m] * delta.
struct FineGrid
{
    int k = 1;
    double delta = 1.0;
    long lagCells = 0;  // the receiver's delay, taken out when points are read
    long cells = 0;
};

FineGrid makeFineGrid(const SimShot& shot, double pulseOwt, double lagOwt)
{
    FineGrid g;
    const double step = shot.stepOwt();
    // At least four cells a pulse, so that short pulses keep their height.
    const double wanted = std::ceil(4.0 * step / pulseOwt);
    g.k = static_cast<int>(std::clamp(wanted, 1.0, static_cast<double>(maxOversampling)));
    g.k = static_cast<int>(std::max(1L, std::min(static_cast<long>(g.k), maxFineCells / std::max(shot.points, 1L))));
    g.delta = step / g.k;
    g.lagCells = std::lround(lagOwt / g.delta);
    g.cells = (shot.points - 1) * g.k + g.lagCells + 1;
    return g;
}

// Adds the backscatter of a section, density rho * exp(-kappa (t - ta)) per
// unit of time over [ta, tb), cell by cell.
void addBackscatter(std::vector<double>& cells, const FineGrid& g, double ta, double tb, double rho, double kappa)
{
    if (!(tb > ta) || !(rho > 0.0))
        return;
    const auto integral = [kappa](double len) { return kappa > 0.0 ? -std::expm1(-kappa * len) / kappa : len; };
    const double fullIntegral = integral(g.delta);
    const double fullDecay = std::exp(-kappa * g.delta);
    const long n = static_cast<long>(cells.size());
    long m = std::max(0L, static_cast<long>(std::floor(ta / g.delta)) + 1);
    double u = ta;
    double factor = 1.0;  // exp(-kappa (u - ta))
    for (; m < n && u < tb; ++m) {
        const double v = std::min(tb, static_cast<double>(m) * g.delta);
        const double len = v - u;
        if (len >= g.delta * (1.0 - 1e-12)) {
            cells[static_cast<std::size_t>(m)] += rho * factor * fullIntegral;
            factor *= fullDecay;
        } else if (len > 0.0) {
            cells[static_cast<std::size_t>(m)] += rho * factor * integral(len);
            factor *= std::exp(-kappa * len);
        }
        u = v;
    }
}

void addImpulse(std::vector<double>& cells, const FineGrid& g, double t, double area)
{
    const double m = t <= 0.0 ? 0.0 : std::ceil(t / g.delta);
    if (m < static_cast<double>(cells.size()))
        cells[static_cast<std::size_t>(m)] += area;
}

void prefixSum(std::vector<double>& v)
{
    double sum = 0.0;
    for (double& x : v) {
        sum += x;
        x = sum;
    }
}

// From prefix sums F to (F(m) - F(m - width)) * scale at every cell, with F
// linear between cells and 0 before the first.
void windowFromPrefix(std::vector<double>& f, double width, double scale)
{
    const long whole = static_cast<long>(std::floor(width));
    const double frac = width - static_cast<double>(whole);
    const auto at = [&f](long i) { return i >= 0 ? f[static_cast<std::size_t>(i)] : 0.0; };
    for (long m = static_cast<long>(f.size()) - 1; m >= 0; --m) {
        // F(m - width) between the cells m - whole - 1 and m - whole.
        const double back = at(m - whole) * (1.0 - frac) + at(m - whole - 1) * frac;
        f[static_cast<std::size_t>(m)] = (f[static_cast<std::size_t>(m)] - back) * scale;
    }
}

void singlePole(std::vector<double>& f, double a)
{
    double y = 0.0;
    for (double& x : f) {
        y = a * y + (1.0 - a) * x;
        x = y;
    }
}

// The reflections of the shot, for the impulse response and the ghosts.
struct Reflector
{
    double t = 0.0;      // one-way time
    double r = 0.0;      // reflectance, linear
    double loss = 0.0;   // one-way loss from the port, dB
};

// One-way loss from the port to `km` along the trace (sections and events
// before it); at the end of the fiber for any place beyond.
double lossAt(const SimShot& shot, double km)
{
    double loss = 0.0;
    for (const SimSection& s : shot.sections)
        if (km >= s.startKm)
            loss = s.lossBeforeDb + s.dBPerKm * (std::min(km, s.endKm) - s.startKm);
    for (const SimEvent& e : shot.events)
        if (!e.atPort && e.km < km && e.lossBeforeDb + e.lossDb > loss)
            loss = e.lossBeforeDb + e.lossDb;
    return loss;
}

} // namespace

double SimReceiverTauOwt(double receiverMhz)
{
    return owtPerNs * 1000.0 / (2.0 * pi * receiverMhz);
}

double SimLinearToLevel(double linearValue, double baseDb, int negScale)
{
    const double u = linearValue / linear(baseDb);
    double l = std::fabs(u) <= 2.0 ? u * log5Slope : std::copysign(5.0 * std::log10(std::fabs(u)), u);
    if (l < 0.0)
        l /= negScale;
    return std::min(0.0, baseDb + l);
}

SimModelOutput SimRunModel(const SimShot& shot)
{
    SimModelOutput out;
    if (shot.points < 1 || shot.sections.empty())
        return out;
    const double pulseOwt = owtPerNs * shot.pulseNs;
    const double tau = SimReceiverTauOwt(shot.receiverMhz);
    const double riseOwt = owtPerNs * std::min(laserRiseNs, shot.pulseNs / 4.0);
    // The instrument places time zero where a step reaches half its height.
    const FineGrid g = makeFineGrid(shot, pulseOwt, tau * std::log(2.0));
    std::vector<double> f(static_cast<std::size_t>(g.cells), 0.0);

    // Backscatter: the density that a pulse of unit height turns into the
    // section's level.
    for (const SimSection& s : shot.sections) {
        const double kappa = s.dBPerKm * ln10 / (5.0 * shot.owtPerKm);
        addBackscatter(f, g, shot.kmToOwt(s.startKm), shot.kmToOwt(s.endKm), linear(s.startLevelDb) / pulseOwt,
                       kappa);
    }

    // Reflections: a reflectance R on a backscatter b of coefficient S (per
    // ns) stands R / (S T) above it for a pulse of T ns, whatever the fiber;
    // in units of the launch that is C R times the two-way loss.
    const double firstBackscatter = std::pow(10.0, shot.sections.front().backscatterDb / 10.0);
    const double c = linear(shot.launchDb) / (firstBackscatter * shot.pulseNs);
    std::vector<Reflector> reflectors;
    for (const SimEvent& e : shot.events)
        if (e.reflectanceDb) {
            Reflector r{shot.kmToOwt(e.km), std::pow(10.0, *e.reflectanceDb / 10.0), e.lossBeforeDb};
            addImpulse(f, g, r.t, c * r.r * linear(-r.loss));
            reflectors.push_back(r);
        }

    // Ghosts: light reflected at j, again at an earlier i and once more at
    // j shows at 2 t_j - t_i, with R_i R_j^2 and the extra round trip i..j.
    if (shot.ghosts) {
        std::vector<Reflector> strong = reflectors;
        std::sort(strong.begin(), strong.end(), [](const Reflector& a, const Reflector& b) {
            return a.r * linear(-a.loss) > b.r * linear(-b.loss);
        });
        strong.resize(std::min(strong.size(), maxGhostSources));
        std::sort(strong.begin(), strong.end(), [](const Reflector& a, const Reflector& b) { return a.t < b.t; });
        const double lastOwt = static_cast<double>(shot.points - 1) * shot.stepOwt();
        for (std::size_t j = 0; j < strong.size(); ++j)
            for (std::size_t i = 0; i < j; ++i) {
                const Reflector& a = strong[i];
                const Reflector& b = strong[j];
                const double t = 2.0 * b.t - a.t;
                if (!(b.t > a.t) || t > lastOwt)
                    continue;
                const double area = c * a.r * b.r * b.r * linear(-b.loss) * linear(-(b.loss - a.loss));
                const double km = t / shot.owtPerKm;
                const double apparent = 10.0 * std::log10(area / (c * linear(-lossAt(shot, km))));
                if (apparent < weakestGhostDb)
                    continue;
                addImpulse(f, g, t, area);
                out.ghosts.push_back({km, apparent});
            }
        std::sort(out.ghosts.begin(), out.ghosts.end(),
                  [](const SimGhost& a, const SimGhost& b) { return a.km < b.km; });
    }

    // The pulse, its rise, the receiver.
    prefixSum(f);
    windowFromPrefix(f, pulseOwt / g.delta, 1.0);
    if (riseOwt / g.delta > 1e-6) {
        prefixSum(f);
        windowFromPrefix(f, riseOwt / g.delta, g.delta / riseOwt);
    }
    singlePole(f, std::exp(-g.delta / tau));

    // Saturation, noise, the log scale.
    out.logBaseDb = std::round(std::max(shot.noiseFloorDb - baseBelowFloorDb, lowestBaseDb) * 1000.0) / 1000.0;
    out.negScale = negativeCompression;
    out.fallDbPerKm = 5.0 / ln10 / tau * shot.owtPerKm;
    const std::size_t n = static_cast<std::size_t>(shot.points);
    out.raw.resize(n);
    out.clean.resize(n);
    const double step = shot.stepOwt();
    const double sigma = linear(shot.noiseFloorDb);
    // Noise of the receiver's bandwidth: correlated from point to point.
    const double noiseMemory = std::exp(-step / tau);
    const double noiseFresh = std::sqrt(1.0 - noiseMemory * noiseMemory);
    Gaussian gauss(shot.seed);
    double noise = sigma * gauss.next();
    double hold = 0.0;
    double holdDecay = 0.0;
    double overloadDb = 0.0;
    bool saturated = false;
    long previous = -1;
    for (std::size_t p = 0; p < n; ++p) {
        const long idx = static_cast<long>(p) * g.k + g.lagCells;
        double peak = f[static_cast<std::size_t>(idx)];
        for (long j = std::max(previous + 1, 0L); j < idx; ++j)
            peak = std::max(peak, f[static_cast<std::size_t>(j)]);
        previous = idx;
        if (p > 0)
            noise = noiseMemory * noise + noiseFresh * sigma * gauss.next();
        if (peak >= 1.0) {
            // The top of the scale: flat, and the deeper the overload the
            // slower the receiver recovers.
            overloadDb = std::max(overloadDb, 5.0 * std::log10(peak));
            saturated = true;
            hold = 1.0;
            out.raw[p] = 0;
            out.clean[p] = 0.0f;
            continue;
        }
        if (saturated) {
            saturated = false;
            const double recovery = 2.0 * tau + owtPerNs * recoveryNsPerDb * std::min(overloadDb, maxOverloadDb);
            holdDecay = std::exp(-step / recovery);
            overloadDb = 0.0;
        }
        hold *= holdDecay;
        const double signal = std::max(f[static_cast<std::size_t>(idx)], hold);
        out.clean[p] = signal > 1e-30 ? static_cast<float>(std::max(5.0 * std::log10(signal), -99.0)) : darkLevel;
        const double level = SimLinearToLevel(signal + noise, out.logBaseDb, out.negScale);
        // Levels past the 16 bits of a point stay at their ends.
        out.raw[p] = std::isfinite(level)
                         ? static_cast<std::uint16_t>(std::clamp(-level * 1000.0, 0.0, 65535.0) + 0.5)
                         : std::uint16_t{0};
    }

    // Return loss: every reflection and the backscatter of every section,
    // each with its two-way loss.
    double returned = 0.0;
    for (const Reflector& r : reflectors)
        returned += r.r * linear(-r.loss);
    for (const SimSection& s : shot.sections) {
        const double kappa = s.dBPerKm * ln10 / (5.0 * shot.owtPerKm);
        const double len = shot.kmToOwt(s.endKm - s.startKm);
        const double span = kappa > 0.0 ? -std::expm1(-kappa * len) / kappa : len;
        returned += std::pow(10.0, s.backscatterDb / 10.0) * linear(-s.lossBeforeDb) * span / owtPerNs;
    }
    out.orlDb = returned > 0.0 ? -10.0 * std::log10(returned) : 0.0;
    return out;
}
