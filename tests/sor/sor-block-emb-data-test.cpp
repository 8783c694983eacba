#include "sor/sor-block-emb-data.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sor-test-helpers.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

using sortest::Bytes;
using sortest::fieldLines;
using sortest::readBack;
using sortest::throwsSor;
using sortest::written;

namespace {

// The file form of an entry header.
std::string header(const std::string& id, const std::string& comment, const std::string& description,
                   std::int32_t dataSize)
{
    return Bytes().text(id).text(comment).text(description).i32(dataSize).s;
}

TEmbData1E* rawEntry(const std::string& description, const std::string& data)
{
    auto* entry = new TEmbData1E(TString(description.c_str()));
    entry->SetID(TString("id"));
    entry->SetComment(TString("note"));
    entry->SetData(data.data(), static_cast<long>(data.size()));
    return entry;
}

TSorBlockRFTSEvents someEvents()
{
    TSorBlockRFTSEvents events;
    events.LevelName = "Minor";
    events.BaseSorName = "base.sor";
    events.SetTNRFTSE(3);
    events.GetEvent(2)->MakeFail(true);
    events.MonitorResult = 12;
    return events;
}

void setPoints(TSorData& sor, const std::vector<std::uint16_t>& points)
{
    sor.DataPts->GetSubBlock()->Points = points;
    sor.DataPts->RebuildWholeCache();
}

} // namespace

TEST(EmbDataEntryTest, RawEntryOfFiveBytesRoundTrips)
{
    const std::string data("\x01\x00\xFF\x7F\x80", 5);
    std::unique_ptr<TEmbData1E> entry(rawEntry("picture", data));
    EXPECT_EQ(entry->GetDataKind(), TEmbData1E::dkRaw);
    const std::string bytes = written(*entry);
    EXPECT_EQ(bytes, header("id", "note", "picture", 5) + data);

    TEmbData1E back;
    unsigned long end = 0;
    EXPECT_EQ(readBack(back, bytes + "next", &end), fsOk);
    EXPECT_EQ(end, bytes.size());
    EXPECT_EQ(fieldLines(back), fieldLines(*entry));
    EXPECT_FALSE(back.IsEmpty());
}

TEST(EmbDataEntryTest, NegativeDataSizeIsBadData)
{
    // Raw data, and the kinds that do not read DataSize bytes themselves.
    for (const char* description : {"c", "RFTSEVENTS", "SOR"}) {
        TEmbData1E entry;
        EXPECT_TRUE(throwsSor(TSorException::BadData,
                              [&] { (void)readBack(entry, header("a", "b", description, -1) + "xxxx"); }))
            << description;
    }
    TEmbData1E entry;
    EXPECT_TRUE(sortest::nullFileRefused(entry));
}

TEST(EmbDataEntryTest, ZeroDataSizeReadsAsEmptyButPresentData)
{
    TEmbData1E entry;
    EXPECT_EQ(readBack(entry, header("i", "c", "raw", 0)), fsOk);
    EXPECT_NE(entry.GetData(), nullptr);
    EXPECT_EQ(entry.DataSize, 0);
    EXPECT_TRUE(entry.IsEmpty());
    EXPECT_EQ(written(entry), header("i", "c", "raw", 0));
}

TEST(EmbDataEntryTest, RawDataBeyondTheFileIsAShortRead)
{
    TEmbData1E entry;
    EXPECT_EQ(readBack(entry, header("", "", "blob", 0x7FFFFFFF) + "abc"), fsEndOfFile);
    EXPECT_EQ(entry.DataSize, 3);  // what there was
    ASSERT_NE(entry.GetData(), nullptr);
    EXPECT_EQ(std::memcmp(entry.GetData(), "abc", 3), 0);

    // Cut inside the header: no data, and nothing is invented.
    TEmbData1E cut;
    EXPECT_NE(readBack(cut, header("id", "", "blob", 4).substr(0, 6)), fsOk);
    EXPECT_EQ(cut.GetData(), nullptr);
}

TEST(EmbDataEntryTest, RftsEventsInAnyCaseAreStoredWithTheirRevision)
{
    TEmbData1E entry(TString("rftsevents"));
    TSorBlockRFTSEvents events = someEvents();
    events.RevisionNo = 204;
    entry.SetData(events);
    EXPECT_EQ(entry.GetDataKind(), TEmbData1E::dkRFTSEvents);
    ASSERT_NE(entry.GetRFTSEvents(), nullptr);
    EXPECT_EQ(entry.GetData(), entry.GetRFTSEvents());

    const std::string bytes = written(entry);
    const std::string blockBytes = written(events);
    EXPECT_EQ(entry.DataSize, static_cast<std::int32_t>(blockBytes.size() + 2));
    EXPECT_EQ(bytes, header("", "", "rftsevents", entry.DataSize) + Bytes().i16(204).s + blockBytes);

    TEmbData1E back;
    unsigned long end = 0;
    EXPECT_EQ(readBack(back, bytes, &end), fsOk);
    EXPECT_EQ(end, bytes.size());
    const TSorBlockRFTSEvents* read = back.GetRFTSEvents();
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->RevisionNo, 204);
    EXPECT_EQ(fieldLines(*read), fieldLines(events));
    EXPECT_EQ(back.GetDataSize(), entry.DataSize);
}

TEST(EmbDataEntryTest, RftsEventsOfAnUnknownRevisionKeepTheNextEntryInPlace)
{
    // A block of revision 300 cannot be read; its stored size still tells
    // where the next entry begins.
    const std::string unreadable = Bytes().i16(300).text("RFTSEvents").raw("future").s;
    const std::string bytes = Bytes().i16(2).s + header("", "", "RFTSEVENTS", static_cast<std::int32_t>(unreadable.size())) +
                              unreadable + header("after", "", "raw", 2) + "ok";
    TSorBlockEmbData block;
    EXPECT_EQ(readBack(block, bytes, 100), fsOk);  // no name in front
    ASSERT_EQ(block.GetTNED(), 2);
    EXPECT_EQ(block.GetEmbData(1)->GetID(), "after");
    EXPECT_EQ(std::memcmp(block.GetEmbData(1)->GetData(), "ok", 2), 0);
    EXPECT_TRUE(block.GetEmbData(0)->GetRFTSEvents()->IsEmpty());
}

TEST(EmbDataEntryTest, SetDataReplacesByTypeAndCopies)
{
    TEmbData1E entry(TString("blob"));
    const char source[] = "hello";
    entry.SetData(source, 5);
    ASSERT_NE(entry.GetData(), nullptr);
    EXPECT_NE(entry.GetData(), static_cast<const void*>(source));
    void* before = entry.GetData();
    entry.SetData(5);  // same size: the array stays
    EXPECT_EQ(entry.GetData(), before);
    entry.SetData(nullptr, 3);  // nothing
    entry.SetData(source, 0);   // nothing
    EXPECT_EQ(entry.DataSize, 5);
    entry.SetData(8);
    EXPECT_EQ(entry.DataSize, 8);
    entry.SetData(0L);
    EXPECT_EQ(entry.GetData(), nullptr);
    EXPECT_EQ(entry.DataSize, 0);

    // RFTS data replaced by raw data of the same number is raw data again.
    entry.SetData(someEvents());
    const std::int32_t size = entry.DataSize;
    entry.SetData(static_cast<long>(size));
    EXPECT_EQ(entry.GetRFTSEvents(), nullptr);
    EXPECT_NE(entry.GetData(), nullptr);
    entry.Clear();
    EXPECT_TRUE(entry.IsEmpty());
    EXPECT_EQ(entry.GetData(), nullptr);
    EXPECT_THROW(entry.SetData(0x80000000L), TSorException);
}

TEST(EmbDataEntryTest, CopiesAreDeepByType)
{
    std::unique_ptr<TEmbData1E> raw(rawEntry("blob", "abc"));
    TEmbData1E rawCopy(*raw);
    static_cast<char*>(raw->GetData())[0] = 'X';
    EXPECT_EQ(std::memcmp(rawCopy.GetData(), "abc", 3), 0);
    EXPECT_EQ(rawCopy.GetID(), "id");

    TEmbData1E events(TString("RFTSEVENTS"));
    events.SetData(someEvents());
    TEmbData1E eventsCopy;
    eventsCopy = events;
    ASSERT_NE(eventsCopy.GetRFTSEvents(), nullptr);
    EXPECT_NE(eventsCopy.GetRFTSEvents(), events.GetRFTSEvents());
    events.GetRFTSEvents()->LevelName = "changed";
    EXPECT_EQ(eventsCopy.GetRFTSEvents()->LevelName, "Minor");
    EXPECT_EQ(eventsCopy.DataSize, events.DataSize);

    eventsCopy.Assign(eventsCopy);  // self-assignment keeps the data
    EXPECT_NE(eventsCopy.GetRFTSEvents(), nullptr);
    eventsCopy = TEmbData1E();
    EXPECT_EQ(eventsCopy.GetData(), nullptr);
}

TEST(EmbDataBlockTest, LinearPointsAreNeverWrittenNorCounted)
{
    TSorBlockEmbData block;
    block.RevisionNo = 200;
    block.AddData(rawEntry("blob", "12"));
    auto* linf = new TEmbData1E(TString("Linf"));
    linf->SetData(4 * 3);
    linf->GetLinf()[2] = 0.5f;
    linf->SetWritable(true);  // even so
    block.AddData(linf);
    EXPECT_FALSE(linf->IsWritable());
    EXPECT_EQ(block.GetTNED(), 2);

    const std::string bytes = written(block);
    EXPECT_EQ(bytes, Bytes().text("EmbData").i16(1).s + header("id", "note", "blob", 2) + "12");
    EXPECT_EQ(block.GetBlockSize(), static_cast<std::int32_t>(bytes.size()));
    EXPECT_EQ(fieldLines(block),
              (std::vector<std::string>{"TNED=1", "Entries.0.ID='id'", "Entries.0.Comment='note'",
                                        "Entries.0.Description='blob'", "Entries.0.DataSize=2", "Entries.0.Data=3132"}));

    // Read from a file, a linear copy is kept for the session but not written back.
    TSorBlockEmbData loaded;
    EXPECT_EQ(readBack(loaded, Bytes().i16(1).s + header("", "", "LINF", 4) + std::string(4, '\0'), 100), fsOk);
    ASSERT_EQ(loaded.GetTNED(), 1);
    EXPECT_EQ(loaded.GetEmbData(TString("linf")), loaded.GetEmbData(0));
    EXPECT_EQ(loaded.GetEmbData(0)->Writable, 0);
    EXPECT_EQ(written(loaded), Bytes().i16(0).s);
}

TEST(EmbDataEntryTest, DumpShowsTheDataByKind)
{
    std::unique_ptr<TEmbData1E> raw(rawEntry("blob", std::string("\x01\x00\xFF\x7F\x80\x05\x06\x07\x08\x09\x0A\x0B", 12)));
    const std::string text = sortest::dampOf(*raw);
    EXPECT_NE(text.find("ID='id'\tComment='note'\tDescription='blob'\tDataSize=12\tData={\n"), std::string::npos) << text;
    EXPECT_NE(text.find("1\t0\tFF\t7F\t80\t5\t6\t7\t8\t9\nA\tB\n}\n"), std::string::npos) << text;

    TEmbData1E empty(TString("blob"));
    EXPECT_NE(sortest::dampOf(empty).find("Data={\nNULL\n}\n"), std::string::npos);
    TEmbData1E linf(TString("LINF"));
    linf.SetData(8);
    EXPECT_NE(sortest::dampOf(linf).find("Linear Points Dump skipped! \n"), std::string::npos);
}
TEST(EmbDataBlockTest, ArrayOperationsKeepTheCountInStep)
{
    TSorBlockEmbData block;
    EXPECT_EQ(block.BID, "EmbData");
    EXPECT_EQ(block.RevisionNo, 209);
    EXPECT_FALSE(block.IsEmpty());
    EXPECT_EQ(block.GetEmbData(0), nullptr);

    block.AddData(rawEntry("one", "1"));
    block.InsertData(rawEntry("zero", "0"), 0);
    block.InsertData(rawEntry("two", "2"), 9);
    EXPECT_EQ(block.GetTNED(), 3);
    EXPECT_EQ(block.GetEmbData(TString("ZERO")), block.GetEmbData(0));
    EXPECT_EQ(block.GetEmbData(TString("TWO")), block.GetEmbData(99));
    EXPECT_EQ(block.GetEmbData(TString("three")), nullptr);
    EXPECT_EQ(block.AddData(nullptr), nullptr);
    EXPECT_EQ(block.GetTNED(), 3);

    TEmbData1E* one = block.GetEmbData(1);
    EXPECT_EQ(block.SetData(one, 1), one);  // into its own place: stays alive
    EXPECT_EQ(block.GetEmbData(1)->GetDescription(), "one");
    TEmbData1E* replacement = rawEntry("uno", "1");
    EXPECT_EQ(block.SetData(replacement, 1), replacement);
    EXPECT_EQ(block.GetEmbData(TString("one")), nullptr);

    block.DeleteData(3);  // outside: nothing
    EXPECT_EQ(block.GetTNED(), 3);
    block.DeleteData(0);
    EXPECT_EQ(block.GetTNED(), 2);
    EXPECT_EQ(block.GetEmbData(0), replacement);

    block.SetTNED(4);
    EXPECT_EQ(block.Entries.count, 4);
    ASSERT_NE(block.GetEmbData(3), nullptr);
    EXPECT_EQ(block.GetEmbData(3)->GetData(), nullptr);

    TSorBlockEmbData copy;
    copy.Assign(block);
    block.Clear();
    EXPECT_EQ(block.GetTNED(), 0);
    EXPECT_EQ(copy.GetTNED(), 4);
    EXPECT_EQ(copy.GetEmbData(0)->GetDescription(), "uno");

    TSorBlockEmbData empty;
    TEmbData1E loose;
    EXPECT_EQ(empty.SetData(&loose, 0), nullptr);  // no place: not taken
}

TEST(EmbDataBlockTest, RoundTripWithEntriesOfEveryStoredKind)
{
    TSorBlockEmbData block;
    block.RevisionNo = 200;
    block.AddData(rawEntry("blob", std::string("\0\1\2", 3)));
    auto* events = new TEmbData1E(TString("RFTSEVENTS"));
    events->SetData(someEvents());
    block.AddData(events);
    block.AddData(new TEmbData1E(TString("nothing")));  // no data: header only
    const std::string bytes = written(block);

    TSorBlockEmbData back;
    unsigned long end = 0;
    EXPECT_EQ(readBack(back, bytes, 200, &end), fsOk);
    EXPECT_EQ(end, bytes.size());
    ASSERT_EQ(back.GetTNED(), 3);
    EXPECT_EQ(back.GetEmbData(2)->DataSize, 0);
    EXPECT_EQ(written(back), bytes);
}

TEST(EmbDataBlockTest, HostileCountsAndTruncationEndLikeAShortRead)
{
    TSorBlockEmbData block;
    EXPECT_EQ(readBack(block, Bytes().i16(65535).s + std::string(70, '\0'), 100), fsEndOfFile);
    EXPECT_EQ(block.GetTNED(), 0);

    TSorBlockEmbData full;
    full.RevisionNo = 200;
    full.AddData(rawEntry("blob", "0123456789"));
    auto* events = new TEmbData1E(TString("RFTSEVENTS"));
    events->SetData(someEvents());
    full.AddData(events);
    const std::string good = written(full);
    for (std::size_t cut = 0; cut < good.size(); ++cut) {
        TSorBlockEmbData part;
        EXPECT_NE(readBack(part, good.substr(0, cut), 200), fsOk) << cut;
        EXPECT_EQ(part.GetTNED(), part.Entries.count) << cut;
    }
    EXPECT_TRUE(sortest::nullFileRefused(block));
}

TEST(EmbDataSorTest, NestedTraceReadsBackAndTheNextEntryFollowsIt)
{
    TSorData inner;
    setPoints(inner, {1000, 2000, 30000, 2500, 4000});
    TSorBlockEmbData block;
    block.RevisionNo = 200;
    auto* entry = new TEmbData1E(TString("sor"));
    entry->SetID(TString("reference"));
    entry->SetData(inner);
    ASSERT_NE(entry->GetSorData(), nullptr);
    EXPECT_NE(entry->GetSorData(), &inner);
    EXPECT_EQ(entry->GetData(), entry->GetSorData());
    block.AddData(entry);
    block.AddData(rawEntry("after", "xyz"));
    const std::string bytes = written(block);

    // The stored DataSize is exactly the trace's bytes: the next header follows them.
    const std::size_t dataStart = 8 + 2 + header("reference", "", "sor", 0).size();
    ASSERT_GT(entry->DataSize, 0);
    EXPECT_EQ(bytes.substr(dataStart + static_cast<std::size_t>(entry->DataSize), 8), std::string("id\0note\0", 8));

    TSorBlockEmbData back;
    unsigned long end = 0;
    EXPECT_EQ(readBack(back, bytes, 200, &end), fsOk);
    EXPECT_EQ(end, bytes.size());
    ASSERT_EQ(back.GetTNED(), 2);
    const TSorData* nested = back.GetEmbData(0)->GetSorData();
    ASSERT_NE(nested, nullptr);
    ASSERT_EQ(nested->DataPts->GetPointsNum(), 5);
    for (long n = 0; n < 5; ++n)
        EXPECT_DOUBLE_EQ(nested->NumToLevel(n), inner.NumToLevel(n)) << n;
    EXPECT_EQ(back.GetEmbData(0)->DataSize, entry->DataSize);
    EXPECT_EQ(back.GetEmbData(1)->GetDescription(), "after");
    EXPECT_EQ(std::memcmp(back.GetEmbData(1)->GetData(), "xyz", 3), 0);

    // Loading repairs the nested trace (its display scale is filled in), so
    // the first save may differ from the original; from then on it is stable.
    const std::string saved = written(back);
    TSorBlockEmbData reloaded;
    EXPECT_EQ(readBack(reloaded, saved, 200), fsOk);
    EXPECT_EQ(written(reloaded), saved);

    // A deep copy: the copy's trace is its own.
    TEmbData1E copy(*back.GetEmbData(0));
    ASSERT_NE(copy.GetSorData(), nullptr);
    EXPECT_NE(copy.GetSorData(), nested);
    EXPECT_EQ(copy.GetSorData()->DataPts->GetPointsNum(), 5);
}

TEST(EmbDataSorTest, TraceInsideATraceInsideATrace)
{
    TSorData innermost;
    setPoints(innermost, {7, 8, 9});
    TSorData middle;
    auto* inner = new TEmbData1E(TString("SOR"));
    inner->SetData(innermost);
    middle.EmbData->AddData(inner);
    TEmbData1E outer(TString("SOR"));
    outer.SetData(middle);

    const std::string bytes = written(outer);
    EXPECT_EQ(static_cast<std::size_t>(outer.DataSize), bytes.size() - header("", "", "SOR", 0).size());
    TEmbData1E back;
    EXPECT_EQ(readBack(back, bytes), fsOk);
    ASSERT_NE(back.GetSorData(), nullptr);
    const TEmbData1E* again = back.GetSorData()->EmbData->GetEmbData(TString("SOR"));
    ASSERT_NE(again, nullptr);
    ASSERT_NE(again->GetSorData(), nullptr);
    EXPECT_EQ(again->GetSorData()->DataPts->GetPointsNum(), 3);
    EXPECT_DOUBLE_EQ(again->GetSorData()->NumToLevel(2), innermost.NumToLevel(2));
}

TEST(EmbDataSorTest, TraceWhoseMapPointsBackAtItsOwnEntryIsBadData)
{
    // An EmbData block without name whose one entry holds a trace whose Map
    // sends its EmbData block back to offset 0, which holds that entry again.
    const std::string entryHeader = header("", "", "SOR", 0);
    const std::int32_t back = -static_cast<std::int32_t>(2 + entryHeader.size());
    const std::string map = Bytes().i16(100).i32(back).i16(2).text("EmbData").i16(100).i32(50).s;
    const std::string bytes = Bytes().i16(1).s + entryHeader + map + std::string(40, '\0');
    TSorBlockEmbData block;
    EXPECT_TRUE(throwsSor(TSorException::BadData, [&] { (void)readBack(block, bytes, 100); }));

    // The limit is per read: a good nested trace still loads afterwards.
    TSorData inner;
    setPoints(inner, {1, 2});
    TEmbData1E good(TString("SOR"));
    good.SetData(inner);
    TEmbData1E again;
    EXPECT_EQ(readBack(again, written(good)), fsOk);
    ASSERT_NE(again.GetSorData(), nullptr);
    EXPECT_EQ(again.GetSorData()->DataPts->GetPointsNum(), 2);
}

TEST(EmbDataSorTest, ManyTracesUnderOneNestedTraceAreBadData)
{
    // One nested trace whose EmbData block holds 40 traces of a bare Map
    // each: the count, not the depth, is what a hostile file can inflate.
    const std::string bareTrace = Bytes().i16(100).i32(8).i16(1).s;
    std::string wide = Bytes().i16(40).s;
    for (int i = 0; i < 40; ++i)
        wide += header("", "", "SOR", static_cast<std::int32_t>(bareTrace.size())) + bareTrace;
    const std::string middle = Bytes().i16(100).i32(22).i16(2).text("EmbData").i16(100)
                                   .i32(static_cast<long>(wide.size())).s + wide;
    const std::string bytes = Bytes().i16(1).s + header("", "", "SOR", static_cast<std::int32_t>(middle.size())) + middle;
    TSorBlockEmbData block;
    EXPECT_THROW(readBack(block, bytes, 100), TSorException);

    // The same traces side by side at the top are a plain list and load.
    EXPECT_EQ(readBack(block, wide), fsOk);
    EXPECT_EQ(block.GetTNED(), 40);
    EXPECT_NE(block.GetEmbData(39)->GetSorData(), nullptr);
}
