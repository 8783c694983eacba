#include "sor/sor-block-aux-parameters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "sor-test-helpers.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-file.h"
#include "sor/sor-log-scale.h"

using sortest::Bytes;
using sortest::readBack;
using sortest::written;

namespace {

using Aux = TSorBlockAUXParameters;

// Overwrites the bytes at `at` with `with`.
void patch(std::string& bytes, std::size_t at, const Bytes& with)
{
    bytes.replace(at, with.s.size(), with.s);
}

// Every field away from its default, each value distinct.
Aux distinct()
{
    Aux b;
    b.Flags = 0x1234;
    b.dOwt0 = 11;
    b.dOwt1 = 12;
    b.ATP0 = 13;
    b.LFPO = 14;
    b.GI = {{101, 102}, {103, 104}};
    b.TGI = 2;
    b.MM.resize(2);
    b.TMM = 2;
    b.MM[0] = {201, 202, 203, 204, 205, 206, 207, 8, 9};
    b.MM[1] = {211, 212, 213, 214, 215, 216, 217, 18, 19};
    b.MAX = 21;
    b.ZERO = 22;
    b.MC = {31, 32, 33};
    b.TMC = 3;
    b.NT = 41;
    b.CT = 42;
    b.BT = 43;
    b.SNL = 44;
    b.NASF = 45;
    b.NLSF = 46;
    b.NL = {0x0102, 0x0304};
    b.TNL = 2;
    b.COMM = "comment";
    b.VLFL = 1;
    b.VL = {{51, 52}};
    b.TVL = 1;
    b.TEMP = 2931;
    b.FLevel10 = 55;
    b.TYP = "TC";
    b.LF = 61;
    b.Xol = 62;
    b.PWM = 63;
    b.ServiceInfo.batteryVoltage = 3700;
    b.ServiceInfo.reflectogramsInBuffer = 9;
    b.LDTS = 123456;
    b.NFL = 71;
    b.begLevel = 72;
    for (std::size_t i = 0; i < b.Hash.size(); ++i)
        b.Hash[i] = static_cast<std::uint8_t>(0xA0 + i);
    b.Scale = 2000;
    b.OffsetA = 81;
    b.OffsetB = 82;
    b.dM = 83;
    b.dMaux = 84;
    b.LevelLimit = 85;
    b.SQO0 = 86;
    b.SQO1 = 87;
    b.SpanValue = 91;
    b.SpanBegin.value = 92;
    b.SpanEnd.value = 93;
    b.IntFiber = 94;
    b.IntFiberFlag = 95;
    b.Job = "job";
    b.Group = "group";
    b.Direction = 1;
    b.LaserFreq = 96;
    b.ZeroCorrectApplied = 97;
    return b;
}

struct FieldCase
{
    unsigned from;  // lowest revision that has the field
    const char* name;
    std::function<std::int64_t(const Aux&)> get;
};

// The fields whose presence follows the revision directly (PON and LDTS are
// tested on their own: they are derived or replaced on reading).
const std::vector<FieldCase>& fieldCases()
{
    static const std::vector<FieldCase> cases = {
        {0, "Flags", [](const Aux& b) { return b.Flags; }},
        {201, "dOwt0", [](const Aux& b) { return b.dOwt0; }},
        {201, "dOwt1", [](const Aux& b) { return b.dOwt1; }},
        {201, "ATP0", [](const Aux& b) { return b.ATP0; }},
        {202, "LFPO", [](const Aux& b) { return b.LFPO; }},
        {0, "GI", [](const Aux& b) { return b.TGI * 1000 + b.GI.at(1).NPGI; }},
        {0, "MM", [](const Aux& b) { return b.TMM * 1000 + b.MM.at(1).TAKT + b.MM.at(1).AVMM; }},
        {0, "MAX", [](const Aux& b) { return b.MAX; }},
        {0, "ZERO", [](const Aux& b) { return b.ZERO; }},
        {0, "MC", [](const Aux& b) { return b.TMC * 1000 + b.MC.at(2); }},
        {0, "BT", [](const Aux& b) { return b.BT; }},
        {0, "NL", [](const Aux& b) { return b.TNL * 100000 + b.NL.at(1) + b.NLSF; }},
        {0, "COMM", [](const Aux& b) { return b.COMM.length; }},
        {203, "VLFL", [](const Aux& b) { return b.VLFL; }},
        {203, "VL", [](const Aux& b) { return b.TVL * 1000 + (b.VL.empty() ? 0 : b.VL[0].PosInPoint); }},
        {204, "TEMP", [](const Aux& b) { return b.TEMP; }},
        {206, "FLevel*10", [](const Aux& b) { return b.FLevel10; }},
        {208, "TYP", [](const Aux& b) { return b.TYP == "TC" ? 1 : 0; }},
        {209, "LF", [](const Aux& b) { return b.LF; }},
        {210, "Xol", [](const Aux& b) { return b.Xol; }},
        {211, "PWM", [](const Aux& b) { return b.PWM; }},
        {212, "ServiceInfo", [](const Aux& b) { return b.ServiceInfo.batteryVoltage; }},
        {214, "NFL", [](const Aux& b) { return b.NFL; }},
        {214, "begLevel", [](const Aux& b) { return b.begLevel; }},
        {215, "hash", [](const Aux& b) { return b.Hash[15]; }},
        {216, "Scale", [](const Aux& b) { return b.Scale; }},
        {218, "OffsetA", [](const Aux& b) { return b.OffsetA; }},
        {218, "LevelLimit", [](const Aux& b) { return b.LevelLimit; }},
        {218, "SQO1", [](const Aux& b) { return b.SQO1; }},
        {219, "SpanValue", [](const Aux& b) { return b.SpanValue; }},
        {219, "SpanEnd", [](const Aux& b) { return b.SpanEnd.value * 10 + b.SpanEnd.type; }},
        {220, "IntFiber", [](const Aux& b) { return b.IntFiber; }},
        {221, "IntFiberFlag", [](const Aux& b) { return b.IntFiberFlag; }},
        {225, "Job", [](const Aux& b) { return b.Job.length * 10 + b.Group.length; }},
        {225, "Direction", [](const Aux& b) { return b.Direction; }},
        {226, "LaserFreq", [](const Aux& b) { return b.LaserFreq; }},
        {228, "ZeroCorrectApplied", [](const Aux& b) { return b.ZeroCorrectApplied; }},
    };
    return cases;
}

// Bytes each revision adds to a block at its defaults (one mode record, no
// other records, COMM " ", TYP "RL", empty Job and Group). From 201 on the
// first mode record has its NPMM and AVMM.
const std::map<unsigned, unsigned> addedBytes = {
    {201, 6 + 8}, {202, 2}, {203, 4}, {204, 2}, {205, 2}, {206, 2}, {208, 3}, {209, 2},
    {210, 2}, {211, 2}, {212, 36}, {213, 4}, {214, 4}, {215, 16}, {216, 2}, {217, 8},
    {218, 14}, {219, 28}, {220, 4}, {221, 2}, {224, 8}, {225, 6}, {226, 2}, {227, 12}, {228, 2}};

std::size_t sizeAt(Aux& block, std::uint16_t revision)
{
    return written(block, revision).size();
}

} // namespace

// ---- revisions ----

TEST(AuxParamRevisionTest, EachRevisionAddsItsBytes)
{
    Aux block;
    // ID 10, Flags, TGI, TMM, the short first mode record 12, MAX, ZERO, TMC,
    // NT, CT, BT, TNL, SNL, NASF, NLSF, COMM " " and NUL.
    std::size_t expected = 50;
    EXPECT_EQ(sizeAt(block, 200), expected);
    for (unsigned r = 201; r <= 228; ++r) {
        const auto it = addedBytes.find(r);
        expected += it == addedBytes.end() ? 0 : it->second;
        EXPECT_EQ(sizeAt(block, static_cast<std::uint16_t>(r)), expected) << "revision " << r;
    }
    EXPECT_EQ(expected, 233u);
}

TEST(AuxParamRevisionTest, FieldsOfLaterRevisionsKeepTheirDefaults)
{
    Aux source = distinct();
    const Aux defaults;
    for (unsigned r = 200; r <= 228; ++r) {
        Aux back;
        ASSERT_EQ(readBack(back, written(source, static_cast<std::uint16_t>(r)), static_cast<std::uint16_t>(r)),
                  fsOk)
            << r;
        for (const FieldCase& field : fieldCases()) {
            if (r >= field.from) {
                EXPECT_EQ(field.get(back), field.get(source)) << field.name << " at revision " << r;
            } else {
                EXPECT_EQ(field.get(back), field.get(defaults)) << field.name << " at revision " << r;
            }
        }
        EXPECT_EQ(back.LDTS, r >= 213 ? 123456 : -1) << r;
        EXPECT_EQ(back.TNWL, 0) << r;
        EXPECT_EQ(written(back, static_cast<std::uint16_t>(r)), written(source, static_cast<std::uint16_t>(r)))
            << "revision " << r << " does not round-trip";
    }
}

TEST(AuxParamRevisionTest, Revision210EndsWithXolAfterLf)
{
    // Which fields each revision reads is checked above; this is their order.
    Aux source = distinct();
    const std::string bytes = written(source, 210);
    EXPECT_EQ(bytes.substr(bytes.size() - 4), Bytes().i16(61).i16(62).s);
}

TEST(AuxParamRevisionTest, FirstEditionFirstModeRecordIsShort)
{
    Aux source = distinct();
    const std::string bytes = written(source, 100);
    // No name; below 201 the first of the two mode records lacks NPMM and AVMM.
    EXPECT_EQ(bytes.size(), written(source, 200).size() - 10);
    EXPECT_EQ(bytes.size(), written(source, 201).size() - 10 - 6 - 8);
    Aux back;
    EXPECT_EQ(readBack(back, bytes, 100), fsOk);
    ASSERT_EQ(back.MM.size(), 2u);
    EXPECT_EQ(back.MM[0].NPMM, 0);
    EXPECT_EQ(back.MM[0].AVMM, 0);
    EXPECT_EQ(back.MM[0].PWU, 203);
    EXPECT_EQ(back.MM[1].NPMM, 211);
    EXPECT_EQ(back.MM[1].AVMM, 212);
    EXPECT_EQ(back.COMM, "comment");
}

// ---- self-sized records and paths ----

TEST(AuxParamRecordTest, LongerSelfSizedRecordsAreSkippedAndWrittenKnown)
{
    Aux source = distinct();
    const std::string original = written(source, 228);
    std::string bytes = original;
    // Each record starts where the block of the revision before it ends;
    // patch the later ones first so that the earlier offsets hold.
    const std::size_t pon2 = sizeAt(source, 223);
    patch(bytes, pon2, Bytes().i32(12));
    bytes.insert(pon2 + 8, "PPPP");
    const std::size_t span = sizeAt(source, 218) + 4;
    patch(bytes, span, Bytes().i32(16));
    bytes.insert(span + 12, "SSSS");
    const std::size_t service = sizeAt(source, 211);
    patch(bytes, service + 12, Bytes().i32(40));
    bytes.insert(service + 36, "IIII");

    Aux back;
    EXPECT_EQ(readBack(back, bytes, 228), fsOk);
    EXPECT_EQ(back.ServiceInfo.length, 36u);
    EXPECT_EQ(back.SpanBegin.length, 12u);
    EXPECT_EQ(back.Pon.length2, 8u);
    EXPECT_EQ(back.ZeroCorrectApplied, 97);
    EXPECT_EQ(written(back, 228), original);
}

TEST(AuxParamRecordTest, RecordLengthBeyondTheDataIsAShortRead)
{
    Aux source = distinct();
    std::string bytes = written(source, 228);
    patch(bytes, sizeAt(source, 211) + 12, Bytes().i32(0xFFFFFFFF));
    Aux back;
    EXPECT_EQ(readBack(back, bytes, 228), fsEndOfFile);
    EXPECT_EQ(back.ServiceInfo.batteryVoltage, 3700u);
}

TEST(AuxParamRecordTest, AssociatedPathsAreSkippedNarrowThenWide)
{
    Aux source = distinct();
    const std::size_t at = sizeAt(source, 204);  // TNWL
    const std::string narrowPaths("a.sor\0dir/b.sor\0", 16);
    // "ab" and U+0100: a zero byte inside a unit does not end the text.
    const std::string widePaths("a\0b\0\0\0\0\x01\0\0", 10);
    for (const auto& [revision, paths] : {std::pair<std::uint16_t, std::string>{206, narrowPaths},
                                          std::pair<std::uint16_t, std::string>{207, widePaths}}) {
        const std::string original = written(source, revision);
        std::string bytes = original;
        patch(bytes, at, Bytes().i16(2));
        bytes.insert(at + 2, paths);
        Aux back;
        EXPECT_EQ(readBack(back, bytes, revision), fsOk) << revision;
        EXPECT_EQ(back.FLevel10, 55) << revision;
        EXPECT_EQ(back.TNWL, 0) << revision;
        EXPECT_EQ(written(back, revision), original) << revision;
    }
}

TEST(AuxParamRecordTest, OtherWalkKeepsThePaths)
{
    Aux source = distinct();
    const std::size_t at = sizeAt(source, 204);
    // Below 207 the narrow texts are kept; from 207 the wide ones are skipped,
    // the count kept.
    for (const auto& [revision, paths] :
         {std::pair<std::uint16_t, std::string>{206, std::string("a.sor\0dir/b.sor\0", 16)},
          std::pair<std::uint16_t, std::string>{207, std::string("\x2D\x4E\0\0\x2D\x4E\0\0", 8)}}) {
        std::string bytes = written(source, revision);
        patch(bytes, at, Bytes().i16(2));
        bytes.insert(at + 2, paths);
        TSorFile file("", "m");
        file.SetData(bytes.data(), bytes.size());
        file.Seek(at);
        Aux block;
        block.RevisionNo = revision;
        block.ReadAssociatedFilesPathsIfRequired(&file);
        EXPECT_EQ(block.TNWL, 2) << revision;
        ASSERT_EQ(block.NWL.size(), 2u) << revision;
        EXPECT_EQ(block.NWL[1], revision == 206 ? "dir/b.sor" : "") << revision;
        std::int16_t level = 0;
        file.Read(level);
        EXPECT_EQ(level, 55) << revision;
    }
}

TEST(AuxParamRecordTest, ValuesOutsideTheirRangeAreReplaced)
{
    Aux source = distinct();
    source.FLevel10 = 150;
    source.Direction = 7;
    source.PonType = 3;
    source.Scale = 0;
    Aux back;
    EXPECT_EQ(readBack(back, written(source, 228), 228), fsOk);
    EXPECT_EQ(back.FLevel10, 10);
    EXPECT_EQ(back.Direction, 0u);
    EXPECT_EQ(back.PonType, 0u);
    EXPECT_EQ(back.Scale, 1000);  // a stored 0 leaves the default

    source.FLevel10 = 100;
    source.Direction = 1;
    source.PonType = 2;
    EXPECT_EQ(readBack(back, written(source, 228), 228), fsOk);
    EXPECT_EQ(back.FLevel10, 100);
    EXPECT_EQ(back.Direction, 1u);
    EXPECT_EQ(back.PonType, 2u);
}

TEST(AuxParamRecordTest, PonFormsFollowEachOther)
{
    Aux source = distinct();
    source.PonType = 2;
    source.FirstSplitterRatio = 4;
    source.SecondSplitterRatio = 8;
    Aux back;
    readBack(back, written(source, 227), 227);
    EXPECT_EQ(back.Pon.enabled, 1u);
    EXPECT_EQ(back.Pon.stages, 2u);
    EXPECT_EQ(back.Pon.splitterType, 8u);
    source.FirstSplitterRatio = 1;
    readBack(back, written(source, 227), 227);
    EXPECT_EQ(back.Pon.stages, 1u);

    // The older form: part two's stages decides the second ratio.
    source.Pon.enabled = 1;
    source.Pon.splitterType = 16;
    source.Pon.stages = 2;
    readBack(back, written(source, 224), 224);
    EXPECT_EQ(back.PonType, 1u);
    EXPECT_EQ(back.FirstSplitterRatio, 16u);
    EXPECT_EQ(back.SecondSplitterRatio, 16u);
    readBack(back, written(source, 217), 217);  // no part two: one stage
    EXPECT_EQ(back.FirstSplitterRatio, 16u);
    EXPECT_EQ(back.SecondSplitterRatio, 1u);
    readBack(back, written(source, 216), 216);  // no PON at all
    EXPECT_EQ(back.PonType, 0u);
    EXPECT_EQ(back.FirstSplitterRatio, 1u);
}

// ---- hostile input ----

TEST(AuxParamHostileTest, CountsBeyondTheDataDoNotAllocate)
{
    Aux block;
    const std::string bytes = written(block, 228);
    const std::size_t tgi = 10 + 2 + 6 + 2;
    const std::size_t tmm = tgi + 2;
    const std::size_t tmc = tmm + 2 + 20 + 4;
    const std::size_t tnl = tmc + 2 + 6;
    for (const auto& [at, count] : {std::pair<std::size_t, std::uint16_t>{tgi, 32767}, {tmm, 65535},
                                    {tmc, 32767}, {tnl, 65535}}) {
        std::string hostile = bytes.substr(0, at + 2 + 8);  // the count and a few bytes
        patch(hostile, at, Bytes().i16(count));
        Aux back;
        EXPECT_EQ(readBack(back, hostile, 228), fsEndOfFile) << at;
        EXPECT_EQ(back.GI.capacity() + back.MC.capacity() + back.NL.capacity(), 0u) << at;
        EXPECT_LE(back.MM.capacity(), 1u) << at;
    }
}

TEST(AuxParamHostileTest, NegativeCountsReadNothing)
{
    Aux block;
    const std::string original = written(block, 228);
    std::string bytes = original;
    const std::size_t tgi = 10 + 2 + 6 + 2;
    patch(bytes, tgi, Bytes().i16(-5));
    patch(bytes, tgi + 2 + 2 + 20 + 4, Bytes().i16(-1));  // TMC
    patch(bytes, sizeAt(block, 202) + 2, Bytes().i16(-300));  // TVL
    Aux back;
    EXPECT_EQ(readBack(back, bytes, 228), fsOk);
    EXPECT_TRUE(back.GI.empty());
    EXPECT_TRUE(back.MC.empty());
    EXPECT_TRUE(back.VL.empty());
    EXPECT_EQ(written(back, 228), original);
}

TEST(AuxParamHostileTest, TruncatedAnywhereReadsWithoutCrash)
{
    Aux source = distinct();
    source.Pon.stages = 2;
    for (std::uint16_t revision : {206, 207, 228}) {
        std::string whole = written(source, revision);
        if (revision < 228) {  // paths without their end
            const std::size_t at = sizeAt(source, 204);
            patch(whole, at, Bytes().i16(3));
            whole.insert(at + 2, revision == 206 ? std::string("abc", 3) : std::string("a\0b\0", 4));
        }
        for (std::size_t n = 0; n < whole.size(); ++n) {
            Aux back;
            const int status = readBack(back, whole.substr(0, n), revision);
            EXPECT_TRUE(status == fsOk || status == fsEndOfFile) << revision << " cut at " << n;
        }
    }
}

// ---- flags and scalars ----

TEST(AuxParamFlagsTest, EachAccessorOwnsItsBit)
{
    const std::vector<std::tuple<int, void (Aux::*)(int), bool (Aux::*)() const>> flags = {
        {0, &Aux::SetFlagFast, &Aux::isFast},         {1, &Aux::SetFlagFilter, &Aux::isFilter},
        {2, &Aux::SetFlagHighRes, &Aux::isHighRes},   {3, &Aux::SetFlagLowPower, &Aux::isLowPower},
        {11, &Aux::SetFlagAutoPrm, &Aux::isAutoPrm},  {14, &Aux::SetFlagLinData, &Aux::isLinData},
        {15, &Aux::SetFlagTime, &Aux::isTime}};
    for (const auto& [bit, set, is] : flags) {
        Aux b;
        (b.*set)(5);
        EXPECT_EQ(static_cast<std::uint16_t>(b.Flags), 1u << bit) << bit;
        EXPECT_TRUE((b.*is)()) << bit;
        b.Flags = -1;
        (b.*set)(0);
        EXPECT_EQ(static_cast<std::uint16_t>(b.Flags), 0xFFFFu & ~(1u << bit)) << bit;
        EXPECT_FALSE((b.*is)()) << bit;
    }
    Aux b;
    b.SetFlagVL(1);
    EXPECT_EQ(b.VLFL, 1);
    EXPECT_EQ(b.Flags, 0);
}

TEST(AuxParamFlagsTest, FilterLevelAndNegativeScale)
{
    Aux b;
    EXPECT_EQ(b.GetNegScale(), 1);
    b.SetNegScale(7);
    EXPECT_EQ(b.GetNegScale(), 4);
    b.SetNegScale(1);
    EXPECT_EQ(b.GetNegScale(), 2);
    EXPECT_EQ(static_cast<std::uint16_t>(b.Flags), 0x1000u);

    b.Flags = 0x0070;
    b.SetFilterLevel(1.64, 1);
    EXPECT_EQ(b.FLevel10, 16);
    EXPECT_EQ(b.Flags & 0x0070, 0x0050);
    EXPECT_TRUE(b.isDynFilter());
    EXPECT_DOUBLE_EQ(b.GetFilterLevel(), 1.6);
    b.SetFilterLevel(0.9, 0);
    EXPECT_EQ(b.Flags & 0x0070, 0x0020);
    // Without a stored level, the class bits answer 1 to 4.
    b.SetFilterLevel(0.04, 0);
    EXPECT_EQ(b.FLevel10, 0);
    EXPECT_DOUBLE_EQ(b.GetFilterLevel(), 1.0);
    b.Flags = 0x0060;
    EXPECT_DOUBLE_EQ(b.GetFilterLevel(), 4.0);
}

TEST(AuxParamScalarTest, LfSqoAndZero)
{
    Aux b;
    b.SetLF(2.5);
    EXPECT_EQ(b.LF, 25000);
    EXPECT_DOUBLE_EQ(b.GetLF(), 2.5);
    b.SetLF(10.0);
    EXPECT_EQ(b.LF, 0x8000 | 5000);
    EXPECT_DOUBLE_EQ(b.GetLF(), 10.0);
    b.SetLF(3.0);
    EXPECT_NE(b.LF & 0x8000, 0);
    EXPECT_NEAR(b.GetLF(), 3.0, 1e-3);

    b.SetSQO(1.234, 0.005);
    EXPECT_EQ(b.SQO0, 123);
    EXPECT_EQ(b.SQO1, 1);
    EXPECT_DOUBLE_EQ(b.GetSQO(0), 1.23);
    EXPECT_EQ(b.GetSQO(2), 0.0);

    b.ZERO = 65535;
    EXPECT_EQ(b.fZero(), 1.0);
}

TEST(AuxParamScalarTest, ArraysAreSizedZeroedAndWrittenInStep)
{
    Aux b;
    b.SetTGI(3);
    b.SetTMC(-2);
    b.SetTNL(4);
    b.SetTVL(1);
    EXPECT_EQ(b.TGI, 3);
    EXPECT_EQ(b.GI.size(), 3u);
    EXPECT_EQ(b.GI[2].NPGI, 0);
    EXPECT_EQ(b.TMC, 0);
    EXPECT_EQ(b.NL, std::vector<std::uint16_t>(4, 0));

    b.MM[0].PWU = 1000;
    b.ReNewMM(1);  // same count: kept
    EXPECT_EQ(b.MM[0].PWU, 1000);
    b.ReNewMM(2);
    EXPECT_EQ(b.TMM, 2);
    EXPECT_EQ(b.MM[0].PWU, 0);
    EXPECT_EQ(b.MM[1].TAKT, 2);

    // Records added behind the counts' back still go out with their count.
    b.GI.push_back({7, 8});
    Aux back;
    readBack(back, written(b, 228), 228);
    EXPECT_EQ(back.TGI, 4);
    EXPECT_EQ(back.GI[3].NPGI, 8);
}

TEST(AuxParamScalarTest, StoredHashIsEmptyWhenZero)
{
    Aux b;
    EXPECT_TRUE(b.GetHash().empty());
    const std::vector<unsigned char> hash(16, 0x5A);
    b.SetHash(hash);
    EXPECT_EQ(b.GetHash(), hash);
    Aux back;
    readBack(back, written(b, 215), 215);
    EXPECT_EQ(back.GetHash(), hash);
    b.SetHash({});
    EXPECT_TRUE(b.GetHash().empty());
}

// ---- noise records ----

TEST(AuxParamNoiseTest, AddedStepsComeBackWithFillers)
{
    Aux b;
    b.SNL = 10000;
    std::uint16_t level = 0;
    long avr = -1;
    EXPECT_EQ(b.GetNL(100, level, avr), 0);
    EXPECT_EQ(level, 10000);
    EXPECT_EQ(avr, 0);

    // d = 2000 / 50 = 40 fits a byte; e = 300 needs two fillers of 127.
    b.AddNL(12000, 300);
    EXPECT_EQ(b.NL, (std::vector<std::uint16_t>{0x007F, 0x007F, 0x282E}));
    EXPECT_EQ(b.GetNL(b.TNL, level, avr), 0);
    EXPECT_EQ(level, 12000);
    EXPECT_EQ(avr, 300);

    // d = 13000 / 50 = 260: two SNR fillers of 127 and 6.
    b.AddNL(25000, 300);
    EXPECT_EQ(b.TNL, 6);
    EXPECT_EQ(b.GetNL(b.TNL, level, avr), 0);
    EXPECT_EQ(level, 25000);
    EXPECT_EQ(avr, 300);
    EXPECT_DOUBLE_EQ(b.GetSNR(), 25.0);
    EXPECT_DOUBLE_EQ(b.GetNoisePeak(), 2.4 - 25.0);

    // The count limits the records taken.
    EXPECT_EQ(b.GetNL(1, level, avr), 0);
    EXPECT_EQ(avr, 127);
}

TEST(AuxParamNoiseTest, StepsOutsideTheLimitFallBackToTheStart)
{
    Aux b;
    b.SNL = 10000;
    b.NLSF = 100;
    b.NL = {0x6400};  // SNR 100: d = 10000, above sqrt(1) * 750 + 5000
    b.TNL = 1;
    std::uint16_t level = 0;
    long avr = 0;
    EXPECT_EQ(b.GetNL(b.TNL, level, avr), 1);
    EXPECT_EQ(level, 10000);
}

TEST(AuxParamNoiseTest, NegativeStepsAreStoredAsFilesHaveThem)
{
    // A downward step writes 0x80 fillers and a byte remainder; read back the
    // bytes add up unsigned, so the step does not come back as a decrease.
    Aux b;
    b.SNL = 20000;
    b.NLSF = 10;
    b.AddNL(18000, 0);  // d = -200: one filler, remainder -72
    EXPECT_EQ(b.NL, (std::vector<std::uint16_t>{0x8000, 0xB800}));
    std::uint16_t level = 0;
    long avr = 0;
    b.GetNL(b.TNL, level, avr);
    EXPECT_EQ(level, 20000 + 10 * (128 + 184));
}

// ---- the log scale ----

TEST(AuxParamLogTest, LinearAndLogInvertEachOther)
{
    Aux b;
    b.MAX = 20000;  // B = -20 dB
    EXPECT_DOUBLE_EQ(b.GetLogBase(), -20.0);
    EXPECT_EQ(b.Log5ToLin(-20.0, 0), 0.0);
    for (int negScale : {0, 2}) {
        b.SetNegScale(negScale);
        // t above and below 2 on both sides of the base.
        for (double level : {-0.5, -10.0, -18.9, -19.2, -20.0, -20.4, -21.3, -35.0, -60.0}) {
            const double lin = b.Log5ToLin(level, 0);
            EXPECT_NEAR(b.LinToLog5(lin), level, 1.1e-3) << level << " scale " << negScale;
            const float flin = b.Log5ToLin(static_cast<float>(level), 0);
            EXPECT_NEAR(b.LinToLog5(flin), level, 1.1e-3) << level << " scale " << negScale;
            EXPECT_NEAR(flin, lin, std::fabs(lin) * 1e-4 + 1e-5) << level;  // one table step apart at most
        }
    }
    // Above the top of the scale the level is cut to 0.
    EXPECT_EQ(b.LinToLog5(b.Log5ToLin(1.0, 0)), 0.0);
    // With `raw`, levels below the base are not compressed.
    b.SetNegScale(2);
    EXPECT_NEAR(b.Log5ToLin(-21.0, 1), -1.328771237954945, 1e-12);
    EXPECT_NEAR(b.Log5ToLin(-21.0, 0), -poww(3.0), 1e-9);
}

TEST(AuxParamLogTest, Log5JoinsItsTwoPieces)
{
    EXPECT_NEAR(Aux::Log5(2.0, 1.0), 5.0 * std::log10(2.0), 1e-6);
    EXPECT_NEAR(Aux::Log5(2.0001, 1.0), Aux::Log5(2.0, 1.0), 1e-3);
    EXPECT_DOUBLE_EQ(Aux::Log5(-1.0, 2.0), -2.0 * 0.752574989159953);
    EXPECT_NEAR(Aux::Log5(-100.0, 2.0), -20.0, 1e-3);
    EXPECT_NEAR(Aux::Log5(100.0f, 1.0f), 10.0f, 1e-3f);
}

TEST(AuxParamLogTest, NegativeLevelsStretchAndMirror)
{
    Aux b;
    b.MAX = 20000;
    b.SetNegScale(2);  // compression 3
    EXPECT_DOUBLE_EQ(b.NLogToLog(-22.0), -26.0);
    EXPECT_DOUBLE_EQ(b.NLogToLog(-10.0), -10.0);
    EXPECT_DOUBLE_EQ(b.NLogToPLog(-22.0), -14.0);
    EXPECT_DOUBLE_EQ(b.NLogToPLog(-10.0), -10.0);
    EXPECT_FLOAT_EQ(b.NLogToLog(-22.0f), -26.0f);
    EXPECT_FLOAT_EQ(b.NLogToPLog(-22.0f), -14.0f);
}

TEST(AuxParamLogTest, PowerNormalisedToTheTopOfTheScale)
{
    Aux b;
    b.MAX = 30000;  // B = -30 dB
    EXPECT_NEAR(b.fPow5(-10.0), 0.01, 1e-6);
    EXPECT_NEAR(b.fPow5(0.0), 1.0, 1e-4);
    EXPECT_DOUBLE_EQ(b.fPow5(std::uint16_t{10000}), b.fPow5(-10.0));
    b.ZERO = 65535 / 2;
    const double z = b.fZero();
    EXPECT_NEAR(b.fPow5(-10.0), 0.01 * (1.0 - z) + z, 1e-6);
}

TEST(AuxParamLogTest, LinearPointsGoBackToRawPoints)
{
    Aux b;
    b.MAX = 20000;
    TSorBlockDataPoints points;
    points.GetSubBlock()->Points.assign(6, 0);
    points.RebuildWholeCache();
    const float lin[] = {100.0f, -100.0f, 0.5f, std::nanf(""), 1e30f, 1.0f};
    b.LinfToLog(lin, points);
    const TSorBlockDataPoints1SF* raw = points.GetSubBlock();
    EXPECT_NEAR(raw->GetValue(0), 10000, 1);  // 10 dB above the base
    EXPECT_NEAR(raw->GetValue(1), 30000, 1);  // 10 dB below it
    EXPECT_EQ(raw->GetValue(2), 19247);  // linear stretch: trunc(MAX - 0.5 * (S / K)), S / K = 1505
    EXPECT_EQ(raw->GetValue(3), 20000);
    EXPECT_EQ(raw->GetValue(4), 0);
    EXPECT_EQ(raw->GetValue(5), 20000);
    EXPECT_FLOAT_EQ(points.numTofLevel(1), -30.0f);
}

TEST(AuxParamDeathTest, AssertionsCarryTheirTexts)
{
    TAUXServiceInfo info;
    EXPECT_DEATH(info.Read(nullptr), "Assertion .F. failed");
    Aux b;
    TSorBlockDataPoints points;
    points.SubBlocks.AddData(new TSorBlockDataPoints1SF());
    const float lin[] = {1.0f};
    EXPECT_DEATH(b.LinfToLog(lin, points), "points.GetSubBlocksNum\\(\\) == 1");
}
