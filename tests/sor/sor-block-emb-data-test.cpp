#include "sor/sor-block-emb-data.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sor/sor-block-data-points.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

std::string bytesOf(TSorBlock& block)
{
    TSorFile file("", "m");
    block.Write(&file);
    return std::string(file.GetData(), file.GetDataSize());
}

void readFrom(const std::string& bytes, TSorBlock& block, TSorFile& file)
{
    file.SetData(bytes.data(), bytes.size());
    file.Seek(0);
    block.Read(&file);
}

std::string le16(int value)
{
    const auto v = static_cast<std::uint16_t>(value);
    return std::string{static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)};
}

std::string le32(std::int32_t value)
{
    const auto v = static_cast<std::uint32_t>(value);
    return le16(static_cast<int>(v & 0xFFFF)) + le16(static_cast<int>(v >> 16));
}

// The file form of an entry header.
std::string header(const std::string& id, const std::string& comment, const std::string& description,
                   std::int32_t dataSize)
{
    return id + '\0' + comment + '\0' + description + '\0' + le32(dataSize);
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

// Names of the fields a visitor is shown, in order.
class NameRecorder : public TSorFieldVisitor
{
public:
    std::string names;
    void Int(const char* name, std::int64_t) override { add(name); }
    void Real(const char* name, double) override { add(name); }
    void Text(const char* name, const TString&) override { add(name); }
    void Bytes(const char* name, const char*, std::size_t size) override
    {
        add(name);
        names += "[" + std::to_string(size) + "]";
    }
    void BeginList(const char* name) override
    {
        add(name);
        names += "(";
    }
    void EndList() override { names += ")"; }
    void BeginRecord(const char* name) override
    {
        add(name);
        names += "{";
    }
    void EndRecord() override { names += "}"; }

private:
    void add(const char* name)
    {
        if (name != nullptr)
            names += std::string(" ") + name;
    }
};

std::string dampOf(const TSorBlock& block)
{
    char* text = nullptr;
    std::size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    block.Damp(out);
    std::fclose(out);
    std::string result(text, size);
    std::free(text);
    return result;
}

void setPoints(TSorData& sor, const std::vector<std::uint16_t>& points)
{
    sor.DataPts->GetSubBlock()->Points = points;
    sor.DataPts->RebuildWholeCache();
}

} // namespace

TEST(EmbDataEntryTest, RawEntryOfFiveBytesRoundTrips)
{
    std::unique_ptr<TEmbData1E> entry(rawEntry("picture", std::string("\x01\x00\xFF\x7F\x80", 5)));
    EXPECT_EQ(entry->GetDataKind(), TEmbData1E::dkRaw);
    EXPECT_EQ(entry->DataSize, 5);
    const std::string bytes = bytesOf(*entry);
    EXPECT_EQ(bytes, header("id", "note", "picture", 5) + std::string("\x01\x00\xFF\x7F\x80", 5));

    TEmbData1E back;
    TSorFile file("", "m");
    readFrom(bytes + "next", back, file);
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_EQ(file.Tell(), bytes.size());
    EXPECT_EQ(back.GetID(), "id");
    EXPECT_EQ(back.GetComment(), "note");
    EXPECT_EQ(back.GetDataSize(), 5);
    ASSERT_NE(back.GetData(), nullptr);
    EXPECT_EQ(std::memcmp(back.GetData(), "\x01\x00\xFF\x7F\x80", 5), 0);
    EXPECT_FALSE(back.IsEmpty());
}

TEST(EmbDataEntryTest, NegativeDataSizeIsBadData)
{
    TEmbData1E entry;
    TSorFile file("", "m");
    try {
        readFrom(header("a", "b", "c", -1) + "xxxx", entry, file);
        FAIL() << "no exception";
    } catch (const TSorException& e) {
        EXPECT_STREQ(e.what(), "Bad data exception");
    }
    // The same for the kinds that do not read DataSize bytes.
    for (const char* description : {"RFTSEVENTS", "SOR"}) {
        TSorFile f("", "m");
        EXPECT_THROW(readFrom(header("", "", description, -5), entry, f), TSorException) << description;
    }
    try {
        entry.Read(nullptr);
        FAIL() << "no exception";
    } catch (const TSorException& e) {
        EXPECT_STREQ(e.what(), "Null pointer exception");
    }
    EXPECT_THROW(entry.Write(nullptr), TSorException);
}

TEST(EmbDataEntryTest, ZeroDataSizeReadsAsEmptyButPresentData)
{
    TEmbData1E entry;
    TSorFile file("", "m");
    readFrom(header("i", "c", "raw", 0), entry, file);
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_NE(entry.GetData(), nullptr);
    EXPECT_EQ(entry.DataSize, 0);
    EXPECT_TRUE(entry.IsEmpty());
    EXPECT_EQ(bytesOf(entry), header("i", "c", "raw", 0));
}

TEST(EmbDataEntryTest, RawDataBeyondTheFileIsAShortRead)
{
    TEmbData1E entry;
    TSorFile file("", "m");
    readFrom(header("", "", "blob", 0x7FFFFFFF) + "abc", entry, file);
    EXPECT_EQ(file.Status, fsEndOfFile);
    EXPECT_EQ(entry.DataSize, 3);  // what there was
    ASSERT_NE(entry.GetData(), nullptr);
    EXPECT_EQ(std::memcmp(entry.GetData(), "abc", 3), 0);

    // Cut inside the header: no data, and nothing is invented.
    TEmbData1E cut;
    TSorFile f("", "m");
    readFrom(header("id", "", "blob", 4).substr(0, 6), cut, f);
    EXPECT_NE(f.Status, fsOk);
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
    EXPECT_EQ(entry.DataSize, events.GetBlockSize() + 2);

    const std::string bytes = bytesOf(entry);
    const std::string blockBytes = bytesOf(events);
    EXPECT_EQ(bytes, header("", "", "rftsevents", static_cast<std::int32_t>(blockBytes.size() + 2)) + le16(204) +
                         blockBytes);

    TEmbData1E back;
    TSorFile file("", "m");
    readFrom(bytes, back, file);
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_EQ(file.Tell(), bytes.size());
    const TSorBlockRFTSEvents* read = back.GetRFTSEvents();
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->RevisionNo, 204);
    EXPECT_EQ(read->LevelName, "Minor");
    EXPECT_EQ(read->MonitorResult, 12);
    ASSERT_EQ(read->GetTNRFTSE(), 3);
    EXPECT_TRUE(read->GetEvent(2)->IsFail());
    EXPECT_EQ(back.GetDataSize(), entry.DataSize);
}

TEST(EmbDataEntryTest, RftsEventsOfAnUnknownRevisionKeepTheNextEntryInPlace)
{
    // A block of revision 300 cannot be read; its stored size still tells
    // where the next entry begins.
    const std::string unreadable = le16(300) + std::string("RFTSEvents\0future", 17);
    const std::string bytes = le16(2) + header("", "", "RFTSEVENTS", static_cast<std::int32_t>(unreadable.size())) +
                              unreadable + header("after", "", "raw", 2) + "ok";
    TSorBlockEmbData block;
    block.RevisionNo = 100;  // no name in front
    TSorFile file("", "m");
    readFrom(bytes, block, file);
    EXPECT_EQ(file.Status, fsOk);
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

    const std::string bytes = bytesOf(block);
    EXPECT_EQ(bytes, std::string("EmbData", 8) + le16(1) + header("id", "note", "blob", 2) + "12");
    EXPECT_EQ(block.GetBlockSize(), static_cast<std::int32_t>(bytes.size()));

    NameRecorder recorder;
    block.Fields(recorder);
    EXPECT_EQ(recorder.names, " TNED Entries({ ID Comment Description DataSize Data[2]})");

    // Read from a file, a linear copy is kept for the session but not written back.
    const std::string stored = le16(1) + header("", "", "LINF", 4) + std::string(4, '\0');
    TSorBlockEmbData loaded;
    loaded.RevisionNo = 100;
    TSorFile file("", "m");
    readFrom(stored, loaded, file);
    ASSERT_EQ(loaded.GetTNED(), 1);
    EXPECT_EQ(loaded.GetEmbData(TString("linf")), loaded.GetEmbData(0));
    EXPECT_EQ(loaded.GetEmbData(0)->Writable, 0);
    EXPECT_EQ(bytesOf(loaded), le16(0));
}

TEST(EmbDataEntryTest, DumpShowsTheDataByKind)
{
    std::unique_ptr<TEmbData1E> raw(rawEntry("blob", std::string("\x01\x00\xFF\x7F\x80\x05\x06\x07\x08\x09\x0A\x0B", 12)));
    const std::string text = dampOf(*raw);
    EXPECT_NE(text.find("ID='id'\tComment='note'\tDescription='blob'\tDataSize=12\tData={\n"), std::string::npos) << text;
    EXPECT_NE(text.find("1\t0\tFF\t7F\t80\t5\t6\t7\t8\t9\nA\tB\n}\n"), std::string::npos) << text;

    TEmbData1E empty(TString("blob"));
    EXPECT_NE(dampOf(empty).find("Data={\nNULL\n}\n"), std::string::npos);
    TEmbData1E linf(TString("LINF"));
    linf.SetData(8);
    EXPECT_NE(dampOf(linf).find("Linear Points Dump skipped! \n"), std::string::npos);
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
    const std::string bytes = bytesOf(block);

    TSorBlockEmbData back;
    back.RevisionNo = 200;
    TSorFile file("", "m");
    readFrom(bytes, back, file);
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_EQ(file.Tell(), bytes.size());
    ASSERT_EQ(back.GetTNED(), 3);
    EXPECT_EQ(back.GetEmbData(2)->DataSize, 0);
    EXPECT_EQ(bytesOf(back), bytes);
}

TEST(EmbDataBlockTest, HostileCountsAndTruncationEndLikeAShortRead)
{
    TSorBlockEmbData block;
    block.RevisionNo = 100;
    TSorFile file("", "m");
    readFrom(le16(65535) + std::string(70, '\0'), block, file);
    EXPECT_EQ(file.Status, fsEndOfFile);
    EXPECT_EQ(block.GetTNED(), 0);

    TSorBlockEmbData full;
    full.RevisionNo = 200;
    full.AddData(rawEntry("blob", "0123456789"));
    auto* events = new TEmbData1E(TString("RFTSEVENTS"));
    events->SetData(someEvents());
    full.AddData(events);
    const std::string good = bytesOf(full);
    for (std::size_t cut = 0; cut < good.size(); ++cut) {
        TSorBlockEmbData part;
        part.RevisionNo = 200;
        TSorFile f("", "m");
        readFrom(good.substr(0, cut), part, f);
        EXPECT_NE(f.Status, fsOk) << cut;
        EXPECT_EQ(part.GetTNED(), part.Entries.count) << cut;
    }

    try {
        block.Read(nullptr);
        FAIL() << "no exception";
    } catch (const TSorException& e) {
        EXPECT_STREQ(e.what(), "Null pointer exception");
    }
    EXPECT_THROW(block.Write(nullptr), TSorException);
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
    const std::string bytes = bytesOf(block);

    // The stored DataSize is exactly the trace's bytes: the next header follows them.
    const std::size_t dataStart = 8 + 2 + std::string("reference\0\0sor\0", 15).size() + 4;
    ASSERT_GT(entry->DataSize, 0);
    EXPECT_EQ(bytes.substr(dataStart + static_cast<std::size_t>(entry->DataSize), 8), std::string("id\0note\0", 8));

    TSorBlockEmbData back;
    back.RevisionNo = 200;
    TSorFile file("", "m");
    readFrom(bytes, back, file);
    EXPECT_EQ(file.Status, fsOk);
    EXPECT_EQ(file.Tell(), bytes.size());
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
    const std::string saved = bytesOf(back);
    TSorBlockEmbData reloaded;
    reloaded.RevisionNo = 200;
    TSorFile again("", "m");
    readFrom(saved, reloaded, again);
    EXPECT_EQ(again.Status, fsOk);
    EXPECT_EQ(bytesOf(reloaded), saved);

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

    const std::string bytes = bytesOf(outer);
    EXPECT_EQ(static_cast<std::size_t>(outer.DataSize), bytes.size() - header("", "", "SOR", 0).size());
    TEmbData1E back;
    TSorFile file("", "m");
    readFrom(bytes, back, file);
    EXPECT_EQ(file.Status, fsOk);
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
    const std::string map = le16(100) + le32(back) + le16(2) + std::string("EmbData", 8) + le16(100) + le32(50);
    const std::string bytes = le16(1) + entryHeader + map + std::string(40, '\0');

    TSorBlockEmbData block;
    block.RevisionNo = 100;
    TSorFile file("", "m");
    try {
        readFrom(bytes, block, file);
        FAIL() << "no exception";
    } catch (const TSorException& e) {
        EXPECT_STREQ(e.what(), "Bad data exception");
    }
    // The limit is per read: a good nested trace still loads afterwards.
    TSorData inner;
    setPoints(inner, {1, 2});
    TEmbData1E good(TString("SOR"));
    good.SetData(inner);
    TEmbData1E again;
    TSorFile f("", "m");
    readFrom(bytesOf(good), again, f);
    EXPECT_EQ(f.Status, fsOk);
    ASSERT_NE(again.GetSorData(), nullptr);
    EXPECT_EQ(again.GetSorData()->DataPts->GetPointsNum(), 2);
}

TEST(EmbDataSorTest, ManyTracesUnderOneNestedTraceAreBadData)
{
    // One nested trace whose EmbData block holds 40 traces of a bare Map
    // each: the count, not the depth, is what a hostile file can inflate.
    const std::string bareTrace = le16(100) + le32(8) + le16(1);
    std::string wide = le16(40);
    for (int i = 0; i < 40; ++i)
        wide += header("", "", "SOR", static_cast<std::int32_t>(bareTrace.size())) + bareTrace;
    const std::string middle = le16(100) + le32(22) + le16(2) + std::string("EmbData", 8) + le16(100) +
                               le32(static_cast<std::int32_t>(wide.size())) + wide;
    const std::string bytes = le16(1) + header("", "", "SOR", static_cast<std::int32_t>(middle.size())) + middle;

    TSorBlockEmbData block;
    block.RevisionNo = 100;
    TSorFile file("", "m");
    EXPECT_THROW(readFrom(bytes, block, file), TSorException);

    // The same traces side by side at the top are a plain list and load.
    TSorFile f("", "m");
    readFrom(wide, block, f);
    EXPECT_EQ(f.Status, fsOk);
    EXPECT_EQ(block.GetTNED(), 40);
    EXPECT_NE(block.GetEmbData(39)->GetSorData(), nullptr);
}
