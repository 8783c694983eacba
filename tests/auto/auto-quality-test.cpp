// TAuto on simulated traces: the events it finds against the simulator's truth.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <picojson.h>

#include "auto/auto.h"
#include "auto/event-line.h"
#include "sim/sim-shot.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"

namespace {

struct TrueEvent
{
    double km = 0.0;
    double loss = 0.0;          // NaN for none
    double reflectance = 0.0;   // NaN for none
    std::string kind;
};

struct Shot
{
    std::unique_ptr<TSorData> sor;
    std::vector<TrueEvent> events;
    double endKm = 0.0;
    double pulseNs = 0.0;
    double spacingM = 0.0;
    double noiseFloor = 0.0;
    double launch = 0.0;
};

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

double numberOr(const picojson::value& v, double fallback)
{
    return v.is<double>() ? v.get<double>() : fallback;
}

Shot simulate(const std::string& scenario, int wavelength, std::uint64_t seed,
              SimDirection direction = SimDirection::Forward)
{
    SimShotOptions options;
    options.wavelengthNm = wavelength;
    options.seed = seed;
    options.direction = direction;
    std::string truth;
    const std::string bytes =
        SimSynthesize(readFile(std::string(FIBERTEST_SCENARIOS_DIR) + "/" + scenario), options, false, &truth);
    Shot shot;
    shot.sor = std::make_unique<TSorData>();
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    shot.sor->Read(&file);
    picojson::value root;
    picojson::parse(root, truth);
    const picojson::object& top = root.get<picojson::object>();
    shot.endKm = top.at("fiber_end_km").get<double>();
    shot.pulseNs = top.at("pulse_ns").get<double>();
    shot.spacingM = top.at("spacing_m").get<double>();
    shot.noiseFloor = numberOr(top.at("noise_floor_dB"), -30.0);
    shot.launch = numberOr(top.at("launch_dB"), 0.0);
    for (const picojson::value& e : top.at("events").get<picojson::array>()) {
        const picojson::object& o = e.get<picojson::object>();
        TrueEvent t;
        t.km = o.at("km").get<double>();
        t.loss = numberOr(o.at("loss_dB"), NAN);
        t.reflectance = numberOr(o.at("reflectance_dB"), NAN);
        t.kind = o.at("kind").get<std::string>();
        shot.events.push_back(t);
    }
    return shot;
}

struct FoundEvent
{
    double km = 0.0;
    double loss = 0.0;
    double reflectance = 0.0;
    std::string code;
};

std::vector<FoundEvent> foundEvents(TSorData* sor)
{
    std::vector<FoundEvent> out;
    const double kmPerOwt = 299792.5 / (sor->FxdParams->GI * 1e-5) * 1e-10;
    for (int i = 0; i < sor->KeyEvents->Events.count; ++i) {
        const TSorBlockKeyEvents1E* e = sor->KeyEvents->Events[i];
        out.push_back({e->EPT * kmPerOwt, e->EL / 1000.0, e->ER / 1000.0, e->EC.data});
    }
    return out;
}

// The figures of one analysed shot against its truth.
struct Score
{
    int detectable = 0;
    int matched = 0;     // detectable events found within the tolerance
    int found = 0;       // found events other than the launch
    int genuine = 0;     // of those, the ones standing at a true event
    bool endFound = false;
    bool nothingBeyondEnd = true;
    double worstLossError = 0.0;  // over matched events of at least 0.2 dB well above the noise
};

Score score(const Shot& shot)
{
    const double kmPerNs = 299792.5 / (shot.sor->FxdParams->GI * 1e-5) * 1e-10 / 0.2;
    const double pulseKm = shot.pulseNs * kmPerNs;
    const double tolerance = 2.0 * shot.spacingM * 1e-3 + 0.5 * pulseKm;
    const std::vector<FoundEvent> found = foundEvents(shot.sor.get());
    auto levelAt = [&](double km) {
        const double owt = km / (kmPerNs * 0.2);
        return shot.sor->OwtToLevel(owt, 0);
    };
    Score s;
    const std::size_t n = shot.events.size();
    for (std::size_t i = 0; i < n; ++i) {
        const TrueEvent& t = shot.events[i];
        if (t.kind == "end")
            continue;
        const bool farFromStart = t.km > 1.5 * pulseKm;
        const bool aboveNoise = levelAt(t.km - pulseKm) >= shot.noiseFloor + 5.0;
        bool apart = true;
        for (std::size_t j = 0; j < n; ++j)
            if (j != i && shot.events[j].kind != "end" && std::fabs(shot.events[j].km - t.km) < 2.0 * pulseKm)
                apart = false;
        const bool visible = (!std::isnan(t.loss) && std::fabs(t.loss) >= 0.1) ||
                             (!std::isnan(t.reflectance) && t.reflectance >= -60.0);
        if (!(farFromStart && aboveNoise && apart && visible))
            continue;
        ++s.detectable;
        for (std::size_t k = 1; k < found.size(); ++k)
            if (std::fabs(found[k].km - t.km) <= tolerance) {
                ++s.matched;
                if (!std::isnan(t.loss) && t.loss >= 0.2 && levelAt(t.km + pulseKm) >= shot.noiseFloor + 15.0 &&
                    k + 1 < found.size())
                    s.worstLossError = std::max(s.worstLossError, std::fabs(found[k].loss - t.loss));
                break;
            }
    }
    for (std::size_t k = 1; k < found.size(); ++k) {
        ++s.found;
        for (const TrueEvent& t : shot.events)
            if (std::fabs(found[k].km - t.km) <= tolerance) {
                ++s.genuine;
                break;
            }
        if (found[k].km > shot.endKm + tolerance)
            s.nothingBeyondEnd = false;
    }
    s.endFound = !found.empty() && std::fabs(found.back().km - shot.endKm) <= tolerance;
    return s;
}

} // namespace

// Recall, precision, loss and the end of the fiber on scenarios with
// splices, bends, gainers and close connectors, both wavelengths.
TEST(AutoQuality, SimulatedScenarios)
{
    for (const char* name : {"splices-25km.json", "macrobend.json", "gainer.json", "building-2km.json"}) {
        for (int wavelength : {1310, 1550}) {
            for (std::uint64_t seed : {1u, 2u}) {
                Shot shot = simulate(name, wavelength, seed);
                TAuto a;
                ASSERT_EQ(a.Automat(shot.sor.get(), 0), 1) << name;
                const Score s = score(shot);
                const std::string where = std::string(name) + " " + std::to_string(wavelength) + " seed " +
                                          std::to_string(seed);
                EXPECT_EQ(s.matched, s.detectable) << where;
                EXPECT_EQ(s.genuine, s.found) << where;
                EXPECT_TRUE(s.endFound) << where;
                EXPECT_TRUE(s.nothingBeyondEnd) << where;
                // Two connectors 20 m apart behind a 10 ns pulse leave the second
                // one a short section in front, fitted clear of both events.
                EXPECT_LE(s.worstLossError, 0.05) << where;
            }
        }
    }
}

// A 10 us pulse spreads a 0.12 dB splice over 1 km, on a span whose sections
// differ in attenuation by 0.01 dB/km: the splice is found from both ends,
// where it is and with its loss, and nothing else is reported.
TEST(AutoQuality, LongPulseSpliceFromBothEnds)
{
    for (SimDirection direction : {SimDirection::Forward, SimDirection::Backward}) {
        Shot shot = simulate("span-80km.json", 1550, 1, direction);
        TAuto a;
        ASSERT_EQ(a.Automat(shot.sor.get(), 0), 1);
        const Score s = score(shot);
        const bool forward = direction == SimDirection::Forward;
        EXPECT_EQ(s.matched, s.detectable) << forward;
        EXPECT_EQ(s.genuine, s.found) << forward;
        EXPECT_TRUE(s.endFound) << forward;
        const double spliceKm = forward ? 40.2 : 80.0 - 40.2;
        const std::vector<FoundEvent> found = foundEvents(shot.sor.get());
        const FoundEvent* nearest = nullptr;
        for (const FoundEvent& e : found)
            if (nearest == nullptr || std::fabs(e.km - spliceKm) < std::fabs(nearest->km - spliceKm))
                nearest = &e;
        ASSERT_NE(nearest, nullptr);
        EXPECT_NEAR(nearest->km, spliceKm, 0.1) << forward;
        EXPECT_NEAR(nearest->loss, 0.12, 0.01) << forward;
    }
}

// Two objects on two documents in two threads give what one thread gives.
TEST(AutoQuality, ParallelRunsAgree)
{
    auto run = [](const char* name, std::vector<std::int32_t>& times) {
        Shot shot = simulate(name, 1550, 4);
        TAuto a;
        a.Automat(shot.sor.get(), 0);
        for (int i = 0; i < shot.sor->KeyEvents->Events.count; ++i)
            times.push_back(shot.sor->KeyEvents->Events[i]->EPT);
    };
    std::vector<std::int32_t> serialA;
    std::vector<std::int32_t> serialB;
    run("macrobend.json", serialA);
    run("splices-25km.json", serialB);
    std::vector<std::int32_t> parallelA;
    std::vector<std::int32_t> parallelB;
    std::thread first([&] { run("macrobend.json", parallelA); });
    std::thread second([&] { run("splices-25km.json", parallelB); });
    first.join();
    second.join();
    EXPECT_FALSE(serialA.empty());
    EXPECT_EQ(parallelA, serialA);
    EXPECT_EQ(parallelB, serialB);
}

// The traces of other makers: every analysis runs to its end, and it finds
// most of the events that the maker's software stored.
TEST(AutoQuality, RealTraces)
{
    const std::vector<std::string> names = {"EXFO_FTB7400_1550_U.SOR",
                                            "JDSU_MTS6000_1550_G.sor",
                                            "anritsu-cma4500-issue15b.sor",
                                            "anritsu-mt1000a-1310_0045.sor",
                                            "demo_ab.sor",
                                            "example1-noyes-ofl280.sor",
                                            "example2-exfo-maxtester730c.sor",
                                            "example4-exfo-ftb4ftbx730c-mfdgainer-1310nm.sor",
                                            "fibercloud-fc3200-otdr2.sor"};
    int stored = 0;
    int matched = 0;
    for (const std::string& name : names) {
        const std::string bytes = readFile(std::string(FIBERTEST_TRACES_DIR) + "/" + name);
        if (bytes.empty())
            continue;
        TSorData sor;
        TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
        sor.Read(&file);
        if (sor.FxdParams == nullptr || sor.KeyEvents == nullptr || sor.FxdParams->GI <= 0)
            continue;
        const double kmPerOwt = 299792.5 / (sor.FxdParams->GI * 1e-5) * 1e-10;
        std::vector<double> theirs;
        for (int i = 1; i < sor.KeyEvents->Events.count; ++i) {
            const TSorBlockKeyEvents1E* e = sor.KeyEvents->Events[i];
            if (std::abs(e->EL) >= 100 || (e->EC.length > 0 && e->EC.data[0] != '0'))
                theirs.push_back(e->EPT * kmPerOwt);
        }
        TAuto a;
        a.Automat(&sor, 0);
        const std::vector<FoundEvent> ours = foundEvents(&sor);
        const double spacingKm = sor.FxdParams->DS.empty() ? 0.0 : sor.FxdParams->DS[0] / 10000.0 * kmPerOwt;
        const double pulseKm = sor.FxdParams->PWU.empty() ? 0.0 : sor.FxdParams->PWU[0] / 0.2 * kmPerOwt;
        const double tolerance = 2.0 * spacingKm + 0.5 * pulseKm;
        int here = 0;
        for (double km : theirs)
            for (const FoundEvent& f : ours)
                if (std::fabs(f.km - km) <= tolerance) {
                    ++here;
                    break;
                }
        stored += static_cast<int>(theirs.size());
        matched += here;
    }
    EXPECT_GT(stored, 0);
    EXPECT_GE(matched * 2, stored);
}
