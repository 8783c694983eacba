// The event table and the blocks kept in step with it, index for index.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <vector>
#include <memory>

#include "ref-event-testing.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-events.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-rfts-events.h"
#include "sor/sor-block-rfts-parameters.h"

using namespace refeventtest;

namespace {

// A trace of 2000 points with one monitoring level (whose new per-event sets
// carry LT 123) and a comparison result.
std::unique_ptr<TSorData> watchedTrace()
{
    auto sd = makeTrace(reftest::straightLine(2000, -5.0, 0.002));
    auto* level = new TRFTSLevel(TString("L1"));
    level->LevelThresholdsSet.LT.SetAbsoluteThreshold(123);
    EXPECT_NE(sd->RFTSParams->AddLevel(level), nullptr);
    sd->RFTSEvents->LevelName = "L1";
    return sd;
}

// Landmarks on the events numbered `related` (from 1), in this order.
void addLandmarks(TSorData& sd, std::initializer_list<std::int16_t> related)
{
    std::int32_t place = 0;
    for (const std::int16_t ren : related) {
        auto* lm = new TSorBlockLinkParamLandmark();
        lm->LML = place += 1000;
        lm->REN = ren;
        sd.LnkParams->InsertLandmark(lm);
    }
}

// Every mirror of the table holds one entry per key event.
void expectInStep(const TSorData& sd)
{
    const int n = sd.KeyEvents->Events.count;
    EXPECT_EQ(sd.KeyEvents->TNKE, n);
    for (int i = 0; i < n; ++i)
        EXPECT_EQ(sd.KeyEvents->Events[i]->EN, i + 1);
    for (int l = 0; l < sd.RFTSParams->Levels.count; ++l)
        EXPECT_EQ(sd.RFTSParams->Levels[l]->ThresholdsSets.count, n);
    if (!sd.RFTSEvents->IsEmpty()) {
        EXPECT_EQ(sd.RFTSEvents->Events.count, n);
    }
}

std::vector<std::int16_t> relatedEvents(const TSorData& sd)
{
    std::vector<std::int16_t> out;
    for (int i = 0; i < sd.LnkParams->Landmarks.count; ++i)
        out.push_back(sd.LnkParams->Landmarks[i]->REN);
    return out;
}

} // namespace

TEST(RefEventTable, AddKeepsOrderAndMirrors)
{
    auto sd = watchedTrace();
    EXPECT_EQ(addEvent(*sd, eventAt(0, 0, 0, 10, 200)), 0);
    EXPECT_EQ(addEvent(*sd, eventAt(1500, 1000, 1490, 1510, 1990, "0E9999")), 1);
    addLandmarks(*sd, {1, 2, 0});
    EXPECT_EQ(addEvent(*sd, eventAt(500, 10, 490, 510, 990)), 1);
    EXPECT_EQ(addEvent(*sd, eventAt(900, 510, 890, 910, 1490)), 2);
    expectInStep(*sd);
    EXPECT_EQ(sd->KeyEvents->Events[1]->EPT, atPin(500));
    EXPECT_EQ(sd->KeyEvents->Events[3]->EPT, atPin(1500));
    // Two insertions before the end moved its landmark by two; none stays none.
    EXPECT_EQ(relatedEvents(*sd), (std::vector<std::int16_t>{1, 4, 0}));
    EXPECT_EQ(sd->RFTSParams->Levels[0]->ThresholdsSets[2]->LT.GetAbsoluteThreshold(), 123);

    // Outside the trace: refused, nothing changes.
    TSorBlockKeyEvents1E outside = eventAt(0, 0, 0, 0, 0);
    outside.EPT = static_cast<std::int32_t>(sd->GetMaxOwt() + 10.0);
    EXPECT_EQ(RefEventAdd(sd.get(), &outside, 1), -1);
    outside.EPT = -10;
    EXPECT_EQ(RefEventAdd(sd.get(), &outside, 1), -1);
    EXPECT_EQ(sd->KeyEvents->TNKE, 4);

    // With recalculation the copy gets its loss; the caller's event is untouched.
    const TSorBlockKeyEvents1E splice = eventAt(1200, 910, 1190, 1210, 1490);
    const int at = RefEventAdd(sd.get(), &splice, 1);
    ASSERT_EQ(at, 3);
    EXPECT_EQ(sd->KeyEvents->Events[at]->LMT, "LS");
    EXPECT_EQ(splice.LMT, "2P");
    expectInStep(*sd);
}

TEST(RefEventTable, DeleteKeepsMirrorsAndTheFirstEvent)
{
    auto sd = watchedTrace();
    addEvent(*sd, eventAt(0, 0, 0, 10, 200));
    addEvent(*sd, eventAt(500, 10, 490, 510, 990));
    addEvent(*sd, eventAt(900, 510, 890, 910, 1490));
    addEvent(*sd, eventAt(1500, 910, 1490, 1510, 1990, "0E9999"));
    addLandmarks(*sd, {1, 2, 3});

    RefEventDel(sd.get(), 0, 1);
    RefEventDel(sd.get(), 4, 1);
    RefEventDel(sd.get(), -1, 1);
    EXPECT_EQ(sd->KeyEvents->TNKE, 4);
    EXPECT_EQ(sd->KeyEvents->Events[0]->EPT, 0);
    EXPECT_EQ(relatedEvents(*sd), (std::vector<std::int16_t>{1, 2, 3}));

    RefEventDel(sd.get(), 1, 1);
    expectInStep(*sd);
    EXPECT_EQ(sd->KeyEvents->TNKE, 3);
    EXPECT_EQ(relatedEvents(*sd), (std::vector<std::int16_t>{1, 0, 2}));
    // The event that followed now ends the section before it: its attenuation
    // is taken again over its own markers (0.002 dB per 5 OWT units).
    EXPECT_NEAR(sd->KeyEvents->Events[1]->ACI, 0.0004 / kKmPerOwt * 1000.0, 1.0);

    addEvent(*sd, eventAt(700, 510, 690, 710, 890));
    addEvent(*sd, eventAt(1100, 910, 1090, 1110, 1490));
    RefEventDeleteAllButFirstAndLast(sd.get());
    expectInStep(*sd);
    ASSERT_EQ(sd->KeyEvents->TNKE, 2);
    EXPECT_EQ(sd->KeyEvents->Events[1]->EPT, atPin(1500));

    RefEventSORToAUXSync(sd.get());
    ASSERT_EQ(sd->AUXEvents->TNE, 1);
    RefEventSorDelete(sd.get());
    expectInStep(*sd);
    EXPECT_EQ(sd->KeyEvents->TNKE, 0);
    EXPECT_EQ(sd->AUXEvents->TNE, 0);
    EXPECT_EQ(sd->RFTSEvents->Events.count, 0);
    EXPECT_EQ(relatedEvents(*sd), (std::vector<std::int16_t>{0, 0, 0}));
}

TEST(RefEventTable, SyncSearchAndAuxiliaryEvents)
{
    auto sd = watchedTrace();
    addEvent(*sd, eventAt(0, 0, 0, 10, 200));
    addEvent(*sd, eventAt(500, 10, 490, 510, 990));
    addEvent(*sd, eventAt(1500, 510, 1490, 1510, 1990, "0E9999"));

    // Mirrors that went out of step are rebuilt from the table.
    sd->RFTSParams->Levels[0]->SetTNTS(0);
    sd->RFTSEvents->SetTNRFTSE(7);
    RefEventRFTSSync(sd.get());
    expectInStep(*sd);
    sd->KeyEvents->Events[2]->EN = 9;
    RefEventENSync(sd.get());
    EXPECT_EQ(sd->KeyEvents->Events[2]->EN, 3);

    EXPECT_EQ(RefEventGetNumEvent(sd.get(), atPin(800)), 1);
    EXPECT_EQ(RefEventGetNumEvent(sd.get(), atPin(1100)), 2);
    EXPECT_EQ(RefEventGetNextEvent(sd.get(), atPin(500)), 2);
    EXPECT_EQ(RefEventGetNextEvent(sd.get(), atPin(1500)), -1);

    // One auxiliary event per key event from the second, over its section before.
    RefEventSORToAUXSync(sd.get());
    ASSERT_EQ(sd->AUXEvents->TNE, 2);
    const TSorBlockAUXEvents1E& section = sd->AUXEvents->Events[1];
    EXPECT_EQ(section.ML0, atPin(510));
    EXPECT_EQ(section.ML1, atPin(1490));
    EXPECT_EQ(section.LMT, "LS");
    EXPECT_EQ(section.EC, "DU9999");
    EXPECT_NEAR(section.EL, 980 * 2, 1);

    // Added in order of the first marker, with the loss computed.
    TSorBlockAUXEvents1E aux;
    aux.ML0 = static_cast<std::int32_t>(atPin(100));
    aux.ML1 = static_cast<std::int32_t>(atPin(200));
    EXPECT_EQ(RefEventAdd(sd.get(), &aux), 0);
    EXPECT_EQ(sd->AUXEvents->Events[1].ML0, atPin(100));  // behind the one from point 10
    EXPECT_NEAR(sd->AUXEvents->Events[1].EL, 200, 1);
    aux.ML2 = static_cast<std::int32_t>(sd->GetMaxOwt() + 5.0);
    EXPECT_EQ(RefEventAdd(sd.get(), &aux), 1);
    EXPECT_EQ(sd->AUXEvents->TNE, 3);
    RefEventDel(sd.get(), 0, 0);
    EXPECT_EQ(sd->AUXEvents->TNE, 2);
    EXPECT_EQ(sd->KeyEvents->TNKE, 3);
}

TEST(RefEventTable, TemplatePlacesEventsByDistance)
{
    auto model = watchedTrace();
    addEvent(*model, eventAt(0, 0, 0, 10, 200));
    addEvent(*model, eventAt(500, 10, 490, 510, 990));
    addEvent(*model, eventAt(1900, 510, 1890, 1910, 1990, "0E9999"));
    addLandmarks(*model, {2, 3});
    TSorBlockAUXEvents1E aux;
    aux.ML0 = static_cast<std::int32_t>(atPin(100));
    aux.ML1 = static_cast<std::int32_t>(atPin(300));
    model->AUXEvents->AddEvent(aux);

    // The target is shorter, with another group index and a user offset: the
    // event at point 1900 of the model lies beyond it.
    auto target = makeTrace(reftest::straightLine(1500, -4.0, 0.002));
    target->FxdParams->GI = 150000;
    target->GenParams->UO = 20;
    addEvent(*target, eventAt(0, 0, 0, 10, 200));
    addEvent(*target, eventAt(700, 10, 690, 710, 990));

    RefEventApplyTemplate(target.get(), model.get());
    const double ratio = 1.5 / 1.4682;  // km per OWT unit of the model over the target's
    ASSERT_EQ(target->KeyEvents->TNKE, 2);
    expectInStep(*target);
    const TSorBlockKeyEvents1E* placed = target->KeyEvents->Events[1];
    EXPECT_EQ(placed->EPT, std::trunc(atPin(500) * ratio + 20.0 + 0.5));
    EXPECT_EQ(placed->ML3, std::trunc(atPin(990) * ratio + 20.0 + 0.5));
    EXPECT_EQ(placed->LMT, "LS");
    EXPECT_EQ(relatedEvents(*target), relatedEvents(*model));
    ASSERT_EQ(target->AUXEvents->TNE, 1);
    EXPECT_EQ(target->AUXEvents->Events[0].EC, "GT9999");
    EXPECT_EQ(target->AUXEvents->Events[0].ML1, std::trunc(atPin(300) * ratio + 20.0));
}

TEST(RefEventTable, SectionComparisonWithAModel)
{
    // The same fibre measured twice: no offset, no deviation.
    auto b = makeTrace(reftest::straightLine(2000, -5.0, 0.001));
    addEvent(*b, eventAt(0, 0, 0, 10, 900));
    addEvent(*b, eventAt(1000, 10, 990, 1010, 1990, "0E9999"));
    RefEventRecalculate(b.get(), b->KeyEvents, 0);
    auto a = makeTrace(reftest::straightLine(2000, -5.0, 0.001));
    double bias = 9.0;
    double deviation = 9.0;
    EXPECT_EQ(RefEventSQO(a.get(), b.get(), bias, deviation), 1);
    EXPECT_EQ(a->KeyEvents->TNKE, 2);
    EXPECT_NEAR(bias, 0.0, 1e-9);
    EXPECT_NEAR(deviation, 0.0, 1e-9);

    // Twice the attenuation: the one section's offset grows along it.
    a = makeTrace(reftest::straightLine(2000, -5.0, 0.002));
    EXPECT_EQ(RefEventSQO(a.get(), b.get(), bias, deviation), 1);
    const double d = (a->KeyEvents->Events[1]->ACI - b->KeyEvents->Events[1]->ACI) / 1000.0;
    EXPECT_NEAR(d, 0.0002 / kKmPerOwt, 0.002);
    const double t = atPin(1000) * kKmPerOwt;
    EXPECT_NEAR(bias, -d * t / 2.0, 1e-12);
    EXPECT_NEAR(deviation, std::fabs(d * t) / std::sqrt(3.0), 1e-12);

    // A model of one event compares nothing and leaves a alone.
    RefEventDel(b.get(), 1, 1);
    EXPECT_EQ(RefEventSQO(a.get(), b.get(), bias, deviation), 0);
    EXPECT_EQ(bias, 0.0);
    EXPECT_EQ(deviation, 0.0);
    EXPECT_EQ(a->KeyEvents->TNKE, 2);
}
