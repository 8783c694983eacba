#include "sor/sor-block-general-parameters.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

// Little-endian bytes of a record, built the way the format lays them out.
struct Bytes
{
    std::string s;
    Bytes& text(const char* t) { s.append(t, std::char_traits<char>::length(t) + 1); return *this; }
    Bytes& raw(const char* t, std::size_t n) { s.append(t, n); return *this; }
    Bytes& i16(int v) { return le(static_cast<unsigned long>(v), 2); }
    Bytes& i32(long v) { return le(static_cast<unsigned long>(v), 4); }
    Bytes& le(unsigned long v, int n)
    {
        for (int i = 0; i < n; ++i)
            s.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
        return *this;
    }
};

std::string written(TSorBlock& block)
{
    TSorFile file("", "m");
    block.Write(&file);
    return file.GetDataSize() == 0 ? std::string() : std::string(file.GetData(), file.GetDataSize());
}

std::int32_t readBack(TSorBlock& block, const std::string& bytes, std::uint16_t revision)
{
    TSorFile file(bytes.data(), bytes.size());
    block.ReadRN(&file, revision);
    return file.Status;
}

// "name=value" lines of every field the block reports.
std::vector<std::string> fieldLines(const TSorBlock& block)
{
    struct Recorder : TSorFieldVisitor
    {
        std::vector<std::string> lines;
        void add(const char* name, const std::string& v) { lines.push_back(std::string(name ? name : "") + "=" + v); }
        void Int(const char* name, std::int64_t value) override { add(name, std::to_string(value)); }
        void Real(const char* name, double value) override { add(name, std::to_string(value)); }
        void Text(const char* name, const TString& v) override { add(name, "'" + std::string(v.data) + "'"); }
        void Bytes(const char* name, const char* data, std::size_t n) override { add(name, std::string(data, n)); }
        void BeginList(const char* name) override { add(name, "["); }
        void EndList() override { lines.emplace_back("]"); }
        void BeginRecord(const char* name) override { add(name, "{"); }
        void EndRecord() override { lines.emplace_back("}"); }
    } recorder;
    block.Fields(recorder);
    return recorder.lines;
}

TSorBlockGeneralParameters sample()
{
    TSorBlockGeneralParameters block;
    block.LC = "DE";
    block.CID = "Cable 7";
    block.FID = "Fiber 12";
    block.FT = 657;
    block.NW = 1550;
    block.OL = "Exchange A";
    block.TL = "Cabinet B";
    block.CCD = "G.652D 48f";
    block.CDF = "RC";
    block.UO = -500;
    block.UOD = 1234;
    block.OP = "tech";
    block.CMT = "after repair";
    return block;
}

} // namespace

TEST(GeneralParametersTest, DefaultBlockAtRevision200HasTheExactLayout)
{
    TSorBlockGeneralParameters block;
    block.RevisionNo = 200;
    const std::string expected = Bytes().text("GenParams").raw("EN", 2).text(" ").text(" ").i16(652).i16(1310)
                                     .text(" ").text(" ").text(" ").raw("BC", 2).i32(0).i32(0).text(" ")
                                     .text(" ").s;
    EXPECT_EQ(written(block), expected);
    EXPECT_EQ(block.GetBlockSize(), static_cast<std::int32_t>(expected.size()));
}

TEST(GeneralParametersTest, FirstEditionHasNoNameNoFiberTypeAndNoOffsetDistance)
{
    TSorBlockGeneralParameters block = sample();
    block.RevisionNo = 100;
    const std::string expected = Bytes().raw("DE", 2).text("Cable 7").text("Fiber 12").i16(1550)
                                     .text("Exchange A").text("Cabinet B").text("G.652D 48f").raw("RC", 2)
                                     .i32(-500).text("tech").text("after repair").s;
    EXPECT_EQ(written(block), expected);

    TSorBlockGeneralParameters read;
    EXPECT_EQ(readBack(read, expected, 100), fsOk);
    // The fields the record lacks keep the reader's own values.
    TSorBlockGeneralParameters want = sample();
    want.FT = 652;
    want.UOD = 0;
    EXPECT_EQ(fieldLines(read), fieldLines(want));
}

TEST(GeneralParametersTest, EveryFieldSurvivesWriteAndRead)
{
    for (const std::uint16_t revision : {200, 209}) {
        TSorBlockGeneralParameters block = sample();
        block.RevisionNo = revision;
        TSorBlockGeneralParameters read;
        EXPECT_EQ(readBack(read, written(block), revision), fsOk);
        EXPECT_EQ(fieldLines(read), fieldLines(block)) << "revision " << revision;
    }
}

TEST(GeneralParametersTest, TwoLetterCodesArePaddedOrCut)
{
    TSorBlockGeneralParameters block;
    block.RevisionNo = 100;
    block.LC = "ENG";
    block.CDF = "R";
    const std::string bytes = written(block);
    EXPECT_EQ(bytes.substr(0, 2), "EN");
    TSorBlockGeneralParameters read;
    EXPECT_EQ(readBack(read, bytes, 100), fsOk);
    EXPECT_EQ(std::string(read.LC.data), "EN");
    EXPECT_EQ(std::string(read.CDF.data), "R");
    EXPECT_EQ(read.UO, 0);
}

TEST(GeneralParametersTest, TruncatedBlockKeepsWhatWasReadAndReportsEndOfFile)
{
    TSorBlockGeneralParameters block = sample();
    const std::string bytes = written(block);
    // Cut inside the originating location text.
    const std::string cut = bytes.substr(0, bytes.find("Exchange") + 3);
    TSorBlockGeneralParameters read;
    EXPECT_EQ(readBack(read, cut, 209), fsEndOfFile);
    EXPECT_EQ(std::string(read.FID.data), "Fiber 12");
    EXPECT_EQ(read.NW, 1550);
    EXPECT_EQ(read.UO, 0);
}

TEST(GeneralParametersTest, AssignCopiesEveryField)
{
    const TSorBlockGeneralParameters source = sample();
    TSorBlockGeneralParameters copy;
    copy.Assign(source);
    EXPECT_EQ(fieldLines(copy), fieldLines(source));
}
