#include "sor/sor-block-map.h"

#include <cstring>

#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

// An entry takes at least its name's NUL, a revision and a size.
constexpr unsigned long minEntryBytes = 1 + 2 + 4;

} // namespace

// ---- TSorBlockMapBlockInfo ----

TSorBlockMapBlockInfo::TSorBlockMapBlockInfo() : ID(" ") {}

TSorBlockMapBlockInfo::TSorBlockMapBlockInfo(const char* id, std::uint16_t revision, std::int32_t size)
    : ID(id), Size(size)
{
    RevisionNo = revision;
}

void TSorBlockMapBlockInfo::Assign(const TSorBlockMapBlockInfo& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    ID = other.ID;
    Size = other.Size;
}

void TSorBlockMapBlockInfo::Read(TSorFile* file)
{
    file->Read(ID);
    file->Read(RevisionNo);
    file->Read(Size);
}

void TSorBlockMapBlockInfo::Write(TSorFile* file)
{
    file->Write(ID);
    file->Write(RevisionNo);
    file->Write(Size);
}

void TSorBlockMapBlockInfo::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Text("ID", ID);
    visitor.Int("RevisionNo", RevisionNo);
    visitor.Int("Size", Size);
}

void TSorBlockMapBlockInfo::Damp(FILE* out) const
{
    std::fprintf(out, "ID='%s'\t RevisionNo = %05hu Size = %ld\n", ID.data, RevisionNo, static_cast<long>(Size));
}

// ---- TSorBlockMap ----

TSorBlockMap::TSorBlockMap()
{
    BID = "Map";
    RevisionNo = 200;
}

TSorBlockMap::TSorBlockMap(int n) : NB(static_cast<std::int16_t>(n + 1)), Entries(n) {}

std::int32_t TSorBlockMap::GetBlockSize()
{
    std::int32_t size = 8;
    for (int i = 0; i < Entries.count; ++i)
        if (const TSorBlockMapBlockInfo* entry = Entries.data[i])
            size += static_cast<std::int32_t>(std::strlen(entry->ID.data)) + 1 + 6;
    if (RevisionNo >= 200)
        size += static_cast<std::int32_t>(std::strlen(BID.data)) + 1;
    return size;
}

void TSorBlockMap::Assign(const TSorBlockMap& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Size = other.Size;
    NB = other.NB;
    Entries.Clear();
    Entries.SetSize(other.Entries.count);
    for (int i = 0; i < other.Entries.count; ++i) {
        auto* entry = new TSorBlockMapBlockInfo();
        if (other.Entries.data[i] != nullptr)
            entry->Assign(*other.Entries.data[i]);
        Entries.SetData(entry, i);
    }
}

void TSorBlockMap::AddEntry(TSorBlockMapBlockInfo* entry)
{
    Entries.AddData(entry);
    NB = static_cast<std::int16_t>(Entries.count + 1);
}

void TSorBlockMap::Read(TSorFile* file)
{
    const unsigned long start = file->Tell();
    file->Seek(start);
    file->Read(BID);
    int skipped = 0;
    if (!(BID == "Map")) {
        if (SuspectJdsuCorrupted(file, start))
            skipped = ReadUntilJdsuCorruptedMap(file, start);
        else
            file->Seek(start);  // a first-edition file: no name in front
    }
    file->Read(RevisionNo);
    if (RevisionNo / 100 > GetBlockLastKnownRevisionNo() / 100) {
        file->Status = fsReadError;
        return;
    }
    file->Read(Size);
    file->Read(NB);
    // Positions computed from Size must stay right after a repair.
    Size = static_cast<std::int32_t>(static_cast<std::uint32_t>(Size) + static_cast<std::uint32_t>(skipped));
    Entries.Clear();
    if (NB < 0)
        throw TSorException(TSorException::BadData);
    const int wanted = NB > 0 ? NB - 1 : 0;
    // A count that the rest of the file cannot hold ends like a short read.
    if (!HasRoom(file, static_cast<unsigned long>(wanted), minEntryBytes)) {
        NB = 1;
        return;
    }
    Entries.SetSize(wanted);
    int filled = 0;
    for (; filled < wanted; ++filled) {
        auto* entry = new TSorBlockMapBlockInfo();
        entry->Read(file);
        if (file->Status != fsOk && file->Status != fsEndOfFile) {
            delete entry;
            break;
        }
        Entries.SetData(entry, filled);
        // The entry that ran into the end is kept; the ones behind it could
        // only be empty, so the Map ends here.
        if (file->Status == fsEndOfFile) {
            ++filled;
            break;
        }
    }
    if (filled < wanted) {
        Entries.SetSize(filled);
        NB = static_cast<std::int16_t>(filled + 1);
    }
}

void TSorBlockMap::Write(TSorFile* file)
{
    if (RevisionNo >= 200)
        file->Write(BID);
    file->Write(RevisionNo);
    file->Write(Size);
    file->Write(NB);
    for (int i = 0; i < Entries.count; ++i)
        if (TSorBlockMapBlockInfo* entry = Entries.data[i])
            entry->Write(file);
}

void TSorBlockMap::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "RevisionNo = %hu\t Size = %ld\n", RevisionNo, static_cast<long>(Size));
    std::fprintf(out, "NB = %hd\n", NB);
    for (int i = 0; i < Entries.count; ++i)
        if (const TSorBlockMapBlockInfo* entry = Entries.data[i])
            entry->Damp(out);
}

void TSorBlockMap::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("RevisionNo", RevisionNo);
    visitor.Int("Size", Size);
    visitor.Int("NB", NB);
    visitor.BeginList("entries");
    for (int i = 0; i < Entries.count; ++i)
        if (const TSorBlockMapBlockInfo* entry = Entries.data[i]) {
            visitor.BeginRecord(nullptr);
            entry->Fields(visitor);
            visitor.EndRecord();
        }
    visitor.EndList();
}

bool TSorBlockMap::SuspectJdsuCorrupted(TSorFile* file, unsigned long start)
{
    file->Seek(start);
    unsigned char head[6] = {0, 0, 0, 0, 0, 0};
    file->Read(reinterpret_cast<char*>(head), sizeof head);
    return head[2] == 0x01 && head[3] == 0x00 && head[4] == 0x02 && head[5] == 0x00;
}

int TSorBlockMap::ReadUntilJdsuCorruptedMap(TSorFile* file, unsigned long start)
{
    for (unsigned long k = 0;; ++k) {
        file->Seek(start + k);
        if (file->Status != fsOk)
            break;
        file->Read(BID);
        if (file->Status != fsOk)
            break;
        if (BID == "Map")
            return static_cast<int>(k);
    }
    file->Seek(start);
    BID = "Map";
    return 0;
}
