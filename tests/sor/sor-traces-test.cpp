// Every real trace of other makers in the shared folder: it loads, the fast
// load agrees, and a save is a fixed point that keeps what it must.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-map.h"
#include "sor/sor-block-special.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-crc.h"
#include "sor/sor-file.h"
#include "support/files.h"
#include "util/crc.h"

using sortest::fieldLines;
using sortest::readFromBytes;
using sortest::writeToBytes;

namespace {

std::vector<std::string> traceNames()
{
    std::vector<std::string> names;
    const std::string dir = testsupport::tracesDir();
    if (dir.empty())
        return names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        const std::string ext = entry.path().extension().string();
        if (ext == ".sor" || ext == ".SOR")
            names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The blocks of the published format, which a save must keep field for field.
std::vector<const TSorBlock*> standardBlocks(const TSorData& d)
{
    return {d.GenParams, d.SupParams, d.FxdParams, d.KeyEvents, d.LnkParams, d.DataPts};
}

class SorTracesTest : public ::testing::TestWithParam<std::string>
{
protected:
    std::string bytes() const { return testsupport::readFile(testsupport::tracesDir() + "/" + GetParam()); }
};

} // namespace

TEST_P(SorTracesTest, LoadsFullyAndFast)
{
    const std::string original = bytes();
    const auto full = readFromBytes(original);
    EXPECT_EQ(full.status, fsOk);
    EXPECT_GT(full.data->DataPts->GetPointsNum(), 1000);
    const auto minimal = readFromBytes(original, true);
    EXPECT_EQ(minimal.status, fsOk);
    const auto a = standardBlocks(*full.data);
    const auto b = standardBlocks(*minimal.data);
    for (std::size_t i = 0; i < a.size(); ++i)
        EXPECT_EQ(fieldLines(*a[i]), fieldLines(*b[i])) << a[i]->BID.data;
}

TEST_P(SorTracesTest, SaveIsAFixedPointThatKeepsEverything)
{
    const std::string original = bytes();
    const auto loaded = readFromBytes(original);
    ASSERT_EQ(loaded.status, fsOk);
    const std::string once = writeToBytes(*loaded.data);
    const auto reloaded = readFromBytes(once);
    ASSERT_EQ(reloaded.status, fsOk);
    const std::string twice = writeToBytes(*reloaded.data);
    EXPECT_TRUE(once == twice) << "the second save differs from the first";

    // Every field of the standard blocks is equal before and after.
    const auto before = standardBlocks(*loaded.data);
    const auto after = standardBlocks(*reloaded.data);
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_EQ(fieldLines(*before[i]), fieldLines(*after[i])) << before[i]->BID.data;

    // Each foreign block comes back byte for byte, with its Map entry's
    // name, revision and size.
    const auto originalLoad = readFromBytes(original);
    const TSorBlockMap& originalMap = *originalLoad.data->Map;
    ASSERT_EQ(reloaded.data->SpecialCount, loaded.data->SpecialCount);
    for (int i = 0; i < loaded.data->SpecialCount; ++i) {
        const TSorBlockSpecial& was = *loaded.data->SpecialBlocks.data[i];
        const TSorBlockSpecial& is = *reloaded.data->SpecialBlocks.data[i];
        EXPECT_STREQ(is.ID.data, was.ID.data);
        EXPECT_EQ(is.RevisionNo, was.RevisionNo);
        EXPECT_TRUE(is.Data == was.Data) << was.ID.data;
        bool found = false;
        for (int e = 0; e < originalMap.Entries.count; ++e) {
            const TSorBlockMapBlockInfo& entry = *originalMap.Entries.data[e];
            if (!(entry.ID == was.ID.data))
                continue;
            found = true;
            EXPECT_EQ(entry.RevisionNo, is.RevisionNo);
            EXPECT_EQ(entry.Size, static_cast<std::int32_t>(is.Data.size()));
            // And the bytes are the same as in the original file.
        }
        EXPECT_TRUE(found) << was.ID.data;
    }

    // The Map sizes of the written file add up to its length, and its
    // checksum is CRC-16/CCITT-FALSE of all the bytes before it.
    long total = reloaded.data->Map->Size;
    for (int i = 0; i < reloaded.data->Map->Entries.count; ++i)
        total += reloaded.data->Map->Entries.data[i]->Size;
    EXPECT_EQ(total, static_cast<long>(once.size()));
    unsigned short crc = 0xFFFF;
    TCRC().get_crc_ccitt(crc, once.data(), static_cast<int>(once.size() - 2));
    EXPECT_EQ(reloaded.data->Cksum->CRC, crc);
    EXPECT_EQ(static_cast<unsigned char>(once[once.size() - 2]) | (static_cast<unsigned char>(once.back()) << 8), crc);
}

TEST_P(SorTracesTest, ForeignBlocksMatchTheOriginalBytes)
{
    const std::string original = bytes();
    const auto loaded = readFromBytes(original);
    const TSorBlockMap& map = *loaded.data->Map;
    unsigned long position = static_cast<unsigned long>(map.Size);
    int special = 0;
    for (int i = 0; i < map.Entries.count; ++i) {
        const TSorBlockMapBlockInfo& entry = *map.Entries.data[i];
        const auto start = position;
        position += static_cast<unsigned long>(entry.Size);
        if (special < loaded.data->SpecialCount && loaded.data->SpecialBlocks.data[special]->ID == entry.ID.data) {
            const auto& data = loaded.data->SpecialBlocks.data[special]->Data;
            EXPECT_TRUE(std::string(data.begin(), data.end()) == original.substr(start, entry.Size)) << entry.ID.data;
            ++special;
        }
    }
    EXPECT_EQ(special, loaded.data->SpecialCount);
}

INSTANTIATE_TEST_SUITE_P(SharedTraces, SorTracesTest, ::testing::ValuesIn(traceNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name;
                             for (char c : info.param)
                                 name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SorTracesTest);

TEST(SorTracesPresenceTest, SharedTracesAreThere)
{
    if (testsupport::tracesDir().empty())
        GTEST_SKIP() << "the shared traces are not on this machine; their tests are skipped";
    EXPECT_GE(traceNames().size(), 9u);
}
