#include "sim/sim-evaluate.h"

#include <picojson.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "sim/sim-error-p.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

using detail::sim::fail;

namespace {

constexpr double lightSpeedKmS = 299792.5;
// The simulator stores NF three RMS above the floor.
constexpr double storedNoiseMarginDb = 2.4;

// Bounds that keep hostile input from costing more than a real link could.
constexpr std::size_t maxTrueEvents = 20000;
constexpr std::size_t maxCandidatePairs = 4000000;
constexpr long maxLevelWindow = 1024;

constexpr double detectableStartPulses = 1.5;
constexpr double detectableGapPulses = 2.0;
constexpr double detectableAboveNoiseDb = 5.0;
constexpr double detectableLossDb = 0.1;
constexpr double detectableReflectanceDb = -60.0;
// A saturated peak's reflectance is a lower bound: one reported below the
// truth by more than this is counted apart, not as an error; within it, or
// above the truth, it is judged as any other.
constexpr double saturatedBoundSlackDb = 2.0;
constexpr double lossErrorMinLossDb = 0.2;
constexpr double lossErrorAboveNoiseDb = 15.0;

double number(const picojson::value& v, const std::string& key, double lo, double hi)
{
    if (!v.is<double>())
        fail(key, "needs a number");
    const double x = v.get<double>();
    if (!std::isfinite(x) || x < lo || x > hi)
        fail(key, "needs a number from " + detail::sim::numberText(lo) + " to " + detail::sim::numberText(hi) +
                      ", not " + detail::sim::numberText(x));
    return x;
}

const picojson::value& member(const picojson::object& o, const std::string& name, const std::string& path)
{
    const auto it = o.find(name);
    if (it == o.end())
        fail(path + name, "missing");
    return it->second;
}

std::optional<double> optionalNumber(const picojson::object& o, const std::string& name, const std::string& path,
                                     double lo, double hi)
{
    const auto it = o.find(name);
    if (it == o.end() || it->second.is<picojson::null>())
        return std::nullopt;
    return number(it->second, path + name, lo, hi);
}

SimTruthEvent readEvent(const picojson::value& v, const std::string& path)
{
    if (!v.is<picojson::object>())
        fail(path, "needs an object");
    const auto& o = v.get<picojson::object>();
    SimTruthEvent e;
    e.km = number(member(o, "km", path + "."), path + ".km", 0.0, 10000.0);
    const picojson::value& kind = member(o, "kind", path + ".");
    if (!kind.is<std::string>())
        fail(path + ".kind", "needs a text");
    e.kind = kind.get<std::string>();
    e.lossDb = optionalNumber(o, "loss_dB", path + ".", -100.0, 100.0);
    e.reflectanceDb = optionalNumber(o, "reflectance_dB", path + ".", -200.0, 0.0);
    return e;
}

SimErrorStats statsOf(const std::vector<double>& errors)
{
    SimErrorStats s;
    s.count = static_cast<int>(errors.size());
    if (errors.empty())
        return s;
    double sum = 0.0;
    for (const double e : errors) {
        sum += std::fabs(e);
        s.maxAbs = std::max(s.maxAbs, std::fabs(e));
    }
    s.meanAbs = sum / static_cast<double>(errors.size());
    s.p95Abs = SimPercentile95Abs(errors);
    return s;
}

// The median level of the points just ahead of the true event `i`, in dB.
double levelAhead(const SimTruth& truth, std::size_t i, const TSorData& data, double pulseKm, double toleranceKm)
{
    const long points = data.DataPts->GetPointsNum();
    const double spacingKm = truth.spacingM / 1000.0;
    const double km = truth.events[i].km;
    const double lengthKm = std::max(pulseKm, 16.0 * spacingKm);
    double fromKm = km - toleranceKm - lengthKm;
    if (i > 0)
        fromKm = std::max(fromKm, 0.5 * (truth.events[i - 1].km + km));
    const auto pointOf = [&](double at) {
        const double n = std::floor(at / spacingKm);
        return static_cast<long>(std::clamp(n, 0.0, static_cast<double>(points - 1)));
    };
    const long to = pointOf(km - toleranceKm);
    const long from = std::clamp(pointOf(fromKm), to - maxLevelWindow + 1, to);
    std::vector<double> levels;
    levels.reserve(static_cast<std::size_t>(to - from + 1));
    for (long n = from; n <= to; ++n)
        levels.push_back(data.NumToLevel(n));
    const auto middle = levels.begin() + static_cast<long>(levels.size() / 2);
    std::nth_element(levels.begin(), middle, levels.end());
    return *middle;
}

// Why the true event `i` is not detectable; empty when it is.
std::string whyNotDetectable(const SimTruth& truth, std::size_t i, double levelAboveNoise, double pulseKm)
{
    const SimTruthEvent& e = truth.events[i];
    if (e.km <= detectableStartPulses * pulseKm)
        return "near the start";
    const double gap = detectableGapPulses * pulseKm;
    if ((i > 0 && e.km - truth.events[i - 1].km < gap) ||
        (i + 1 < truth.events.size() && truth.events[i + 1].km - e.km < gap))
        return "close to a neighbour";
    if (levelAboveNoise < detectableAboveNoiseDb)
        return "in the noise";
    const bool bigStep = e.lossDb && std::fabs(*e.lossDb) >= detectableLossDb;
    const bool reflective = e.reflectanceDb && *e.reflectanceDb >= detectableReflectanceDb;
    if (e.kind != "end" && !bigStep && !reflective)
        return "too small";
    return {};
}

std::vector<SimFoundEvent> foundEvents(const TSorData& data, double owtPerKm)
{
    std::vector<SimFoundEvent> found;
    const double startOwt = data.FxdParams->NumToOwt(0);
    const TSorBlockKeyEvents& table = *data.KeyEvents;
    for (int i = 0; i < table.Events.count; ++i) {
        const TSorBlockKeyEvents1E& e = *table.Events.data[i];
        SimFoundEvent f;
        f.number = e.EN;
        f.km = (e.EPT - startOwt) / owtPerKm;
        f.lossDb = (e.FullLoss != 0 ? e.FullLoss : e.EL) / 1000.0;
        // A code of kind "0" is non-reflective whatever ER holds; otherwise 0
        // or a far-out value stands for "no reflectance".
        const bool codedFlat = e.EC.length >= 1 && e.EC.data[0] == '0';
        if (!codedFlat && e.ER < 0 && e.ER > -100000)
            f.reflectanceDb = e.ER / 1000.0;
        f.markedEnd = e.EC.length >= 2 && e.EC.data[1] == 'E';
        f.saturated = e.EC.length >= 1 && (e.EC.data[0] == '2' || e.EC.data[0] == 'D');
        found.push_back(f);
    }
    return found;
}

// One to one, the nearest pair first; ties go to the earlier true, then the
// earlier found event.
void match(const SimTruth& truth, SimEvaluation& out)
{
    std::vector<std::size_t> byKm(out.found.size());
    for (std::size_t f = 0; f < byKm.size(); ++f)
        byKm[f] = f;
    std::sort(byKm.begin(), byKm.end(),
              [&](std::size_t a, std::size_t b) { return out.found[a].km < out.found[b].km; });
    std::vector<std::tuple<double, std::size_t, std::size_t>> pairs;
    for (std::size_t t = 0; t < truth.events.size(); ++t) {
        const double km = truth.events[t].km;
        auto it = std::lower_bound(byKm.begin(), byKm.end(), km - out.toleranceKm,
                                   [&](std::size_t f, double at) { return out.found[f].km < at; });
        for (; it != byKm.end() && out.found[*it].km <= km + out.toleranceKm; ++it) {
            if (pairs.size() >= maxCandidatePairs)
                fail("events", "too many found events within the tolerance of the true ones");
            pairs.emplace_back(std::fabs(out.found[*it].km - km), t, *it);
        }
    }
    std::sort(pairs.begin(), pairs.end());
    for (const auto& [distance, t, f] : pairs) {
        if (out.trueEvents[t].matchedFound >= 0 || out.found[f].matchedTrue >= 0)
            continue;
        out.trueEvents[t].matchedFound = static_cast<int>(f);
        out.found[f].matchedTrue = static_cast<int>(t);
    }
}

void score(const SimTruth& truth, SimEvaluation& out)
{
    std::vector<double> location;
    std::vector<double> loss;
    std::vector<double> reflectance;
    for (std::size_t t = 0; t < truth.events.size(); ++t) {
        SimTrueEventResult& r = out.trueEvents[t];
        const SimTruthEvent& e = truth.events[t];
        if (r.detectable)
            ++out.detectable;
        if (r.matchedFound < 0)
            continue;
        SimFoundEvent& f = out.found[static_cast<std::size_t>(r.matchedFound)];
        if (!r.detectable) {
            f.verdict = SimFoundVerdict::Undetectable;
            ++out.matchedUndetectable;
            continue;
        }
        f.verdict = SimFoundVerdict::Hit;
        ++out.hits;
        r.locationErrorKm = f.km - e.km;
        location.push_back(*r.locationErrorKm);
        if (e.lossDb && e.kind != "end" && std::fabs(*e.lossDb) >= lossErrorMinLossDb &&
            r.levelAboveNoiseDb >= lossErrorAboveNoiseDb) {
            r.lossErrorDb = f.lossDb - *e.lossDb;
            loss.push_back(*r.lossErrorDb);
        }
        if (e.reflectanceDb && f.reflectanceDb && f.saturated &&
            *f.reflectanceDb < *e.reflectanceDb - saturatedBoundSlackDb) {
            ++out.reflectanceSaturated;
        } else if (e.reflectanceDb && f.reflectanceDb) {
            r.reflectanceErrorDb = *f.reflectanceDb - *e.reflectanceDb;
            reflectance.push_back(*r.reflectanceErrorDb);
        } else if (e.reflectanceDb) {
            ++out.reflectanceMissing;
        }
    }
    for (SimFoundEvent& f : out.found) {
        if (f.verdict == SimFoundVerdict::False)
            ++out.falseEvents;
        f.beyondEnd = f.km > truth.fiberEndKm + out.toleranceKm;
        if (f.beyondEnd)
            ++out.beyondEnd;
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    out.recall = out.detectable > 0 ? out.hits / static_cast<double>(out.detectable) : nan;
    const int judged = out.hits + out.falseEvents;
    out.precision = judged > 0 ? out.hits / static_cast<double>(judged) : nan;
    out.location = statsOf(location);
    out.loss = statsOf(loss);
    out.reflectance = statsOf(reflectance);
}

} // namespace

SimTruth SimParseTruth(const std::string& json)
{
    picojson::value root;
    const std::string error = picojson::parse(root, json);
    if (!error.empty())
        fail("truth", "not JSON: " + error.substr(0, error.find('\n')));
    if (!root.is<picojson::object>())
        fail("truth", "needs an object");
    const auto& o = root.get<picojson::object>();
    SimTruth truth;
    truth.wavelengthNm = static_cast<int>(number(member(o, "wavelength_nm", ""), "wavelength_nm", 1.0, 100000.0));
    truth.pulseNs = number(member(o, "pulse_ns", ""), "pulse_ns", 1e-3, 100000.0);
    truth.spacingM = number(member(o, "spacing_m", ""), "spacing_m", 1e-4, 1000.0);
    truth.fiberEndKm = number(member(o, "fiber_end_km", ""), "fiber_end_km", 0.0, 10000.0);
    truth.groupIndex = optionalNumber(o, "group_index", "", 1.0, 3.0).value_or(0.0);
    truth.noiseFloorDb = optionalNumber(o, "noise_floor_dB", "", -200.0, 0.0);
    const picojson::value& events = member(o, "events", "");
    if (!events.is<picojson::array>())
        fail("events", "needs a list");
    const auto& list = events.get<picojson::array>();
    if (list.size() > maxTrueEvents)
        fail("events", "more than " + std::to_string(maxTrueEvents));
    for (std::size_t i = 0; i < list.size(); ++i)
        truth.events.push_back(readEvent(list[i], "events[" + std::to_string(i) + "]"));
    std::stable_sort(truth.events.begin(), truth.events.end(),
                     [](const SimTruthEvent& a, const SimTruthEvent& b) { return a.km < b.km; });
    return truth;
}

SimEvaluation SimEvaluate(const SimTruth& truth, const TSorData& analysed)
{
    const double groupIndex = truth.groupIndex > 0.0 ? truth.groupIndex : analysed.FxdParams->GI * 1e-5;
    if (!(groupIndex > 0.0))
        fail("trace", "has no group index");
    if (analysed.DataPts->GetPointsNum() < 1)
        fail("trace", "has no points");
    if (!(truth.pulseNs > 0.0 && truth.spacingM > 0.0))
        fail("truth", "needs a pulse and a spacing above 0");
    const double owtPerKm = groupIndex / (lightSpeedKmS * 1e-10);
    const double noiseFloorDb = truth.noiseFloorDb.value_or(analysed.FxdParams->GetNF() - storedNoiseMarginDb);

    SimEvaluation out;
    // A pulse of T ns fills T / 2 ns of one-way time.
    out.pulseLengthKm = truth.pulseNs * 5.0 / owtPerKm;
    out.toleranceKm = 2.0 * truth.spacingM / 1000.0 + 0.5 * out.pulseLengthKm;
    out.trueEvents.resize(truth.events.size());
    for (std::size_t t = 0; t < truth.events.size(); ++t) {
        SimTrueEventResult& r = out.trueEvents[t];
        r.levelAboveNoiseDb = levelAhead(truth, t, analysed, out.pulseLengthKm, out.toleranceKm) - noiseFloorDb;
        r.whyNot = whyNotDetectable(truth, t, r.levelAboveNoiseDb, out.pulseLengthKm);
        r.detectable = r.whyNot.empty();
    }
    out.found = foundEvents(analysed, owtPerKm);
    match(truth, out);
    score(truth, out);

    if (!out.found.empty()) {
        const auto marked = std::find_if(out.found.begin(), out.found.end(),
                                         [](const SimFoundEvent& f) { return f.markedEnd; });
        out.endFound = true;
        const auto nearer = [](const SimFoundEvent& a, const SimFoundEvent& b) { return a.km < b.km; };
        const auto farthest = std::max_element(out.found.begin(), out.found.end(), nearer);
        out.endKm = marked != out.found.end() ? marked->km : farthest->km;
        out.endErrorKm = out.endKm - truth.fiberEndKm;
        out.endWithinTolerance = std::fabs(out.endErrorKm) <= out.toleranceKm;
    }
    return out;
}

double SimPercentile95Abs(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    for (double& v : values)
        v = std::fabs(v);
    std::sort(values.begin(), values.end());
    // Nearest rank: the smallest value that at least 95 % of them do not exceed.
    const std::size_t rank = (95 * values.size() + 99) / 100;
    return values[rank - 1];
}
