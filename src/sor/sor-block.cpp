#include "sor/sor-block.h"

#include "sor/sor-file.h"
#include "util/program-log.h"

const char* GetBlockID(TBlockType type)
{
    switch (type) {
    case btMap:
        return "Map";
    case btGeneralParameters:
        return "GenParams";
    case btFixedParameters:
        return "FxdParams";
    case btSupplierParameters:
        return "SupParams";
    case btKeyEvents:
        return "KeyEvents";
    case btLinkParameters:
        return "LnkParams";
    case btDataPoints:
        return "DataPts";
    case btSpecial:
        return "Special Proprietary";
    case btCRC:
        return "Cksum";
    case btAUXEvents:
        return "AUXEvents";
    case btAUXParameters:
        return "AUXParams";
    case btRFTSParameters:
        return "RFTSParams";
    default:
        return "?";
    }
}

TSorBlock::TSorBlock() = default;

TSorBlock::~TSorBlock() = default;

bool TSorBlock::IsEmpty() const
{
    return true;
}

std::int32_t TSorBlock::GetBlockSize()
{
    TSorFile counter(nullptr, "vw");
    Write(&counter);
    return static_cast<std::int32_t>(counter.Tell());
}

TBlockType TSorBlock::GetBlockType() const
{
    return btSorBlock;
}

std::uint16_t TSorBlock::GetBlockLastKnownRevisionNo() const
{
    return 0;
}

void TSorBlock::Assign(const TSorBlock&) {}

void TSorBlock::ReadRN(TSorFile* file, std::uint16_t revision)
{
    RevisionNo = revision;
    Read(file);
}

void TSorBlock::WriteRN(TSorFile* file, std::uint16_t revision)
{
    RevisionNo = revision;
    Write(file);
}

// A block of a newer major revision than this code knows is left at its
// defaults (and logged); the walk over the file goes on with the next block,
// since blocks are found by the Map's sizes. Otherwise the block's name is
// tried: when the file has it here (second edition) the read goes on behind
// it, and when it has not (first edition, no names inside blocks) the file
// goes back and the body starts right here. A wrong name is thus no error.
bool TSorBlock::CanRead(TSorFile* file)
{
    if (file == nullptr)
        return false;
    const std::uint16_t known = GetBlockLastKnownRevisionNo();
    if (RevisionNo / 100 > known / 100) {
        if (LogFile.isSet()) {
            TString text;
            text.Format("read error: RevNo=%hu > %hu", RevisionNo, known);
            LogFile->Error('D', GetBlockID(GetBlockType()), text.data);
        }
        return false;
    }
    TSorFileStateBackup backup(file);
    TString name;
    file->Read(name);
    if (name == BID)
        backup.Cancel();
    return true;
}

void TSorBlock::Read(TSorFile*) {}

void TSorBlock::Write(TSorFile*) {}

void TSorBlock::Damp(FILE*) const {}

void TSorBlock::Fields(TSorFieldVisitor&) const {}

void TSorBlock::WriteID(TSorFile* file) const
{
    if (RevisionNo > 199)
        file->Write(BID);
}

void TSorBlock::DampHeader(FILE* out) const
{
    const char* name = BID.length > 0 ? BID.data : GetBlockID(GetBlockType());
    std::fprintf(out, "//===========================================\n");
    std::fprintf(out, "// %s \n", name);
    std::fprintf(out, "//===========================================\n");
}

void TSorBlock::DampSeparator(FILE* out)
{
    std::fprintf(out, "//-------------------------------------------\n");
}

bool TSorBlock::HasRoom(TSorFile* file, unsigned long count, unsigned long bytesEach)
{
    if (count == 0 || bytesEach == 0)
        return true;
    if (count <= file->BytesLeft() / bytesEach)
        return true;
    file->Status = fsEndOfFile;
    return false;
}
