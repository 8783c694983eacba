#include "sor/sor-block-link-parameters.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::written;

namespace {

TSorBlockLinkParamLandmark* landmark(std::int16_t lmn, std::int32_t lml, std::int16_t ren = 1)
{
    auto* lm = new TSorBlockLinkParamLandmark();
    lm->LMN = lmn;
    lm->LML = lml;
    lm->REN = ren;
    return lm;
}

// Landmarks appended as they stand, without the numbering of InsertLandmark.
TSorBlockLinkParameters withRens(std::initializer_list<int> rens)
{
    TSorBlockLinkParameters block;
    std::int16_t n = 0;
    for (const int ren : rens) {
        ++n;
        block.Landmarks.AddData(landmark(n, 100 * n, static_cast<std::int16_t>(ren)));
    }
    block.TNL = n;
    return block;
}

std::vector<int> rens(const TSorBlockLinkParameters& block)
{
    std::vector<int> out;
    for (int i = 0; i < block.Landmarks.count; ++i)
        out.push_back(block.Landmarks.data[i]->REN);
    return out;
}

std::vector<int> locations(const TSorBlockLinkParameters& block)
{
    std::vector<int> out;
    for (int i = 0; i < block.Landmarks.count; ++i)
        out.push_back(block.Landmarks.data[i]->LML);
    return out;
}

} // namespace

TEST(LandmarkLayoutTest, RecordIsTheSameInBothEditions)
{
    TSorBlockLinkParamLandmark lm;
    lm.LMN = 3;
    lm.LMC = "MH";
    lm.LML = 123456;
    lm.REN = 2;
    lm.Longitude = -1;
    lm.Latitude = 51000000;
    lm.FCI = 7;
    lm.SMI = 8;
    lm.SML = 9;
    lm.USML = "MT";
    lm.MFDL = 92;
    lm.CMT = "manhole";
    const std::string expected = Bytes().i16(3).raw("MH", 2).i32(123456).i16(2).i32(-1).i32(51000000).i16(7)
                                     .i32(8).i32(9).raw("MT", 2).i16(92).text("manhole").s;
    for (const std::uint16_t revision : {100, 209})
        EXPECT_EQ(written(lm, revision), expected);
    // Defaults: code "?" padded to two, one-based event, sheath marks in feet.
    TSorBlockLinkParamLandmark blank;
    EXPECT_EQ(written(blank).substr(0, 4), std::string("\x01\0?\0", 4));
    EXPECT_EQ(written(blank).substr(28), std::string("FT\0\0 \0", 6));
}

TEST(LinkParametersLayoutTest, EmptyBlockIsNameAndZeroCount)
{
    TSorBlockLinkParameters block;
    EXPECT_TRUE(block.IsEmpty());
    EXPECT_EQ(written(block, 200), std::string("LnkParams\0\0\0", 12));
    block.Landmarks.AddData(new TSorBlockLinkParamLandmark());
    EXPECT_FALSE(block.IsEmpty());
}

TEST(LinkParametersLayoutTest, EveryFieldSurvivesWriteAndRead)
{
    TSorBlockLinkParameters block = withRens({1, 0, 3});
    block.Landmarks.data[1]->CMT = "pole 17";
    block.Landmarks.data[2]->Longitude = 13400000;
    block.TNL = 9;  // stale: the array decides
    for (const std::uint16_t revision : {100, 209}) {
        TSorBlockLinkParameters read;
        EXPECT_EQ(readBack(read, written(block, revision), revision), fsOk);
        EXPECT_EQ(fieldLines(read), fieldLines(block)) << "revision " << revision;
        EXPECT_EQ(read.GetTNL(), 3);
        EXPECT_EQ(read.ReadLMNs, (std::vector<std::int16_t>{1, 2, 3}));
    }
}

TEST(LinkParametersInputTest, CountsThatCannotBeMetReadNothingOrWhatThereIs)
{
    // 32767 landmarks in a 20-byte block.
    std::string hostile = Bytes().text("LnkParams").i16(32767).s;
    hostile.resize(20, '\0');
    TSorBlockLinkParameters block = withRens({1});
    EXPECT_EQ(readBack(block, hostile, 209), fsEndOfFile);
    EXPECT_EQ(block.Landmarks.count, 0);
    EXPECT_EQ(block.TNL, 0);

    // A negative count is not an error; it reads no landmarks.
    TSorBlockLinkParameters negative;
    EXPECT_EQ(readBack(negative, Bytes().text("LnkParams").i16(-4).s, 209), fsOk);
    EXPECT_TRUE(negative.IsEmpty());

    // Cut inside the second landmark; long comments let the count pass the
    // size check.
    TSorBlockLinkParameters source = withRens({1, 2, 3});
    for (int i = 0; i < 3; ++i)
        source.Landmarks.data[i]->CMT = std::string(39, 'c').c_str();
    const std::string bytes = written(source);
    TSorBlockLinkParameters cut;
    EXPECT_EQ(readBack(cut, bytes.substr(0, 10 + 2 + 72 + 30), 209), fsEndOfFile);
    EXPECT_EQ(cut.GetTNL(), 2);
    EXPECT_EQ(locations(cut), (std::vector<int>{100, 200}));
}

TEST(LinkParametersEditTest, KeyEventNotificationsFollowTheEvents)
{
    TSorBlockLinkParameters removed = withRens({2, 3, 4});
    removed.OnKeyEventDel(2);
    EXPECT_EQ(rens(removed), (std::vector<int>{2, 0, 3}));

    TSorBlockLinkParameters added = withRens({1, 2, 3, 0});
    added.OnKeyEventAdd(1);
    EXPECT_EQ(rens(added), (std::vector<int>{1, 3, 4, 0}));
    added.OnKeyEventAdd(-1);  // no reference to "no event" appears
    EXPECT_EQ(rens(added), (std::vector<int>{2, 4, 5, 0}));

    added.OnKeyEventsClear();
    EXPECT_EQ(rens(added), (std::vector<int>{0, 0, 0, 0}));

    TSorBlockLinkParameters empty;
    empty.OnKeyEventAdd(0);
    empty.OnKeyEventDel(0);
    empty.OnKeyEventsClear();
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(LinkParametersEditTest, InsertKeepsLocationOrderAndNumbersUniquely)
{
    TSorBlockLinkParameters block;
    EXPECT_EQ(block.InsertLandmark(landmark(0, 300)), 0);
    EXPECT_EQ(block.InsertLandmark(landmark(0, 100)), 0);
    EXPECT_EQ(block.InsertLandmark(landmark(0, 200)), 1);
    TSorBlockLinkParamLandmark* twin = landmark(0, 200);
    EXPECT_EQ(block.InsertLandmark(twin), 2);  // behind the one already at 200
    EXPECT_EQ(block.InsertLandmark(landmark(0, 900)), 4);
    EXPECT_EQ(locations(block), (std::vector<int>{100, 200, 200, 300, 900}));
    EXPECT_EQ(block.GetTNL(), 5);
    EXPECT_EQ(block.GetLandmark(2), twin);
    EXPECT_EQ(twin->LMN, 4);
    EXPECT_EQ(block.GetLandmark(99)->LML, 900);

    // A landmark already held is refused wherever it stands.
    twin->LML = 50;
    EXPECT_EQ(block.InsertLandmark(twin), -1);
    EXPECT_EQ(block.GetTNL(), 5);
    EXPECT_THROW(block.InsertLandmark(nullptr), TSorException);

    // Reinserting moves it to its new place and keeps its number.
    EXPECT_EQ(block.ReinsertLandmark(2), 0);
    EXPECT_EQ(locations(block), (std::vector<int>{50, 100, 200, 300, 900}));
    EXPECT_EQ(block.GetLandmark(0)->LMN, 4);
    EXPECT_EQ(block.ReinsertLandmark(-1), -1);

    block.DeleteLandmark(1);
    block.DeleteLandmark(42);  // past the end: the last one
    EXPECT_EQ(locations(block), (std::vector<int>{50, 200, 300}));
    EXPECT_EQ(block.GetTNL(), 3);
}

TEST(LinkParametersEditTest, UniqueNumberSkipsCurrentAndFormerLandmarks)
{
    TSorBlockLinkParameters block;
    EXPECT_EQ(block.GenerateUniqueLMN(), 1);
    block.Landmarks.AddData(landmark(1, 0));
    block.Landmarks.AddData(landmark(2, 0));
    block.Landmarks.AddData(landmark(4, 0));
    EXPECT_EQ(block.GenerateUniqueLMN(), 3);

    // A number the file held stays taken after its landmark is deleted.
    TSorBlockLinkParameters read;
    ASSERT_EQ(readBack(read, written(block), 209), fsOk);
    read.DeleteLandmark(0);
    EXPECT_EQ(read.GenerateUniqueLMN(), 3);
    read.ReadLMNs.push_back(3);
    EXPECT_EQ(read.GenerateUniqueLMN(), 5);

    // Numbers count as unsigned: -2 is 65534, the last one handed out.
    TSorBlockLinkParameters full;
    for (int n = 1; n <= 65533; ++n)
        full.ReadLMNs.push_back(static_cast<std::int16_t>(n));
    EXPECT_EQ(full.GenerateUniqueLMN(), 65534);
    full.Landmarks.AddData(landmark(-2, 0));
    EXPECT_EQ(full.GenerateUniqueLMN(), 0);
}

TEST(LinkParametersEditTest, AssignIsDeep)
{
    TSorBlockLinkParameters source = withRens({1, 2});
    source.ReadLMNs = {1, 2, 7};
    TSorBlockLinkParameters copy;
    copy.Assign(source);
    EXPECT_EQ(fieldLines(copy), fieldLines(source));
    EXPECT_NE(copy.GetLandmark(0), source.GetLandmark(0));
    EXPECT_EQ(copy.GenerateUniqueLMN(), 3);
    copy.ReadLMNs.clear();
    EXPECT_EQ(source.ReadLMNs.size(), 3u);
}
