#include "sor/sor-block-rfts-parameters.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sor-test-helpers.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::throwsSor;
using sortest::written;

namespace {

// Two levels with per-event sets and two parameters, every field away from
// its default.
TSorBlockRFTSParameters filledBlock()
{
    TSorBlockRFTSParameters block;
    block.BlockThresholdsSet.LT.AbsoluteThreshold = 11;
    block.BlockThresholdsSet.Disable();
    for (const char* name : {"Minor", "Major"}) {
        auto* level = new TRFTSLevel(TString(name));
        level->LevelThresholdsSet.RT.RelativeThreshold = -250;
        level->SetTNTS(3);
        level->GetThresholdsSet(2)->DT.MakeAbsolute(true);
        level->EELT.AbsoluteThreshold = 3000;
        EXPECT_NE(block.AddLevel(level), nullptr);
    }
    block.SetActiveLevel(1);
    block.SetUseUParameters(true);
    EXPECT_NE(block.AddUParameter(new TRFTSUniversalParameter(TString("EvtDetectDeltaLen"), 0.125)), nullptr);
    EXPECT_NE(block.AddUParameter(new TRFTSUniversalParameter(TString("NoLinkDistance"), 2.5)), nullptr);
    return block;
}

} // namespace

TEST(RftsParametersTest, DefaultBlockIsEmptyWithoutActiveLevel)
{
    TSorBlockRFTSParameters block;
    EXPECT_EQ(block.RevisionNo, 209);
    EXPECT_EQ(block.BID, "RFTSParams");
    EXPECT_EQ(block.GetBlockType(), btRFTSParameters);
    EXPECT_EQ(block.ActiveLevel, -1);
    EXPECT_TRUE(block.IsEmpty());
    EXPECT_EQ(block.GetActiveLevel(), nullptr);
    EXPECT_EQ(block.GetLevel(0), nullptr);
}

TEST(RftsParametersTest, RoundTripAtTheRevisionOfASave)
{
    TSorBlockRFTSParameters block = filledBlock();
    const std::string bytes = written(block, 203);

    TSorBlockRFTSParameters back;
    unsigned long end = 0;
    EXPECT_EQ(readBack(back, bytes, 203, &end), fsOk);
    EXPECT_EQ(end, bytes.size());
    EXPECT_EQ(fieldLines(back), fieldLines(block));
    EXPECT_EQ(written(back), bytes);
    ASSERT_NE(back.GetActiveLevel(), nullptr);
    EXPECT_EQ(back.GetActiveLevel()->LevelName, "Major");
    EXPECT_DOUBLE_EQ(back.GetUParameter(TString("NoLinkDistance"))->GetValue(), 2.5);
}

TEST(RftsParametersTest, RevisionDecidesWhatIsStored)
{
    TSorBlockRFTSParameters block = filledBlock();
    const std::size_t head = 11 + 26 + 2 + 2;            // name, block set, ActiveLevel, TNL
    const std::size_t level = 2 + 6 + 26 + 2 + 3 * 26;   // Enabled, "Minor"/"Major", set, TNTS, sets
    const std::size_t parameters = 2 + 2 + (18 + 6) + (15 + 6);

    EXPECT_EQ(written(block, 201).size(), head + 2 * level);  // no EELT, no universal parameters
    EXPECT_EQ(written(block, 202).size(), head + 2 * level + parameters);  // still no EELT
    EXPECT_EQ(written(block, 203).size(), head + 2 * (level + 6) + parameters);
    EXPECT_EQ(block.GetBlockSize(), static_cast<std::int32_t>(head + 2 * (level + 6) + parameters));

    // A block of 201 read back has no parameters even when the reader held some.
    const std::string old = written(block, 201);
    TSorBlockRFTSParameters back = filledBlock();
    unsigned long end = 0;
    EXPECT_EQ(readBack(back, old, 201, &end), fsOk);
    EXPECT_EQ(end, old.size());
    EXPECT_EQ(back.GetTNL(), 2);
    EXPECT_EQ(back.GetTNUP(), 0);
    EXPECT_FALSE(back.GetUseUParameters());
}

TEST(RftsParametersTest, RevisionTwoHundredIsANameOnly)
{
    // Behind the name stands what would be a huge level count: it must not be looked at.
    const std::string bytes = Bytes().text("RFTSParams").raw(std::string(26, '\x7F')).i16(5).i16(65535).s;
    TSorBlockRFTSParameters block = filledBlock();
    unsigned long end = 0;
    EXPECT_EQ(readBack(block, bytes, 200, &end), fsOk);
    EXPECT_EQ(end, 11u);
    EXPECT_TRUE(block.IsEmpty());
    EXPECT_EQ(block.GetTNUP(), 0);
    EXPECT_EQ(block.ActiveLevel, -1);

    block = filledBlock();
    EXPECT_EQ(written(block, 200), std::string("RFTSParams", 11));
}

TEST(RftsParametersTest, DumpShowsTheLevelCountOnTheActiveLevelLine)
{
    TSorBlockRFTSParameters block = filledBlock();
    block.SetActiveLevel(0);
    const std::string text = sortest::dampOf(block);
    // Old dumps print TNL where the active level is named; readers expect that.
    EXPECT_NE(text.find("BID='RFTSParams'\n"), std::string::npos) << text;
    EXPECT_NE(text.find("ActiveLevel=2\tTNL=2"), std::string::npos) << text;
    EXPECT_NE(text.find("LevelName='Major'"), std::string::npos) << text;
    EXPECT_NE(text.find("Name=NoLinkDistance\tValue=25\tScale=10"), std::string::npos) << text;
}

TEST(RftsParametersTest, HostileCountsAndTruncationEndLikeAShortRead)
{
    TSorBlockRFTSParameters block = filledBlock();
    const std::string good = written(block, 203);

    // A level count that 60 bytes cannot hold.
    const std::string hostile = good.substr(0, 11 + 26 + 2) + Bytes().i16(65535).s + std::string(60, '\0');
    TSorBlockRFTSParameters back;
    EXPECT_EQ(readBack(back, hostile, 203), fsEndOfFile);
    EXPECT_EQ(back.GetTNL(), 0);

    // Cut at every length: no crash, and the counts always match the arrays.
    for (std::size_t cut = 0; cut < good.size(); ++cut) {
        TSorBlockRFTSParameters part;
        EXPECT_NE(readBack(part, good.substr(0, cut), 203), fsOk) << cut;
        EXPECT_EQ(part.GetTNL(), part.Levels.count) << cut;
        EXPECT_EQ(part.GetTNUP(), part.UParameters.count) << cut;
        for (int i = 0; i < part.Levels.count; ++i)
            EXPECT_EQ(part.GetLevel(i)->GetTNTS(), part.GetLevel(i)->ThresholdsSets.count) << cut;
    }
    EXPECT_TRUE(sortest::nullFileRefused(back));
}

TEST(RftsParametersTest, LevelNamesAreUniqueWhenAddingAndSetting)
{
    TSorBlockRFTSParameters block = filledBlock();
    auto* duplicate = new TRFTSLevel(TString("Minor"));
    EXPECT_EQ(block.AddLevel(duplicate), nullptr);  // refused: still ours
    EXPECT_EQ(block.GetTNL(), 2);

    EXPECT_EQ(block.GetLevelIndex(TString("Major")), 1);
    EXPECT_EQ(block.GetLevelIndex(TString("major")), -1);  // names are exact
    EXPECT_EQ(block.GetLevel(TString("None")), nullptr);

    // "Minor" stands at 0: setting it at 1 is refused, at 0 replaces it.
    EXPECT_EQ(block.SetLevel(duplicate, 1), nullptr);
    EXPECT_EQ(block.SetLevel(duplicate, 0), duplicate);
    EXPECT_EQ(block.GetLevel(0), duplicate);
    EXPECT_EQ(block.GetLevel(0)->GetTNTS(), 0);
    // Storing a level into its own place must leave it alive.
    EXPECT_EQ(block.SetLevel(duplicate, 0), duplicate);
    EXPECT_EQ(block.GetLevel(0)->LevelName, "Minor");
    // A new name may take any place; past the end is the last one.
    auto* critical = new TRFTSLevel(TString("Critical"));
    EXPECT_EQ(block.SetLevel(critical, 9), critical);
    EXPECT_EQ(block.GetLevel(1), critical);
    EXPECT_EQ(block.GetTNL(), 2);

    TSorBlockRFTSParameters empty;
    TRFTSLevel loose(TString("Loose"));
    EXPECT_EQ(empty.SetLevel(&loose, 0), nullptr);  // no place: not taken
}

TEST(RftsParametersTest, InsertLevelChecksTheParameterNames)
{
    TSorBlockRFTSParameters block = filledBlock();
    // The name of an existing level is accepted here: only the universal
    // parameters are looked at.
    EXPECT_NE(block.InsertLevel(new TRFTSLevel(TString("Minor")), 0), nullptr);
    EXPECT_EQ(block.GetTNL(), 3);
    auto* clash = new TRFTSLevel(TString("NoLinkDistance"));
    EXPECT_EQ(block.InsertLevel(clash, 0), nullptr);
    delete clash;
    EXPECT_EQ(block.GetTNL(), 3);
    EXPECT_EQ(block.GetLevel(0)->GetTNTS(), 0);  // the inserted one stands first
}

TEST(RftsParametersTest, ActiveLevelIsBoundedByTheLevels)
{
    TSorBlockRFTSParameters block = filledBlock();
    for (const int outside : {2, -1})
        EXPECT_TRUE(throwsSor(TSorException::IndexOutOfBounds, [&] { block.SetActiveLevel(outside); })) << outside;
    EXPECT_EQ(block.ActiveLevel, 1);
    block.SetActiveLevel(0);
    EXPECT_EQ(block.GetActiveLevel()->LevelName, "Minor");

    block.ActiveLevel = 5;  // as a file may have it
    EXPECT_EQ(block.GetActiveLevel(), nullptr);
    block.DeleteLevel(TString("Major"));
    block.ActiveLevel = 1;
    EXPECT_EQ(block.GetActiveLevel(), nullptr);
    block.DeleteLevel(7);
    EXPECT_EQ(block.GetTNL(), 1);
}

TEST(RftsParametersTest, ParameterNamesAreComparedTrimmed)
{
    TSorBlockRFTSParameters block = filledBlock();
    EXPECT_EQ(block.GetUParameterIndex(TString("  NoLinkDistance ")), 1);
    TRFTSUniversalParameter sameName(TString("NoLinkDistance "), 1.0);
    EXPECT_EQ(block.AddUParameter(&sameName), nullptr);
    EXPECT_EQ(block.GetTNUP(), 2);

    TRFTSUniversalParameter refused(TString("EvtDetectDeltaLen"), 9.0);
    EXPECT_EQ(block.InsertUParameter(&refused, 0), nullptr);
    EXPECT_EQ(block.SetUParameter(&refused, 1), nullptr);  // the name stands at 0
    auto* replacement = new TRFTSUniversalParameter(TString("EvtDetectDeltaLen"), 9.0);
    EXPECT_EQ(block.SetUParameter(replacement, 0), replacement);
    EXPECT_DOUBLE_EQ(block.GetUParameter(TString("EvtDetectDeltaLen"))->GetValue(), 9.0);

    EXPECT_NE(block.InsertUParameter(new TRFTSUniversalParameter(TString("EvtRDetectDeltaLen"), 0.5), 1), nullptr);
    EXPECT_EQ(block.GetUParameterIndex(TString("NoLinkDistance")), 2);
    block.DeleteUParameter(TString(" EvtRDetectDeltaLen"));
    block.DeleteUParameter(0);
    EXPECT_EQ(block.GetTNUP(), 1);
    EXPECT_EQ(block.GetUParameter(0)->Name, "NoLinkDistance");

    block.SetTNUP(3);
    EXPECT_EQ(block.UParameters.count, 3);
    ASSERT_NE(block.GetUParameter(2), nullptr);
    block.SetTNL(0);
    block.Clear();
    EXPECT_EQ(block.GetTNUP(), 0);
    EXPECT_TRUE(block.IsEmpty());
}

TEST(RftsParametersTest, KeyEventChangesKeepEveryLevelInStep)
{
    TSorBlockRFTSParameters block = filledBlock();
    block.GetLevel(0)->LevelThresholdsSet.CT.RelativeThreshold = 123;
    block.GetLevel(1)->LevelThresholdsSet.CT.RelativeThreshold = 456;

    block.OnKeyEventAdd(1);
    for (int i = 0; i < 2; ++i) {
        TRFTSLevel* level = block.GetLevel(i);
        EXPECT_EQ(level->GetTNTS(), 4);
        EXPECT_EQ(level->GetThresholdsSet(1)->CT.RelativeThreshold, i == 0 ? 123 : 456);
        // A copy, not the level-wide set itself.
        EXPECT_NE(level->GetThresholdsSet(1), &level->LevelThresholdsSet);
        EXPECT_TRUE(level->GetThresholdsSet(3)->DT.IsAbsolute());  // the old set 2 moved on
    }

    block.OnKeyEventDel(3);
    EXPECT_EQ(block.GetLevel(0)->GetTNTS(), 3);
    EXPECT_FALSE(block.GetLevel(0)->GetThresholdsSet(2)->DT.IsAbsolute());
    block.OnKeyEventDel(10);  // no such event: nothing moves
    EXPECT_EQ(block.GetLevel(1)->GetTNTS(), 3);

    block.OnKeyEventsClear();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(block.GetLevel(i)->GetTNTS(), 0);
        EXPECT_EQ(block.GetLevel(i)->GetThresholdsSet(0), nullptr);
    }
    EXPECT_EQ(block.GetLevel(1)->LevelName, "Major");  // the levels themselves stay
    EXPECT_EQ(block.GetLevel(1)->LevelThresholdsSet.CT.RelativeThreshold, 456);
}

TEST(RftsParametersTest, AssignIsDeep)
{
    TSorBlockRFTSParameters block = filledBlock();
    TSorBlockRFTSParameters copy;
    copy.Assign(block);
    const std::vector<std::string> before = fieldLines(block);
    EXPECT_EQ(fieldLines(copy), before);
    block.GetLevel(0)->LevelName = "Changed";
    block.GetLevel(0)->GetThresholdsSet(0)->Disable();
    block.GetUParameter(0)->SetValue(99);
    EXPECT_EQ(fieldLines(copy), before);
}

TEST(RftsParametersTest, DefaultsOfTheKnownParametersFollowPulseAndSpacing)
{
    TSorData sor;
    sor.FxdParams->SetTPW(1);
    sor.FxdParams->PWU[0] = 1000;   // ns
    sor.FxdParams->DS[0] = 40000;   // 4 one-way units of 100 ps between points
    sor.FxdParams->NPPW[0] = 100;
    sor.FxdParams->GI = 146800;
    sor.AUXParams->ATP0 = 0;        // the nominal pulse applies

    double value = -1;
    // 1000 ns = 5000 units of 100 ps; 299792.5 / 1.468 km/s.
    ASSERT_EQ(RFTSUParamsGetDefaultValue(&value, "EvtDetectDeltaLen", &sor), 1);
    EXPECT_NEAR(value, 5000 * 204218.3242 * 1e-10 / 3.0, 1e-9);
    ASSERT_EQ(RFTSUParamsGetDefaultValue(&value, "EvtRDetectDeltaLen", &sor), 1);
    EXPECT_NEAR(value, 4 * 204218.3242 * 1e-10 * 3.0, 1e-12);

    const struct {
        std::int16_t pulse;
        double distance;
    } steps[] = {{300, 0.5}, {301, 1.0}, {1000, 1.0}, {3000, 1.5}, {3001, 2.5}, {10000, 2.5}, {20000, 5.0}};
    for (const auto& step : steps) {
        sor.FxdParams->PWU[0] = step.pulse;
        ASSERT_EQ(RFTSUParamsGetDefaultValue(&value, "NoLinkDistance", &sor), 1);
        EXPECT_DOUBLE_EQ(value, step.distance) << step.pulse;
    }

    value = -1;
    EXPECT_EQ(RFTSUParamsGetDefaultValue(&value, "nolinkdistance", &sor), 0);
    EXPECT_EQ(RFTSUParamsGetDefaultValue(&value, "NoLinkDistance", nullptr), 0);
    EXPECT_EQ(RFTSUParamsGetDefaultValue(&value, nullptr, &sor), 0);
    EXPECT_EQ(value, -1);
}
