#include "sor/sor-data.h"

#include <cmath>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-block-aux-events.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-crc.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-emb-data.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-map.h"
#include "sor/sor-block-rfts-events.h"
#include "sor/sor-block-special.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-file.h"
#include "support/temp-dir.h"
#include "util/crc.h"

using sortest::fieldLines;
using sortest::makeSampleTrace;
using sortest::readFromBytes;
using sortest::writeToBytes;

namespace {

std::vector<std::string> mapNames(const TSorData& data)
{
    std::vector<std::string> names;
    for (int i = 0; i < data.Map->Entries.count; ++i)
        names.emplace_back(data.Map->Entries.data[i]->ID.data);
    return names;
}

// The file with one more block appended to its Map and body: a foreign
// block, or an entry of a given size.
std::string withExtraBlock(TSorData& data, const std::string& name, const std::string& body, std::int32_t size)
{
    auto* special = new TSorBlockSpecial(static_cast<std::int32_t>(body.size()));
    special->Data.assign(body.begin(), body.end());
    special->ID = name.c_str();
    special->RevisionNo = 123;
    data.SpecialBlocks.AddData(special);
    data.SpecialCount = data.SpecialBlocks.count;
    std::string bytes = writeToBytes(data);
    if (size != static_cast<std::int32_t>(body.size())) {
        // Patch the entry's size in the written Map.
        const std::string key = name + std::string(1, '\0');
        const std::size_t at = bytes.find(key);
        const std::size_t sizeAt = at + key.size() + 2;
        std::memcpy(&bytes[sizeAt], &size, 4);
    }
    return bytes;
}

} // namespace

TEST(SorDataTest, FreshDocumentWritesTheFixedSetOfBlocks)
{
    TSorData data;
    const std::string bytes = writeToBytes(data);
    const auto back = readFromBytes(bytes);
    EXPECT_EQ(back.status, fsOk);
    EXPECT_EQ(mapNames(*back.data), (std::vector<std::string>{"GenParams", "SupParams", "FxdParams", "KeyEvents",
                                                              "AUXEvents", "AUXParams", "EmbData", "Cksum"}));
    data.WriteProprietaryBlocks = 0;
    const auto standard = readFromBytes(writeToBytes(data));
    EXPECT_EQ(mapNames(*standard.data),
              (std::vector<std::string>{"GenParams", "SupParams", "FxdParams", "KeyEvents", "Cksum"}));
}

TEST(SorDataTest, WrittenFileIsConsistent)
{
    auto data = makeSampleTrace();
    const std::string bytes = writeToBytes(*data);
    const auto back = readFromBytes(bytes);
    ASSERT_EQ(back.status, fsOk);
    EXPECT_EQ(mapNames(*back.data),
              (std::vector<std::string>{"GenParams", "SupParams", "FxdParams", "KeyEvents", "LnkParams", "DataPts",
                                        "AUXEvents", "AUXParams", "EmbData", "Cksum"}));
    // The Map's sizes add up to the file.
    long total = back.data->Map->Size;
    for (int i = 0; i < back.data->Map->Entries.count; ++i)
        total += back.data->Map->Entries.data[i]->Size;
    EXPECT_EQ(total, static_cast<long>(bytes.size()));
    // The checksum is CRC-16/CCITT-FALSE of everything before it.
    unsigned short crc = 0xFFFF;
    TCRC().get_crc_ccitt(crc, bytes.data(), static_cast<int>(bytes.size() - 2));
    EXPECT_EQ(back.data->Cksum->CRC, crc);
    // Every block comes back field for field.
    const std::pair<const TSorBlock*, const TSorBlock*> pairs[] = {
        {data->GenParams, back.data->GenParams}, {data->SupParams, back.data->SupParams},
        {data->FxdParams, back.data->FxdParams}, {data->KeyEvents, back.data->KeyEvents},
        {data->LnkParams, back.data->LnkParams}, {data->DataPts, back.data->DataPts},
        {data->AUXEvents, back.data->AUXEvents}};
    for (const auto& [before, after] : pairs)
        EXPECT_EQ(fieldLines(*before), fieldLines(*after)) << before->BID.data;
    // Loading sets the log scale's zero from the points; from then on a
    // save is a fixed point.
    EXPECT_NE(back.data->AUXParams->MAX, data->AUXParams->MAX);
    const std::string once = writeToBytes(*back.data);
    const auto reloaded = readFromBytes(once);
    EXPECT_EQ(fieldLines(*reloaded.data->AUXParams), fieldLines(*back.data->AUXParams));
    EXPECT_TRUE(writeToBytes(*reloaded.data) == once) << "the second save differs";
}

TEST(SorDataTest, ReadMinimalGivesTheSameStandardBlocks)
{
    auto data = makeSampleTrace();
    const std::string bytes = writeToBytes(*data);
    const auto full = readFromBytes(bytes);
    const auto minimal = readFromBytes(bytes, true);
    EXPECT_EQ(minimal.status, fsOk);
    EXPECT_EQ(fieldLines(*full.data->GenParams), fieldLines(*minimal.data->GenParams));
    EXPECT_EQ(fieldLines(*full.data->FxdParams), fieldLines(*minimal.data->FxdParams));
    EXPECT_EQ(fieldLines(*full.data->KeyEvents), fieldLines(*minimal.data->KeyEvents));
    EXPECT_EQ(fieldLines(*full.data->DataPts), fieldLines(*minimal.data->DataPts));
    EXPECT_EQ(minimal.data->EmbData->GetTNED(), 0) << "no linear points on the fast path";
    EXPECT_DOUBLE_EQ(minimal.data->NumToLevel(10), full.data->NumToLevel(10));
}

TEST(SorDataTest, ForeignBlocksAreCarriedThroughByteForByte)
{
    auto data = makeSampleTrace();
    std::string body = "XYZ";
    body.push_back('\0');
    for (int i = 0; i < 96; ++i)
        body.push_back(static_cast<char>(i * 31 + 7));
    const std::string bytes = withExtraBlock(*data, "XYZ", body, 100);
    const auto loaded = readFromBytes(bytes);
    ASSERT_EQ(loaded.status, fsOk);
    ASSERT_EQ(loaded.data->SpecialCount, 1);
    const TSorBlockSpecial& special = *loaded.data->SpecialBlocks.data[0];
    EXPECT_EQ(std::string(special.Data.begin(), special.Data.end()), body);
    const auto again = readFromBytes(writeToBytes(*loaded.data));
    const TSorBlockMapBlockInfo* entry = nullptr;
    for (int i = 0; i < again.data->Map->Entries.count; ++i)
        if (again.data->Map->Entries.data[i]->ID == "XYZ")
            entry = again.data->Map->Entries.data[i];
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->RevisionNo, 123);
    EXPECT_EQ(entry->Size, 100);
    EXPECT_EQ(again.data->SpecialBlocks.data[0]->Data, special.Data);

    loaded.data->WriteProprietaryBlocks = 0;
    const auto standard = readFromBytes(writeToBytes(*loaded.data));
    EXPECT_EQ(standard.data->SpecialCount, 1) << "foreign blocks stay without our own";
}

TEST(SorDataTest, EntryOfSizeZeroIsPassedOver)
{
    auto data = makeSampleTrace();
    const std::string bytes = withExtraBlock(*data, "Empty", "", 0);
    const auto loaded = readFromBytes(bytes);
    EXPECT_EQ(loaded.status, fsOk);
    EXPECT_EQ(loaded.data->SpecialCount, 0);
    EXPECT_EQ(loaded.data->KeyEvents->TNKE, 3);
}

TEST(SorDataTest, RepairsOnLoad)
{
    // One segment without its point count: the points fill it in.
    auto data = makeSampleTrace();
    data->FxdParams->NPPW[0] = 0;
    auto loaded = readFromBytes(writeToBytes(*data));
    EXPECT_EQ(loaded.data->FxdParams->NPPW[0], 2000);

    // A negative user offset becomes positive and moves every position once.
    data = makeSampleTrace();
    data->GenParams->UO = -500;
    loaded = readFromBytes(writeToBytes(*data));
    EXPECT_EQ(loaded.data->GenParams->UO, 500);
    EXPECT_EQ(loaded.data->KeyEvents->Events.data[1]->EPT, 700 * 5 + 500);
    EXPECT_EQ(loaded.data->KeyEvents->Events.data[1]->ML0, 500);
    EXPECT_EQ(loaded.data->LnkParams->Landmarks.data[0]->LML, 700 * 5 + 500);
    const auto again = readFromBytes(writeToBytes(*loaded.data));
    EXPECT_EQ(again.data->KeyEvents->Events.data[1]->EPT, 700 * 5 + 500) << "no second shift";

    // A noise-floor scale of 100 is read as 10000 where the acquisition block says so.
    data = makeSampleTrace();
    data->FxdParams->NFSF = 100;
    loaded = readFromBytes(writeToBytes(*data));
    EXPECT_EQ(loaded.data->FxdParams->NFSF, 10000);
}

TEST(SorDataTest, LinearCompanionIsMadeAndNeverStored)
{
    auto data = makeSampleTrace();
    const auto loaded = readFromBytes(writeToBytes(*data));
    const auto* linear = static_cast<const float*>(loaded.data->GetEmbData("LINF"));
    ASSERT_NE(linear, nullptr);
    EXPECT_GT(linear[0], linear[1000]) << "power falls along the fiber";
    EXPECT_NE(loaded.data->AUXParams->MAX, 0) << "the log scale's zero is set from the points";
    const auto again = readFromBytes(writeToBytes(*loaded.data));
    int stored = 0;
    for (int i = 0; i < again.data->Map->Entries.count; ++i)
        if (again.data->Map->Entries.data[i]->ID == "EmbData")
            stored = again.data->Map->Entries.data[i]->Size;
    EXPECT_LT(stored, 20) << "the LINF entry does not reach the file";
}

TEST(SorDataTest, TrustFollowsTheHashOfThePoints)
{
    auto data = makeSampleTrace();
    data->Untrusted = 0;  // as an instrument of ours makes it
    const std::string genuine = writeToBytes(*data);
    EXPECT_EQ(readFromBytes(genuine).data->Untrusted, 0);

    // Change a point at the head of the trace, keep the stored hash.
    auto tampered = readFromBytes(genuine);
    tampered.data->DataPts->SetRawLevel(5, 1234);
    tampered.data->Untrusted = 1;
    const std::string changed = writeToBytes(*tampered.data);
    const auto reloaded = readFromBytes(changed);
    EXPECT_EQ(reloaded.data->Untrusted, 1);
    EXPECT_EQ(reloaded.data->AUXParams->Hash, readFromBytes(genuine).data->AUXParams->Hash)
        << "a doubtful trace keeps the hash it came with";
    EXPECT_EQ(readFromBytes(writeToBytes(*reloaded.data)).data->Untrusted, 1) << "and stays doubtful";
}

TEST(SorDataTest, OlderAcquisitionBlocksAreTrustedByMaker)
{
    // A trace saved with an acquisition block of revision 214, which has no hash.
    const auto check = [](const char* supplier, std::uint16_t atp0, const char* other) {
        auto d = makeSampleTrace();
        d->SupParams->SN = supplier;
        d->SupParams->OT = other;
        d->AUXParams->ATP0 = atp0;
        std::string bytes = writeToBytes(*d);
        // Rewrite the AUXParams revision in the Map to 214.
        const std::string key = std::string("AUXParams") + '\0';
        const std::size_t at = bytes.find(key);
        const std::uint16_t older = 214;
        std::memcpy(&bytes[at + key.size()], &older, 2);
        return readFromBytes(bytes).data->Untrusted;
    };
    EXPECT_EQ(check("FiberTest", 500, "[61] module"), 0);
    EXPECT_EQ(check("Somebody", 500, "[61] module"), 1) << "unknown maker";
    EXPECT_EQ(check("FiberTest", 0, "[61] module"), 1) << "no true pulse";
    EXPECT_EQ(check("FiberTest", 400, "[61] module"), 1) << "80 ns against 100 ns nominal";
    EXPECT_EQ(check("FiberTest", 500, "[51] module"), 1) << "not a module of ours";
    EXPECT_EQ(check("FiberTest", 500, "no brackets"), 1);
}

TEST(SorDataTest, AssignIsDeepAndKeepsTheWriteFlags)
{
    auto data = makeSampleTrace();
    const auto loaded = readFromBytes(withExtraBlock(*data, "XYZ", "XYZ\0abc", 7));
    loaded.data->WriteProprietaryBlocks = 0;
    TSorData copy;
    copy.Assign(*loaded.data);
    EXPECT_EQ(copy.WriteProprietaryBlocks, 1);
    EXPECT_EQ(fieldLines(*copy.KeyEvents), fieldLines(*loaded.data->KeyEvents));
    EXPECT_EQ(fieldLines(*copy.DataPts), fieldLines(*loaded.data->DataPts));
    ASSERT_EQ(copy.SpecialCount, 1);
    EXPECT_NE(copy.SpecialBlocks.data[0], loaded.data->SpecialBlocks.data[0]);
    loaded.data->KeyEvents->Events.data[0]->EPT = 99;
    EXPECT_NE(copy.KeyEvents->Events.data[0]->EPT, 99);
    copy.Assign(copy);
    EXPECT_EQ(copy.KeyEvents->TNKE, 3) << "self-assignment changes nothing";

    TSorData info;
    info.AssignInfo(*loaded.data, 1);
    EXPECT_STREQ(info.GenParams->CID.data, "CABLE-7");
    EXPECT_EQ(info.DataPts->GetPointsNum(), 0) << "only the descriptive fields";
}

TEST(SorDataTest, LevelsAndTimes)
{
    auto data = makeSampleTrace();
    EXPECT_DOUBLE_EQ(data->NumToLevel(-1), -65.5);
    EXPECT_DOUBLE_EQ(data->NumToLevel(2000), -65.5);
    const double owt = data->FxdParams->NumToOwt(100) + 2.5;  // halfway to point 101
    EXPECT_NEAR(data->OwtToLevel(owt, 1), (data->NumToLevel(100) + data->NumToLevel(101)) / 2, 1e-6);
    EXPECT_DOUBLE_EQ(data->OwtToLevel(owt, 0), data->NumToLevel(100));
    long at = 0;
    const double peak = data->GetMax(static_cast<long>(data->FxdParams->NumToOwt(1400)),
                                     static_cast<long>(data->FxdParams->NumToOwt(1600)), at);
    EXPECT_NEAR(peak, data->NumToLevel(1500), 1e-6);
    EXPECT_EQ(at, static_cast<long>(data->FxdParams->NumToOwt(1500)));
    EXPECT_DOUBLE_EQ(data->GetRealNsPulse(0), 100.0) << "ATP0 500 x 0.2 ns";

    // On a spacing of no whole number of OWT units the time of the maximum
    // is the nearest one, so that reading the level there finds the peak
    // (a truncated time would read partly the point before it).
    data->FxdParams->DS[0] = 49999;
    data->GetMax(static_cast<long>(data->FxdParams->NumToOwt(1400)),
                 static_cast<long>(data->FxdParams->NumToOwt(1600)), at);
    EXPECT_EQ(at, std::lround(data->FxdParams->NumToOwt(1500)));
    EXPECT_NEAR(data->OwtToLevel(static_cast<double>(at), 1), peak, 1e-6);
}

TEST(SorDataTest, SavedComparisonResults)
{
    auto data = makeSampleTrace();
    data->RFTSEvents->LevelName = "Major";
    data->RFTSEvents->SetTNRFTSE(3);
    data->SaveRFTSEvents();
    ASSERT_NE(data->GetSavedRFTSEvents(TString("Major")), nullptr);
    EXPECT_EQ(data->GetSavedRFTSEvents(TString("Minor")), nullptr);
    EXPECT_EQ(data->LoadRFTSEvents(TString("Major")), 1);
    data->KeyEvents->TNKE = 2;
    EXPECT_EQ(data->LoadRFTSEvents(TString("Major")), 0) << "the events no longer match";
    data->DeleteSavedRFTSEvents();
    EXPECT_EQ(data->GetSavedRFTSEvents(TString("Major")), nullptr);
}

TEST(SorDataTest, BadFilesEndWithAStatus)
{
    TSorData data;
    testsupport::TempDir dir;
    EXPECT_EQ(data.Read(dir.file("missing.sor").c_str(), "rb"), fsOpenError);

    // A Map of a newer major revision: status 2, the document as after Init.
    auto sample = makeSampleTrace();
    std::string bytes = writeToBytes(*sample);
    const std::uint16_t newer = 300;
    std::memcpy(&bytes[4], &newer, 2);
    const auto refused = readFromBytes(bytes);
    EXPECT_EQ(refused.status, fsReadError);
    EXPECT_EQ(refused.data->KeyEvents->TNKE, 0);

    // A file cut in the middle of its points loads what there is.
    const std::string whole = writeToBytes(*sample);
    const auto cut = readFromBytes(whole.substr(0, whole.size() / 2));
    EXPECT_EQ(cut.status, fsEndOfFile);
    EXPECT_EQ(cut.data->KeyEvents->TNKE, 3) << "blocks before the cut are there";
}

TEST(SorDataTest, DiskRoundTripThroughNames)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("sample.sor");
    auto data = makeSampleTrace();
    ASSERT_EQ(data->Write(path.c_str(), "wb"), fsOk);
    TSorData back;
    ASSERT_EQ(back.Read(path.c_str(), "rb"), fsOk);
    EXPECT_EQ(fieldLines(*back.DataPts), fieldLines(*data->DataPts));
}

// Inputs that fuzzing found to break an earlier version, rebuilt here by hand.
TEST(SorDataRegressionTest, PointsFarBelowTheScaleKeepTheLogZeroInRange)
{
    auto data = makeSampleTrace();
    data->DataPts->SetPointsSubBlockScaleFactor(0, 30000);  // 30 mdB a raw unit: down to -1966 dB
    data->DataPts->RebuildWholeCache();
    const auto loaded = readFromBytes(writeToBytes(*data));
    EXPECT_EQ(loaded.status, fsOk);
    EXPECT_EQ(loaded.data->AUXParams->MAX, 65535);
}

TEST(SorDataRegressionTest, UserOffsetRepairWrapsAtTheEndsOfTheRange)
{
    auto data = makeSampleTrace();
    data->GenParams->UO = -167772160;
    data->KeyEvents->Events.data[0]->EPT = 2017853472;
    const auto loaded = readFromBytes(writeToBytes(*data));
    EXPECT_EQ(loaded.status, fsOk);
    EXPECT_EQ(loaded.data->GenParams->UO, 167772160);
    EXPECT_EQ(static_cast<std::uint32_t>(loaded.data->KeyEvents->Events.data[0]->EPT), 2017853472u + 167772160u);
}

TEST(SorDataRegressionTest, OverlongCommentKeepsTheSaveAFixedPoint)
{
    auto data = makeSampleTrace();
    data->KeyEvents->Events.data[1]->CMT = std::string(1500, 'x').c_str();
    const std::string once = writeToBytes(*readFromBytes(writeToBytes(*data)).data);
    const auto reloaded = readFromBytes(once);
    EXPECT_EQ(reloaded.data->KeyEvents->Events.data[1]->CMT.length, 1023);
    EXPECT_EQ(reloaded.data->KeyEvents->Events.data[2]->EPT, 1500 * 5) << "the fields after it are in place";
    EXPECT_TRUE(writeToBytes(*reloaded.data) == once);
}

TEST(SorDataRegressionTest, ABlockListedTwiceIsReadFromItsFirstEntry)
{
    // A hostile Map may list one of our blocks thousands of times, each
    // read parsing the rest of the file again; only the first entry counts.
    TSorBlockGeneralParameters first;
    TSorBlockGeneralParameters second;
    first.CID = "first";
    second.CID = "second";
    first.RevisionNo = second.RevisionNo = 200;
    TSorBlockMap map;
    map.AddEntry(new TSorBlockMapBlockInfo("GenParams", 200, first.GetBlockSize()));
    map.AddEntry(new TSorBlockMapBlockInfo("GenParams", 200, second.GetBlockSize()));
    map.Size = map.GetBlockSize();
    TSorFile file("", "m");
    map.Write(&file);
    first.Write(&file);
    second.Write(&file);
    const auto loaded = readFromBytes(std::string(file.GetData(), file.GetDataSize()));
    EXPECT_EQ(loaded.status, fsOk);
    EXPECT_STREQ(loaded.data->GenParams->CID.data, "first");
}
