#include "sor/sor-block-emb-data.h"

#include <cstring>
#include <limits>

#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

void requireFile(const TSorFile* file)
{
    if (file == nullptr)
        throw TSorException(TSorException::NullPointer);
}

// A nested trace is found by its own Map, whose sizes may point anywhere in
// the file, also back to the entry that holds it; the bytes that remain
// therefore do not bound the nesting. These limits do: the depth of traces
// inside traces, and the number of traces read under one outermost one
// (without it, each level could multiply the work of the one above).
// Embedding is meant for one or two traces, so both are generous.
constexpr int maxSorDepth = 4;
constexpr int maxSorPerTree = 32;
thread_local int sorDepth = 0;
thread_local int sorReadsInTree = 0;

class SorNestingGuard
{
public:
    SorNestingGuard()
    {
        if (sorDepth == 0)
            sorReadsInTree = 0;
        if (sorDepth >= maxSorDepth || sorReadsInTree >= maxSorPerTree)
            throw TSorException(TSorException::BadData);
        ++sorReadsInTree;
        ++sorDepth;
    }
    ~SorNestingGuard() { --sorDepth; }
    SorNestingGuard(const SorNestingGuard&) = delete;
    SorNestingGuard& operator=(const SorNestingGuard&) = delete;
};

// After a trace or RFTS block has read itself, the next entry starts where
// the stored DataSize says, when that lies within the file. For data this
// system wrote the two agree; they differ only when the nested reader could
// not take everything (a block of an unknown revision is skipped unread), and
// then the stored size keeps the next entry in place.
void skipToEnd(TSorFile* file, unsigned long start, unsigned long available, std::int32_t dataSize)
{
    if (file->Status != fsOk || dataSize < 0 || static_cast<unsigned long>(dataSize) > available)
        return;
    if (file->Tell() != start + static_cast<unsigned long>(dataSize))
        file->Seek(start + static_cast<unsigned long>(dataSize));
}

template <class... Ts>
struct Overloaded : Ts... {
    using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

} // namespace

// ---- TEmbData1E ----

TEmbData1E::TEmbData1E() = default;

TEmbData1E::TEmbData1E(const TString& description)
{
    SetDescription(description);
}

TEmbData1E::TEmbData1E(const TEmbData1E& other) : TSorBlock(other)
{
    Assign(other);
}

TEmbData1E& TEmbData1E::operator=(const TEmbData1E& other)
{
    Assign(other);
    return *this;
}

TEmbData1E::~TEmbData1E() = default;

TEmbData1E::TDataKind TEmbData1E::KindOf(const TString& description)
{
    if (description.CompareNoCase(TString("SOR")) == 0)
        return dkSor;
    if (description.CompareNoCase(TString("RFTSEVENTS")) == 0)
        return dkRFTSEvents;
    if (description.CompareNoCase(TString("LINF")) == 0)
        return dkLinf;
    return dkRaw;
}

bool TEmbData1E::IsWritable() const
{
    return Writable != 0 && GetDataKind() != dkLinf;
}

void TEmbData1E::SetDescription(const TString& description)
{
    Description = description;
    if (GetDataKind() == dkLinf)
        Writable = 0;
}

bool TEmbData1E::IsEmpty() const
{
    return GetData() == nullptr || DataSize == 0;
}

void* TEmbData1E::GetData() const
{
    return std::visit(Overloaded{[](const std::monostate&) -> void* { return nullptr; },
                                 [](const RawBytes& raw) -> void* { return raw.bytes.get(); },
                                 [](const std::unique_ptr<TSorBlockRFTSEvents>& events) -> void* { return events.get(); },
                                 [](const std::unique_ptr<TSorData>& sor) -> void* { return sor.get(); }},
                      held);
}

TSorData* TEmbData1E::GetSorData() const
{
    const auto* sor = std::get_if<std::unique_ptr<TSorData>>(&held);
    return sor != nullptr ? sor->get() : nullptr;
}

TSorBlockRFTSEvents* TEmbData1E::GetRFTSEvents() const
{
    const auto* events = std::get_if<std::unique_ptr<TSorBlockRFTSEvents>>(&held);
    return events != nullptr ? events->get() : nullptr;
}

float* TEmbData1E::GetLinf() const
{
    // new[] of a byte array is aligned for any fundamental type.
    const auto* raw = std::get_if<RawBytes>(&held);
    return raw != nullptr ? reinterpret_cast<float*>(raw->bytes.get()) : nullptr;
}

std::int32_t TEmbData1E::GetDataSize()
{
    if (TSorData* sor = GetSorData()) {
        TSorFile counter(nullptr, "vw");
        sor->Write(&counter);
        DataSize = static_cast<std::int32_t>(counter.Tell());
    } else if (TSorBlockRFTSEvents* events = GetRFTSEvents()) {
        DataSize = events->GetBlockSize() + 2;
    } else if (const auto* raw = std::get_if<RawBytes>(&held)) {
        DataSize = static_cast<std::int32_t>(raw->size);
    }
    return DataSize;
}

void TEmbData1E::Clear()
{
    held = std::monostate();
    DataSize = 0;
}

void TEmbData1E::SetData(long size)
{
    if (size > std::numeric_limits<std::int32_t>::max())
        throw TSorException(TSorException::BadData);
    if (const auto* raw = std::get_if<RawBytes>(&held); raw != nullptr && size >= 0 && raw->size == static_cast<std::size_t>(size))
        return;
    Clear();
    if (size <= 0)
        return;
    RawBytes raw;
    // Left uninitialised: every caller fills the array right away (a read,
    // a copy, or the linear points of a whole trace), and a load should not
    // pay for a pass of zeros first.
    raw.bytes.reset(new unsigned char[static_cast<std::size_t>(size)]);
    raw.size = static_cast<std::size_t>(size);
    held = std::move(raw);
    DataSize = static_cast<std::int32_t>(size);
}

void TEmbData1E::SetData(const void* data, long size)
{
    if (data == nullptr || size <= 0)
        return;
    SetData(size);
    std::memcpy(std::get<RawBytes>(held).bytes.get(), data, static_cast<std::size_t>(size));
}

void TEmbData1E::SetData(const TSorBlockRFTSEvents& events)
{
    auto copy = std::make_unique<TSorBlockRFTSEvents>();
    copy->Assign(events);
    Clear();
    held = std::move(copy);
    (void)GetDataSize();
}

void TEmbData1E::SetData(const TSorData& sor)
{
    auto copy = std::make_unique<TSorData>();
    copy->Assign(sor);
    Clear();
    held = std::move(copy);
    (void)GetDataSize();
}

void TEmbData1E::Assign(const TEmbData1E& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    ID = other.ID;
    Comment = other.Comment;
    Description = other.Description;
    Writable = other.Writable;
    if (const TSorData* sor = other.GetSorData()) {
        auto copy = std::make_unique<TSorData>();
        copy->Assign(*sor);
        held = std::move(copy);
    } else if (const TSorBlockRFTSEvents* events = other.GetRFTSEvents()) {
        auto copy = std::make_unique<TSorBlockRFTSEvents>();
        copy->Assign(*events);
        held = std::move(copy);
    } else if (const auto* raw = std::get_if<RawBytes>(&other.held)) {
        RawBytes copy;
        copy.bytes = std::make_unique<unsigned char[]>(raw->size);
        if (raw->size > 0)
            std::memcpy(copy.bytes.get(), raw->bytes.get(), raw->size);
        copy.size = raw->size;
        held = std::move(copy);
    } else {
        held = std::monostate();
    }
    DataSize = other.DataSize;
}

void TEmbData1E::Read(TSorFile* file)
{
    Clear();
    requireFile(file);
    Writable = 1;
    file->Read(ID);
    file->Read(Comment);
    file->Read(Description);
    file->Read(DataSize);
    if (file->Status != fsOk)
        return;
    if (DataSize < 0)
        throw TSorException(TSorException::BadData);
    switch (GetDataKind()) {
    case dkSor:
        readSor(file);
        break;
    case dkRFTSEvents:
        readRFTSEvents(file);
        break;
    case dkLinf:
        // Derived from the points on load; a copy found in a file is kept
        // for this session but never written back.
        Writable = 0;
        readRaw(file);
        break;
    case dkRaw:
        readRaw(file);
        break;
    }
}

// The nested trace reads from here by its own Map; DataSize only places the
// next entry (see skipToEnd) and is then measured afresh.
void TEmbData1E::readSor(TSorFile* file)
{
    const unsigned long start = file->Tell();
    const unsigned long available = file->BytesLeft();
    const std::int32_t stored = DataSize;
    SorNestingGuard guard;
    auto sor = std::make_unique<TSorData>();
    sor->Read(file);
    skipToEnd(file, start, available, stored);
    held = std::move(sor);
    (void)GetDataSize();
}

void TEmbData1E::readRFTSEvents(TSorFile* file)
{
    const unsigned long start = file->Tell();
    const unsigned long available = file->BytesLeft();
    const std::int32_t stored = DataSize;
    auto events = std::make_unique<TSorBlockRFTSEvents>();
    std::uint16_t revision = 0;
    file->Read(revision);
    events->RevisionNo = revision;
    events->Read(file);
    skipToEnd(file, start, available, stored);
    held = std::move(events);
    (void)GetDataSize();
}

// No more is allocated than the file can still deliver.
void TEmbData1E::readRaw(TSorFile* file)
{
    const unsigned long wanted = static_cast<unsigned long>(DataSize);
    const unsigned long left = file->BytesLeft();
    RawBytes raw;
    raw.size = wanted < left ? wanted : left;
    raw.bytes = std::make_unique<unsigned char[]>(raw.size);
    file->Read(reinterpret_cast<char*>(raw.bytes.get()), raw.size);
    if (raw.size < wanted) {
        file->Status = fsEndOfFile;
        DataSize = static_cast<std::int32_t>(raw.size);
    }
    held = std::move(raw);
}

void TEmbData1E::Write(TSorFile* file)
{
    requireFile(file);
    if (!IsWritable())
        return;
    (void)GetDataSize();
    file->Write(ID);
    file->Write(Comment);
    file->Write(Description);
    file->Write(DataSize);
    if (TSorData* sor = GetSorData()) {
        sor->Write(file);
    } else if (TSorBlockRFTSEvents* events = GetRFTSEvents()) {
        file->Write(events->RevisionNo);
        events->Write(file);
    } else if (const auto* raw = std::get_if<RawBytes>(&held)) {
        file->WriteBuf(reinterpret_cast<const char*>(raw->bytes.get()), raw->size);
    }
}

void TEmbData1E::Damp(FILE* out) const
{
    std::fprintf(out, "// TEmbData1E \n");
    std::fprintf(out, "ID='%s'\t", ID.data);
    std::fprintf(out, "Comment='%s'\t", Comment.data);
    std::fprintf(out, "Description='%s'\t", Description.data);
    std::fprintf(out, "DataSize=%ld\t", static_cast<long>(DataSize));
    std::fprintf(out, "Data={\n");
    if (GetData() == nullptr) {
        std::fprintf(out, "NULL\n");
    } else if (const TSorData* sor = GetSorData()) {
        sor->Damp(out, 0);
    } else if (const TSorBlockRFTSEvents* events = GetRFTSEvents()) {
        events->Damp(out);
    } else if (GetDataKind() == dkLinf) {
        std::fprintf(out, "Linear Points Dump skipped! \n");
    } else {
        const auto& raw = std::get<RawBytes>(held);
        for (std::size_t i = 0; i < raw.size; ++i)
            std::fprintf(out, (i % 10 == 9 || i + 1 == raw.size) ? "%hX\n" : "%hX\t",
                         static_cast<unsigned short>(raw.bytes[i]));
    }
    std::fprintf(out, "}\n");
}

void TEmbData1E::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Text("ID", ID);
    visitor.Text("Comment", Comment);
    visitor.Text("Description", Description);
    visitor.Int("DataSize", DataSize);
    if (GetSorData() != nullptr) {
        // A whole trace is compared through its own document, not here.
        visitor.BeginRecord("Data");
        visitor.Int("DataSize", DataSize);
        visitor.EndRecord();
    } else if (const TSorBlockRFTSEvents* events = GetRFTSEvents()) {
        visitor.BeginRecord("Data");
        visitor.Int("RevisionNo", events->RevisionNo);
        events->Fields(visitor);
        visitor.EndRecord();
    } else if (const auto* raw = std::get_if<RawBytes>(&held)) {
        visitor.Bytes("Data", reinterpret_cast<const char*>(raw->bytes.get()), raw->size);
    }
}

// ---- TSorBlockEmbData ----

TSorBlockEmbData::TSorBlockEmbData()
{
    RevisionNo = 209;
    BID = "EmbData";
}

void TSorBlockEmbData::Assign(const TSorBlockEmbData& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Entries.Clear();
    Entries.SetSize(other.Entries.count);
    for (int i = 0; i < other.Entries.count; ++i)
        Entries.data[i] = new TEmbData1E(*other.Entries.data[i]);
    syncCount();
}

void TSorBlockEmbData::Read(TSorFile* file)
{
    requireFile(file);
    Clear();
    if (!CanRead(file))
        return;
    std::uint16_t count = 0;
    file->Read(count);
    if (file->Status != fsOk || !HasRoom(file, count, TEmbData1E::MinFileSize))
        return;
    // The entry that runs into the end is kept with what it got.
    for (int i = 0; i < count && file->Status == fsOk; ++i) {
        auto entry = std::make_unique<TEmbData1E>();
        entry->Read(file);
        Entries.AddData(entry.release());
    }
    syncCount();
}

void TSorBlockEmbData::Write(TSorFile* file)
{
    requireFile(file);
    WriteID(file);
    std::uint16_t writable = 0;
    for (int i = 0; i < Entries.count; ++i)
        if (Entries.data[i]->IsWritable())
            ++writable;
    file->Write(writable);
    for (int i = 0; i < Entries.count; ++i)
        Entries.data[i]->Write(file);
}

void TSorBlockEmbData::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "TNED=%hu\n", TNED);
    for (int i = 0; i < Entries.count; ++i) {
        DampSeparator(out);
        Entries.data[i]->Damp(out);
    }
}

// What the file holds: entries that are not written are not reported.
void TSorBlockEmbData::Fields(TSorFieldVisitor& visitor) const
{
    std::int64_t writable = 0;
    for (int i = 0; i < Entries.count; ++i)
        if (Entries.data[i]->IsWritable())
            ++writable;
    visitor.Int("TNED", writable);
    visitor.BeginList("Entries");
    for (int i = 0; i < Entries.count; ++i)
        if (Entries.data[i]->IsWritable()) {
            visitor.BeginRecord(nullptr);
            Entries.data[i]->Fields(visitor);
            visitor.EndRecord();
        }
    visitor.EndList();
}

void TSorBlockEmbData::SetTNED(unsigned short n)
{
    const int old = Entries.count;
    Entries.SetSize(n);
    for (int i = old; i < Entries.count; ++i)
        Entries.data[i] = new TEmbData1E();
    syncCount();
}

TEmbData1E* TSorBlockEmbData::GetEmbData(const TString& description) const
{
    for (int i = 0; i < Entries.count; ++i)
        if (Entries.data[i]->Description.CompareNoCase(description) == 0)
            return Entries.data[i];
    return nullptr;
}

TEmbData1E* TSorBlockEmbData::AddData(TEmbData1E* entry)
{
    if (entry == nullptr)
        return nullptr;
    Entries.AddData(entry);
    syncCount();
    return entry;
}

TEmbData1E* TSorBlockEmbData::InsertData(TEmbData1E* entry, int index)
{
    if (entry == nullptr)
        return nullptr;
    Entries.InsData(entry, index);
    syncCount();
    return entry;
}

TEmbData1E* TSorBlockEmbData::SetData(TEmbData1E* entry, int index)
{
    if (entry == nullptr || Entries.count == 0 || index < 0)
        return nullptr;
    if (index >= Entries.count)
        index = Entries.count - 1;
    // Storing an entry back into its own place must not destroy it.
    if (Entries.data[index] != entry)
        Entries.SetData(entry, index);
    return entry;
}

void TSorBlockEmbData::DeleteData(int index)
{
    if (index < 0 || index >= Entries.count)
        return;
    Entries.DelData(index);
    syncCount();
}

void TSorBlockEmbData::Clear()
{
    Entries.Clear();
    syncCount();
}
