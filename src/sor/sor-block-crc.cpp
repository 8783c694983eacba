#include "sor/sor-block-crc.h"

#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

TSorBlockCRC::TSorBlockCRC()
{
    RevisionNo = 209;
    BID = "Cksum";
}

void TSorBlockCRC::Assign(const TSorBlockCRC& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    CRC = other.CRC;
}

void TSorBlockCRC::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    file->Read(CRC);
}

void TSorBlockCRC::Write(TSorFile* file)
{
    WriteID(file);
    CRC = static_cast<std::uint16_t>(file->CRC & 0xFFFF);
    file->Write(CRC);
}

void TSorBlockCRC::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "BID = '%s'\n", BID.data);
    std::fprintf(out, "CRC = %hu = 0x%hX\n", CRC, CRC);
}

void TSorBlockCRC::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("CRC", CRC);
}
