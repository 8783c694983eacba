// TAuto's frame: thresholds in and out of the document, the version stamp,
// the service entry, the paths a run takes and the state an object keeps.
#include <cmath>
#include <cstring>
#include <functional>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/own-trace.h"
#include "auto/auto.h"
#include "auto/event-line.h"
#include "sim/sim-trace.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "util/ini-file.h"

namespace {

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// A simulated 2 km link with three connectors; `pulseNs` 0 keeps the file's pulse.
std::unique_ptr<TSorData> building(double pulseNs = 0.0)
{
    SimShotOptions options;
    options.seed = 3;
    if (pulseNs > 0.0)
        options.pulseNs = pulseNs;
    const std::string bytes =
        SimSynthesize(readFile(std::string(FIBERTEST_SCENARIOS_DIR) + "/building-2km.json"), options, false);
    auto sor = std::make_unique<TSorData>();
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    sor->Read(&file);
    return sor;
}

// A trace of our own: 100 ns at 1550 nm, 5 x 100 ps a point, levels stored to 0.001 dB.
std::unique_ptr<TSorData> synthetic(const std::function<double(long)>& level, long n)
{
    return owntrace::makeTrace(n, level);
}

int countOf(const TString& text, const char* needle)
{
    int n = 0;
    for (const char* p = std::strstr(text.data, needle); p != nullptr; p = std::strstr(p + 1, needle))
        ++n;
    return n;
}

std::vector<std::int32_t> eventTimes(TSorData* sor)
{
    std::vector<std::int32_t> out;
    for (int i = 0; i < sor->KeyEvents->Events.count; ++i)
        out.push_back(sor->KeyEvents->Events[i]->EPT);
    return out;
}

// A key event that an analysis that gives up must leave in place.
void addMarkerEvent(TSorData* sor)
{
    auto* e = new TSorBlockKeyEvents1E();
    e->EPT = 12345;
    sor->KeyEvents->Events.AddData(e);
    sor->KeyEvents->TNKE = 1;
}

} // namespace

TEST(AutoFrame, ThresholdRules)
{
    // A reflectance threshold at -64.5 or below means "none": -80 dB, written back as 65000.
    {
        auto sor = building();
        TAuto a;
        TTH th;
        th.THRef = -64.5;
        th.UseGiven = 1;
        ASSERT_EQ(a.AnalysisSorData(sor.get(), &th), 1);
        EXPECT_DOUBLE_EQ(a.th.THRef, -80.0);
        EXPECT_EQ(sor->FxdParams->RT, 65000);
    }
    {
        auto sor = building();
        TAuto a;
        TTH th;
        th.THRef = -64.4;
        th.UseGiven = 1;
        ASSERT_EQ(a.AnalysisSorData(sor.get(), &th), 1);
        EXPECT_DOUBLE_EQ(a.th.THRef, -64.4);
        EXPECT_EQ(sor->FxdParams->RT, 64400);
    }
    // An end threshold under 1 dB runs as 1 dB and is written back so.
    {
        auto sor = building();
        TAuto a;
        TTH th;
        th.THEnd = 0.5;
        th.THLoss = 0.123;
        th.dBkm = 0.4;
        th.UseGiven = 1;
        ASSERT_EQ(a.AnalysisSorData(sor.get(), &th), 1);
        EXPECT_DOUBLE_EQ(a.th.THEnd, 1.0);
        EXPECT_EQ(sor->FxdParams->ET, 1000);
        EXPECT_EQ(sor->FxdParams->LT, 123);
        EXPECT_EQ(sor->AUXParams->CT, 400);
    }
    // Automat takes the document's own thresholds and uses them as given.
    {
        auto sor = building();
        sor->FxdParams->LT = 150;
        sor->FxdParams->RT = 55000;
        sor->FxdParams->ET = 5000;
        sor->AUXParams->CT = 300;
        TAuto a;
        ASSERT_EQ(a.Automat(sor.get(), 0), 1);
        EXPECT_DOUBLE_EQ(a.th.THLoss, 0.15);
        EXPECT_DOUBLE_EQ(a.th.THRef, -55.0);
        EXPECT_DOUBLE_EQ(a.th.THEnd, 5.0);
        EXPECT_DOUBLE_EQ(a.th.dBkm, 0.3);
        EXPECT_EQ(a.th.UseGiven, 1);
        EXPECT_EQ(sor->FxdParams->LT, 150);
        EXPECT_EQ(sor->FxdParams->RT, 55000);
    }
    // Without thresholds the run keeps the document's and restores them after
    // its own sensitive merge: the end is never taken on a loss under 25 dB.
    {
        auto sor = building();
        sor->FxdParams->ET = 2000;
        TAuto a;
        ASSERT_EQ(a.AnalysisSorData(sor.get(), nullptr), 1);
        EXPECT_EQ(a.th.UseGiven, 0);
        EXPECT_DOUBLE_EQ(a.th.THEnd, 2.0);
        EXPECT_EQ(sor->FxdParams->ET, 2000);
        const TEventLine* last = (*a.Lines)[a.Lines->count - 1];
        for (int i = 0; i + 1 < a.Lines->count; ++i)
            EXPECT_LT((*a.Lines)[i]->Splice, 25.0);
        EXPECT_GE(last->Splice, 0.0);
    }
}

TEST(AutoFrame, StampAndRepeatedRuns)
{
    auto sor = building();
    sor->SupParams->OT = "build 7";
    TAuto a;
    ASSERT_EQ(a.Automat(sor.get(), 0), 1);
    const std::vector<std::int32_t> first = eventTimes(sor.get());
    ASSERT_GE(first.size(), 2u);
    // The second run starts again from the raw points that the first one kept.
    ASSERT_TRUE(sor->AUXParams->isFilter());
    ASSERT_NE(sor->BackupDataPts, nullptr);
    ASSERT_EQ(a.Automat(sor.get(), 0), 1);
    EXPECT_EQ(eventTimes(sor.get()), first);
    EXPECT_EQ(countOf(sor->SupParams->OT, " VA=160204"), 1);
    EXPECT_STREQ(sor->SupParams->OT.data, "build 7 VA=160204");
    // Another object on the same document gives the same table.
    TAuto b;
    ASSERT_EQ(b.Automat(sor.get(), 0), 1);
    EXPECT_EQ(eventTimes(sor.get()), first);
    EXPECT_EQ(countOf(sor->SupParams->OT, " VA="), 1);
    // The event numbers run from 1 and the codes end in "9999".
    for (int i = 0; i < sor->KeyEvents->Events.count; ++i) {
        const TSorBlockKeyEvents1E* e = sor->KeyEvents->Events[i];
        EXPECT_EQ(e->EN, i + 1);
        ASSERT_EQ(e->EC.length, 6);
        EXPECT_STREQ(e->EC.data + 2, "9999");
    }
}

TEST(AutoFrame, ServiceCommands)
{
    {
        auto sor = building();
        TAuto a;
        long arg = 0;
        void* args[2] = {sor.get(), nullptr};
        EXPECT_EQ(a.ServiceFunction(ASF_Analysis, arg, args), 1);
        EXPECT_GE(sor->KeyEvents->Events.count, 3);
        EXPECT_EQ(countOf(sor->SupParams->OT, " VA=160204"), 1);
    }
    {
        auto sor = building();
        TAuto a;
        TTH th;
        th.UseGiven = 1;
        long arg = 0;
        void* args[2] = {sor.get(), &th};
        EXPECT_EQ(a.ServiceFunction(ASF_AnalysisEnds, arg, args), 1);
        ASSERT_EQ(sor->KeyEvents->Events.count, 2);
        EXPECT_EQ(sor->KeyEvents->Events[0]->EPT, 0);
        EXPECT_GT(sor->KeyEvents->Events[1]->EPT, 0);
    }
    {
        // The comparison is not available; unknown commands do nothing and answer 1.
        auto sor = building();
        addMarkerEvent(sor.get());
        TAuto a;
        long arg = 1;
        void* args[11] = {sor.get()};
        EXPECT_EQ(a.ServiceFunction(ASF_Compare, arg, args), 0);
        EXPECT_EQ(a.ServiceFunction(static_cast<TCmdASF>(9), arg, args), 1);
        EXPECT_EQ(a.ServiceFunction(ASF_Analysis, arg, nullptr), 1);
        EXPECT_EQ(eventTimes(sor.get()), std::vector<std::int32_t>{12345});
    }
}

TEST(AutoFrame, RunsThatGiveUp)
{
    TAuto a;
    EXPECT_EQ(a.Automat(nullptr, 0), 0);
    EXPECT_EQ(a.Calculate(), 0);
    // A pulse beyond 31100 ns belongs to the long path, which this build does
    // not take: the events stay, the stamp is renewed.
    {
        auto sor = building();
        sor->FxdParams->PWU[0] = 31101;
        addMarkerEvent(sor.get());
        EXPECT_EQ(a.Automat(sor.get(), 0), 0);
        EXPECT_EQ(eventTimes(sor.get()), std::vector<std::int32_t>{12345});
        EXPECT_EQ(countOf(sor->SupParams->OT, " VA=160204"), 1);
    }
    // The same for a trace that asks for the long path, and for one without spacing.
    {
        auto sor = building();
        addMarkerEvent(sor.get());
        TTH th;
        th.LongPath = 1;
        EXPECT_EQ(a.AnalysisSorData(sor.get(), &th), 0);
        EXPECT_EQ(eventTimes(sor.get()), std::vector<std::int32_t>{12345});
    }
    {
        auto sor = building();
        addMarkerEvent(sor.get());
        sor->FxdParams->DS[0] = 0;
        EXPECT_EQ(a.Automat(sor.get(), 0), 0);
        EXPECT_EQ(eventTimes(sor.get()), std::vector<std::int32_t>{12345});
    }
    // A pulse of exactly 31100 ns still takes the filtered path.
    {
        auto sor = building();
        sor->FxdParams->PWU[0] = 31100;
        TTH th;
        th.UseGiven = 1;
        a.AnalysisSorData(sor.get(), &th);
        EXPECT_TRUE(sor->AUXParams->isFilter());
    }
}

TEST(AutoFrame, FlagMaskLastsForTheObjectsLife)
{
    // A clean trace leaves the constructor's stage switches as they are.
    TTH th;
    th.UseGiven = 1;
    TAuto fresh;
    EXPECT_EQ(fresh.Flags, 23);
    auto first = building();
    ASSERT_EQ(fresh.AnalysisSorData(first.get(), &th), 1);
    EXPECT_EQ(fresh.Flags, 23);
    // An object that a noisy trace masked keeps the mask on every later run:
    // no run sets the noise and splice-event searches again.
    TAuto masked;
    masked.Flags &= TAuto::FlagNoisyMask;
    for (int run = 0; run < 2; ++run) {
        auto sor = building();
        ASSERT_EQ(masked.AnalysisSorData(sor.get(), &th), 1);
        EXPECT_EQ(masked.Flags, 3);
    }
}

TEST(AutoFrame, DampWritesLines)
{
    auto sor = building();
    TAuto a;
    ASSERT_EQ(a.Automat(sor.get(), 0), 1);
    TIni ini;
    a.Damp(&ini);
    EXPECT_EQ(ini.GetInt("Main", "Lines", -1), a.Lines->count);
    EXPECT_NEAR(ini.GetDouble("Main", "Lend", -1.0), a.Lend, 1e-5);
    const TEventLine* first = (*a.Lines)[0];
    EXPECT_NEAR(ini.GetDouble("Line0", "L1", -1.0), first->L1, 1e-5);
    EXPECT_NE(std::string(ini.GetString("Line0", "Refl", "")).find(first->Type), std::string::npos);
}

TEST(AutoFrame, DegenerateTraces)
{
    // Nothing but noise, a handful of points, a trace that never leaves the
    // top of the scale: each run ends, and a run that gives up leaves the
    // document's events.
    const std::vector<std::pair<long, std::function<double(long)>>> cases = {
        {30000, [](long) { return -30.0; }},
        {1, [](long) { return -3.0; }},
        {2, [](long i) { return -3.0 - i; }},
        {7, [](long i) { return i % 2 == 0 ? 0.0 : -60.0; }},
        {5000, [](long) { return 0.0; }},
        {5000, [](long i) { return i % 97 == 0 ? 0.0 : -3.0 - 0.0002 * i; }},
    };
    for (const auto& [n, level] : cases) {
        auto sor = synthetic(level, n);
        addMarkerEvent(sor.get());
        TAuto a;
        const int done = a.Automat(sor.get(), 0);
        if (done == 0)
            EXPECT_EQ(eventTimes(sor.get()), std::vector<std::int32_t>{12345}) << n;
        else
            EXPECT_GE(sor->KeyEvents->Events.count, 2) << n;
        EXPECT_EQ(countOf(sor->SupParams->OT, " VA=160204"), 1);
    }
}
