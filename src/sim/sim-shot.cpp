#include "sim/sim-shot.h"

#include <algorithm>
#include <cstdio>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>

#include "sim/sim-error-p.h"

using detail::sim::fail;
using detail::sim::numberText;

namespace {

// The speed of light of every distance in the trace model, km/s.
constexpr double lightSpeedKmS = 299792.5;

// The ranges an instrument offers, km.
constexpr double standardRangesKm[] = {0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 40.0, 80.0, 120.0, 160.0, 240.0, 320.0, 400.0};
// The spacings it offers, m.
constexpr double standardSpacingsM[] = {0.05, 0.1, 0.25, 0.5, 1.0, 2.0, 4.0, 8.0, 16.0, 32.0, 64.0};
// Points an automatic spacing aims to stay within.
constexpr double autoSpacingPoints = 128000.0;

// Linear interpolation in a table of (nm, value), held at its ends.
double interpolate(const double (*table)[2], std::size_t n, int nm)
{
    if (nm <= table[0][0])
        return table[0][1];
    for (std::size_t i = 1; i < n; ++i)
        if (nm <= table[i][0]) {
            const double f = (nm - table[i - 1][0]) / (table[i][0] - table[i - 1][0]);
            return table[i - 1][1] + f * (table[i][1] - table[i - 1][1]);
        }
    return table[n - 1][1];
}

// A link cut into its three parts: the elements at the instrument's port
// (before the first fiber), those between, and the end.
struct LinkParts
{
    std::vector<const SimElement*> port;
    std::vector<const SimElement*> middle;
    const SimElement* end = nullptr;
};

LinkParts splitLink(const SimLink& link)
{
    LinkParts parts;
    bool fiberSeen = false;
    for (const SimElement& e : link.elements) {
        if (parts.end != nullptr)
            fail(e.path, "nothing may follow the end of the link");
        if (e.kind == SimElementKind::End)
            parts.end = &e;
        else if (e.kind == SimElementKind::Fiber || fiberSeen) {
            fiberSeen = true;
            parts.middle.push_back(&e);
        } else {
            parts.port.push_back(&e);
        }
    }
    if (!fiberSeen)
        fail("link", "no fiber");
    return parts;
}

// The physical properties of one element at the shot's wavelength; the same
// in both directions except where said.
struct Resolved
{
    const SimElement* element = nullptr;
    double lossDb = 0.0;          // the light's loss through it
    double shiftForwardDb = 0.0;  // splice with loss_back_dB: change of backscatter behind it, forward
    std::optional<double> reflectanceDb;
    double km = 0.0;
    double dBPerKm = 0.0;
    double backscatterDb = 0.0;
};

Resolved resolveElement(const SimElement& e, int nm, double otdrBackscatter)
{
    Resolved r;
    r.element = &e;
    if (e.reflectanceDb.given())
        r.reflectanceDb = e.reflectanceDb.at(nm);
    switch (e.kind) {
    case SimElementKind::Fiber:
        r.km = e.km;
        r.dBPerKm = e.dBPerKm.at(nm, SimDefaultAttenuation(nm));
        r.backscatterDb = e.backscatterDb.at(nm, otdrBackscatter);
        break;
    case SimElementKind::Splitter:
        r.lossDb = 10.0 * std::log10(static_cast<double>(e.ratio)) + e.lossDb.at(nm, 0.0);
        break;
    case SimElementKind::Splice:
        // Seen from both ends a splice between unlike fibers shows two
        // different steps; the light loses their mean, and the rest is the
        // change of backscatter from one fiber to the other.
        r.lossDb = e.lossDb.at(nm);
        if (e.lossBackDb.given()) {
            const double back = e.lossBackDb.at(nm);
            r.shiftForwardDb = back - r.lossDb;
            r.lossDb = 0.5 * (r.lossDb + back);
        }
        if (r.lossDb < 0.0)
            fail(e.path, e.lossBackDb.given()
                             ? std::string("the mean of loss_dB and loss_back_dB is below 0: no splice amplifies")
                             : std::string("a negative loss (a gainer) needs loss_back_dB, the loss seen from the "
                                           "far end"));
        break;
    case SimElementKind::Connector:
    case SimElementKind::Bend:
        r.lossDb = e.lossDb.at(nm);
        break;
    case SimElementKind::End:
        break;
    }
    return r;
}

void placeEvent(SimShot& shot, const Resolved& r, double km, bool atPort, double lossBefore)
{
    SimEvent ev;
    ev.kind = r.element->kind;
    ev.km = km;
    ev.lossDb = r.lossDb;
    ev.apparentLossDb = r.lossDb;
    ev.reflectanceDb = r.reflectanceDb;
    ev.atPort = atPort;
    ev.lossBeforeDb = lossBefore;
    shot.events.push_back(ev);
    if (ev.kind == SimElementKind::Splitter)
        shot.splitterRatios.push_back(r.element->ratio);
}

// Lays the resolved elements out along the trace: sections with their
// levels, events with their apparent steps.
void layOut(SimShot& shot, const std::vector<Resolved>& port, const std::vector<Resolved>& middle,
            const Resolved& end, bool forward)
{
    // Backscatter coefficient of each fiber with the shifts of the splices
    // before it (forward order), a property of the fiber itself.
    std::vector<double> fiberBackscatter(middle.size(), 0.0);
    double shift = 0.0;
    for (std::size_t i = 0; i < middle.size(); ++i) {
        fiberBackscatter[i] = middle[i].backscatterDb + shift;
        shift += middle[i].shiftForwardDb;
    }

    for (const Resolved& r : port)
        placeEvent(shot, r, 0.0, true, 0.0);

    double km = 0.0;
    double lossSoFar = 0.0;  // one-way loss behind the port, dB
    double firstBackscatter = 0.0;
    bool haveSection = false;
    // The events at one place between two sections, for their apparent steps.
    std::size_t groupStart = shot.events.size();
    double beforeBackscatter = 0.0;
    const auto settleGroup = [&](std::optional<double> afterBackscatter) {
        // The events of a group share the step between the two fibers; the
        // change of backscatter that no splice explains goes to the first.
        double own = 0.0;
        for (std::size_t i = groupStart; i < shot.events.size(); ++i)
            own += shot.events[i].lossDb - shot.events[i].apparentLossDb;
        const double unexplained = afterBackscatter ? (*afterBackscatter - beforeBackscatter) - 2.0 * own : 0.0;
        if (haveSection && afterBackscatter && groupStart < shot.events.size())
            shot.events[groupStart].apparentLossDb -= 0.5 * unexplained;
    };

    const std::size_t n = middle.size();
    for (std::size_t k = 0; k < n; ++k) {
        const std::size_t i = forward ? k : n - 1 - k;
        const Resolved& r = middle[i];
        if (r.element->kind == SimElementKind::Fiber) {
            const double bc = fiberBackscatter[i];
            if (!haveSection)
                firstBackscatter = bc;
            else
                settleGroup(bc);
            SimSection s;
            s.startKm = km;
            s.endKm = km + r.km;
            s.dBPerKm = r.dBPerKm;
            s.backscatterDb = bc;
            s.startLevelDb = shot.launchDb + 0.5 * (bc - firstBackscatter) - lossSoFar;
            s.lossBeforeDb = lossSoFar;
            shot.sections.push_back(s);
            haveSection = true;
            km = s.endKm;
            lossSoFar += r.km * r.dBPerKm;
            beforeBackscatter = bc;
            groupStart = shot.events.size();
            continue;
        }
        placeEvent(shot, r, km, false, lossSoFar);
        // A splice between unlike fibers shows its own step in each direction.
        const double shiftHere = forward ? r.shiftForwardDb : -r.shiftForwardDb;
        shot.events.back().apparentLossDb = r.lossDb - 0.5 * shiftHere;
        lossSoFar += r.lossDb;
    }
    settleGroup(std::nullopt);
    placeEvent(shot, end, km, false, lossSoFar);
    shot.events.back().lossDb = 0.0;
    shot.events.back().apparentLossDb = 0.0;
    shot.fiberEndKm = km;
}

double standardRange(double fiberEndKm)
{
    const double wanted = fiberEndKm * 1.2 + 0.2;
    for (double r : standardRangesKm)
        if (r >= wanted)
            return r;
    return std::min(500.0, std::ceil(wanted / 40.0) * 40.0);
}

double standardSpacing(double rangeKm)
{
    for (double s : standardSpacingsM)
        if (rangeKm * 1000.0 / s <= autoSpacingPoints)
            return s;
    return standardSpacingsM[std::size(standardSpacingsM) - 1];
}

void makeGrid(SimShot& shot, const SimLimits& limits)
{
    shot.gi = static_cast<std::int32_t>(std::lround(shot.groupIndex * 100000.0));
    shot.owtPerKm = shot.gi * 1e-5 / (lightSpeedKmS * 1e-10);
    const double ds = std::round(shot.spacingM / 1000.0 * shot.owtPerKm * 10000.0);
    if (ds < 1.0)
        fail("otdr.spacing_m", "too small");
    shot.ds = static_cast<std::int32_t>(ds);
    shot.rangeOwt = static_cast<std::int32_t>(std::lround(shot.rangeKm * shot.owtPerKm));
    const double points = std::floor(shot.rangeOwt / shot.stepOwt()) + 1.0;
    if (points > static_cast<double>(limits.maxPoints))
        fail("otdr.range_km", "a range of " + numberText(shot.rangeKm) + " km at " + numberText(shot.spacingM) +
                                  " m makes " + numberText(points) + " points; at most " +
                                  std::to_string(limits.maxPoints));
    if (points < 2.0)
        fail("otdr.range_km", "shorter than two points");
    shot.points = static_cast<long>(points);
}

} // namespace

double SimDefaultAttenuation(int nm)
{
    static const double table[][2] = {{850, 2.2},   {1300, 0.34}, {1310, 0.33}, {1383, 0.29},
                                      {1490, 0.21}, {1550, 0.19}, {1625, 0.21}, {1650, 0.23}};
    return interpolate(table, std::size(table), nm);
}

double SimDefaultBackscatter(int nm)
{
    // Rayleigh scattering less the capture of a wider mode: -81.7 dB at
    // 1550 nm, -79.4 dB at 1310 nm.
    return -81.7 + 31.0 * std::log10(1550.0 / nm);
}

double SimDefaultGroupIndex(int nm)
{
    return 1.4676 + (nm - 1310) * (0.0006 / 240.0);
}

double SimShot::backscatterLevelAt(double km) const
{
    for (const SimSection& s : sections)
        if (km >= s.startKm && km < s.endKm)
            return s.startLevelDb - s.dBPerKm * (km - s.startKm);
    if (!sections.empty() && km < sections.front().startKm)
        return sections.front().startLevelDb;
    return -std::numeric_limits<double>::infinity();
}

SimShot SimResolveShot(const SimLink& link, const SimShotOptions& options, const SimLimits& limits)
{
    const SimOtdr& o = link.otdr;
    SimShot shot;
    shot.wavelengthNm = options.wavelengthNm.value_or(o.wavelengthNm);
    if (shot.wavelengthNm < 600 || shot.wavelengthNm > 1700)
        fail("wavelength", std::to_string(shot.wavelengthNm) + " nm is outside 600 to 1700 nm");
    const int nm = shot.wavelengthNm;
    shot.pulseNs = options.pulseNs.value_or(o.pulseNs.at(nm, 100.0));
    if (!(shot.pulseNs >= 1.0 && shot.pulseNs <= 20000.0))
        fail("pulse", "outside 1 to 20000 ns");
    shot.groupIndex = o.groupIndex.at(nm, SimDefaultGroupIndex(nm));
    shot.backscatterDb = o.backscatterDb.at(nm, SimDefaultBackscatter(nm));
    shot.launchDb = o.launchDb.at(nm, -3.0);
    // Each tenfold of the pulse gains about 6 dB of dynamic range.
    const double floorDefault = shot.launchDb - (28.0 + 6.0 * std::log10(shot.pulseNs / 100.0));
    shot.noiseFloorDb = o.noiseFloorDb.at(nm, std::clamp(floorDefault, -60.0, -5.0));
    // A receiver matched to the pulse: about 1000/T MHz for a pulse of T ns.
    shot.receiverMhz = o.receiverMhz.at(nm, std::clamp(1000.0 / shot.pulseNs, 0.05, 100.0));
    shot.averagingS = o.averagingS.at(nm, 15.0);
    // By default the thresholds ask for what a careful user asks for: every
    // loss of 0.1 dB and every reflection of -60 dB or more.
    shot.lossThresholdDb = o.lossThresholdDb.at(nm, 0.1);
    shot.reflectanceThresholdDb = o.reflectanceThresholdDb.at(nm, -60.0);
    shot.endThresholdDb = o.endThresholdDb.at(nm, 3.0);
    shot.ghosts = o.ghosts;
    shot.seed = options.seed.value_or(o.seed);
    shot.timestamp = o.timestamp;
    shot.direction = options.direction;

    const LinkParts parts = splitLink(link);
    std::vector<Resolved> port;
    std::vector<Resolved> middle;
    for (const SimElement* e : parts.port)
        port.push_back(resolveElement(*e, nm, shot.backscatterDb));
    double fiberKm = 0.0;
    for (const SimElement* e : parts.middle) {
        middle.push_back(resolveElement(*e, nm, shot.backscatterDb));
        fiberKm += middle.back().km;
    }
    if (fiberKm > 500.0)
        fail("link", "the fibers add up to " + numberText(fiberKm) + " km; at most 500");
    // Without an end element the link ends in a non-reflective break.
    SimElement implicitEnd;
    implicitEnd.kind = SimElementKind::End;
    implicitEnd.path = "link";
    const Resolved end = resolveElement(parts.end != nullptr ? *parts.end : implicitEnd, nm, shot.backscatterDb);

    // Seen from the far end the instrument is connected there as it was at
    // the near end, and the near end is terminated as the end says.
    layOut(shot, port, middle, end, options.direction == SimDirection::Forward);

    shot.rangeKm = o.rangeKm.at(nm, standardRange(shot.fiberEndKm));
    shot.spacingM = o.spacingM.at(nm, standardSpacing(shot.rangeKm));
    makeGrid(shot, limits);
    return shot;
}
