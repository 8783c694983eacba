// Return loss, the group index and backscatter coefficient changed afterwards,
// and the merge of the tables of both directions of a fibre.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "ref-event-testing.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-rfts-parameters.h"

using namespace refeventtest;

namespace {

// Levels on a scale whose base lies at -60 dB, as an instrument's do.
std::unique_ptr<TSorData> scaledTrace(const std::vector<double>& levels)
{
    auto sd = makeTrace(levels);
    sd->AUXParams->MAX = 60000;
    sd->CalculateValues();
    return sd;
}

// A fibre of 1000 points falling 0.001 dB a point from -5 dB, with steps of
// `loss` dB at the given points, then the noise at -40 dB; key events at 0,
// at each step and at the end, computed from the trace.
std::unique_ptr<TSorData> fibre(const std::vector<std::pair<long, double>>& steps)
{
    auto sd = scaledTrace(reftest::levelsOf(1200, [&](long i) {
        if (i >= 1000)
            return -40.0;
        double level = -5.0 - 0.001 * i;
        for (const auto& [at, loss] : steps)
            level -= i >= at ? loss : 0.0;
        return level;
    }));
    long previous = 0;
    addEvent(*sd, eventAt(0, 0, 0, 10, steps.empty() ? 990 : steps.front().first - 10));
    for (std::size_t k = 0; k < steps.size(); ++k) {
        const long at = steps[k].first;
        const long next = k + 1 < steps.size() ? steps[k + 1].first : 1000;
        addEvent(*sd, eventAt(at, previous + 10, at - 10, at + 10, next - 10));
        previous = at;
    }
    addEvent(*sd, eventAt(1000, previous + 10, 990, 0, 0, "0E9999"));
    RefEventRecalculate(sd.get(), sd->KeyEvents, 0);
    return sd;
}

} // namespace

TEST(RefEventLink, ReturnLoss)
{
    auto sd = scaledTrace(reftest::straightLine(2000, -10.0, 0.0));
    const TSorBlockAUXParameters* aux = sd->AUXParams;
    // One pulse (500 OWT units) of a flat trace gives back its level.
    EXPECT_NEAR(RefEventORL(sd.get(), atPin(200), atPin(300)), -10.0, 2e-3);
    // 2 units past the last point count with that point's level.
    EXPECT_NEAR(RefEventORL(sd.get(), atPin(200), atPin(300) + 2.0),
                aux->LinToLog5(aux->Log5ToLin(-10.0, 0) * 502.0 / 500.0), 1e-9);
    EXPECT_EQ(RefEventORL(sd.get(), atPin(300), atPin(300)), 0.0);
    EXPECT_EQ(RefEventORL(sd.get(), atPin(300), atPin(200)), 0.0);

    // A connector at the start (-2 dB for four points), then fibre from -10 dB.
    auto levels = reftest::straightLine(2000, -10.0, 0.001);
    for (std::size_t i = 0; i < 4; ++i)
        levels[i] = -2.0;
    sd = scaledTrace(levels);
    aux = sd->AUXParams;
    EXPECT_EQ(RefEventCalcORL(sd.get(), 0.0, atPin(1900)), 0.0);

    addEvent(*sd, eventAt(0, 0, 0, 50, 1000));
    // One event: no integral, only the connector's peak against the level behind it.
    const double launch = sd->NumToLevel(50);
    const double expected = 2.0 * (launch - (-40.5 + 5.0 * std::log10(100.0)) - aux->LinToLog5(aux->Log5ToLin(-2.0, 0)));
    EXPECT_NEAR(RefEventCalcORL(sd.get(), 0.0, atPin(1900)), expected, 1e-9);

    sd->KeyEvents->ELMP2 = static_cast<std::int32_t>(atPin(1900));
    RefEventSetORL(sd.get());
    EXPECT_EQ(sd->KeyEvents->ORL, static_cast<std::uint16_t>(std::trunc(expected * 1000.0)));
    EXPECT_EQ(sd->KeyEvents->RLMP1, 0);
    EXPECT_EQ(sd->KeyEvents->RLMP2, atPin(1900));

    // A trace of temperatures has no return loss: nothing is touched.
    sd->AUXParams->TYP = "TC";
    sd->KeyEvents->ORL = 1234;
    sd->KeyEvents->ELMP1 = 77;
    RefEventSetORL(sd.get());
    EXPECT_EQ(sd->KeyEvents->ORL, 1234);
    EXPECT_EQ(sd->KeyEvents->RLMP1, 0);
}

TEST(RefEventLink, NewGroupIndexAndBackscatter)
{
    auto sd = scaledTrace(reftest::straightLine(2000, -10.0, 0.001));
    addEvent(*sd, eventAt(0, 0, 0, 10, 500));
    addEvent(*sd, eventAt(600, 10, 590, 610, 900));
    addEvent(*sd, eventAt(1000, 610, 990, 1010, 1900));
    sd->KeyEvents->Events[1]->ACI = 100;
    sd->KeyEvents->Events[2]->ACI = -50;
    sd->KeyEvents->Events[1]->ER = -40000;
    sd->KeyEvents->ELMP2 = static_cast<std::int32_t>(atPin(1000));

    RefEventSetNewRI(sd.get(), 1.5);
    EXPECT_EQ(sd->FxdParams->GI, 150000);
    EXPECT_EQ(sd->KeyEvents->Events[1]->ACI, 102);  // 100 x 1.5 / 1.4682
    EXPECT_EQ(sd->KeyEvents->Events[2]->ACI, -51);
    EXPECT_EQ(sd->KeyEvents->RLMP2, atPin(1000));

    RefEventSetNewBC(sd.get(), -80.0);
    EXPECT_EQ(sd->FxdParams->BC, 800);
    EXPECT_NEAR(sd->KeyEvents->Events[1]->ER, -39000, 1);
    EXPECT_EQ(sd->KeyEvents->Events[2]->ER, 0);

    sd->AUXParams->TYP = "TC";
    RefEventSetNewBC(sd.get(), -75.0);
    EXPECT_EQ(sd->FxdParams->BC, 800);
    EXPECT_NEAR(sd->KeyEvents->Events[1]->ER, -39000, 1);

    // The launch quality needs a pulse of at least 1 ns (here 0.8).
    sd->AUXParams->ATP0 = 4;
    float quality = 5.0f;
    float p = 6.0f;
    EXPECT_EQ(RefEventLinkQuality(sd.get(), quality, p, 0.0f, 0.0f, 1.0f), 0);
    EXPECT_EQ(quality, 5.0f);
}

TEST(RefEventBiDir, RefusesTracesThatDoNotMatch)
{
    auto a = fibre({{400, 0.3}});
    auto b = fibre({{600, 0.1}});
    b->FxdParams->PWU[0] = 102;
    EXPECT_EQ(RefEventBiDir(a.get(), b.get()), 1);
    b->FxdParams->PWU[0] = 100;
    b->FxdParams->DS[0] = 52000;
    EXPECT_EQ(RefEventBiDir(a.get(), b.get()), 2);
    b->FxdParams->DS[0] = 50000;
    b->KeyEvents->Events[2]->EPT = static_cast<std::int32_t>(atPin(1100));
    EXPECT_EQ(RefEventBiDir(a.get(), b.get()), 3);
    // Nothing changed on either side.
    EXPECT_EQ(a->KeyEvents->TNKE, 3);
    EXPECT_EQ(a->KeyEvents->Events[2]->EPT, atPin(1000));
    EXPECT_EQ(a->KeyEvents->Events[1]->FullLoss, 300);
    EXPECT_EQ(b->KeyEvents->Events[2]->EPT, atPin(1100));
}

TEST(RefEventBiDir, MergesATraceWithItsMirrorImage)
{
    // a sees a splice at 400 losing 0.3 dB; from the other end, b sees it at
    // 600 losing 0.1 dB (the backscatter changes there), and one more at 300
    // that a missed.
    auto a = fibre({{400, 0.3}});
    auto b = fibre({{300, 0.1}, {600, 0.1}});
    a->RFTSParams->AddLevel(new TRFTSLevel(TString("L1")));
    a->RFTSParams->Levels[0]->SetTNTS(3);
    b->FxdParams->PWU[0] = 101;  // 1 % apart still counts as one pulse
    ASSERT_EQ(b->KeyEvents->Events[1]->FullLoss, 100);
    ASSERT_EQ(b->KeyEvents->Events[2]->FullLoss, 100);

    ASSERT_EQ(RefEventBiDir(a.get(), b.get()), 0);
    ASSERT_EQ(a->KeyEvents->TNKE, 4);
    EXPECT_EQ(b->KeyEvents->TNKE, 4);
    EXPECT_EQ(a->RFTSParams->Levels[0]->ThresholdsSets.count, 4);
    EXPECT_EQ(a->KeyEvents->Events[3]->EPT, atPin(1000));
    EXPECT_EQ(a->KeyEvents->Events[1]->EPT, atPin(400));
    // b's event at 300 lands where the mirror puts it: 1000 - 300.
    const TSorBlockKeyEvents1E* mirrored = a->KeyEvents->Events[2];
    EXPECT_EQ(mirrored->EPT, atPin(700));
    EXPECT_EQ(mirrored->EN, 3);
    EXPECT_EQ(mirrored->ML0, atPin(410));                    // behind the event before it
    EXPECT_EQ(mirrored->ML2, atPin(1000 - 2 * 300 + 310));   // the tail keeps its length
    EXPECT_EQ(mirrored->ML3, atPin(990));                    // up to the next event's section
    EXPECT_EQ(a->KeyEvents->Events[3]->ML0, mirrored->ML2);  // which now starts behind it
    EXPECT_EQ(a->KeyEvents->Events[1]->ML3, mirrored->ML1);
    // Losses are the mean of both directions.
    EXPECT_EQ(a->KeyEvents->Events[1]->FullLoss, 200);
    EXPECT_EQ(a->KeyEvents->Events[1]->EL, 200);
    EXPECT_NEAR(a->KeyEvents->Events[2]->FullLoss, 50, 2);
}
