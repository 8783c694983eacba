#include "sor/sor-block-special.h"

#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

TSorBlockSpecial::TSorBlockSpecial() = default;

TSorBlockSpecial::TSorBlockSpecial(std::int32_t size) : Size(size > 0 ? size : 0) {}

void TSorBlockSpecial::Assign(const TSorBlockSpecial& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Size = other.Size;
    Data = other.Data;
    ID = other.ID;
}

void TSorBlockSpecial::Read(TSorFile* file)
{
    if (Size <= 0) {
        Size = 0;
        Data.clear();
        return;
    }
    // Allocate no more than the file can still deliver.
    const unsigned long left = file->BytesLeft();
    const unsigned long wanted = static_cast<unsigned long>(Size);
    Data.assign(wanted < left ? wanted : left, '\0');
    file->Read(Data.data(), Data.size());
    if (Data.size() < wanted) {
        file->Status = fsEndOfFile;
        Size = static_cast<std::int32_t>(Data.size());
    }
}

void TSorBlockSpecial::Write(TSorFile* file)
{
    file->WriteBuf(Data.data(), Data.size());
}

void TSorBlockSpecial::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "Size = %d\n", Size);
}

void TSorBlockSpecial::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Text("ID", ID);
    visitor.Int("RevisionNo", RevisionNo);
    visitor.Int("Size", Size);
}
