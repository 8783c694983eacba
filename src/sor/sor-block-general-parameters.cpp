#include "sor/sor-block-general-parameters.h"

#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

constexpr unsigned int codeWidth = 2;  // LC and CDF

} // namespace

TSorBlockGeneralParameters::TSorBlockGeneralParameters()
    : LC("EN"), CID(" "), FID(" "), OL(" "), TL(" "), CCD(" "), CDF("BC"), OP(" "), CMT(" ")
{
    RevisionNo = 209;
    BID = "GenParams";
}

void TSorBlockGeneralParameters::Assign(const TSorBlockGeneralParameters& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    LC = other.LC;
    CID = other.CID;
    FID = other.FID;
    FT = other.FT;
    NW = other.NW;
    OL = other.OL;
    TL = other.TL;
    CCD = other.CCD;
    CDF = other.CDF;
    UO = other.UO;
    UOD = other.UOD;
    OP = other.OP;
    CMT = other.CMT;
}

void TSorBlockGeneralParameters::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    const bool secondEdition = RevisionNo > 199;
    file->Read(LC, codeWidth);
    file->Read(CID);
    file->Read(FID);
    if (secondEdition)
        file->Read(FT);
    file->Read(NW);
    file->Read(OL);
    file->Read(TL);
    file->Read(CCD);
    file->Read(CDF, codeWidth);
    file->Read(UO);
    if (secondEdition)
        file->Read(UOD);
    file->Read(OP);
    file->Read(CMT);
}

void TSorBlockGeneralParameters::Write(TSorFile* file)
{
    WriteID(file);
    const bool secondEdition = RevisionNo > 199;
    file->Write(LC, codeWidth);
    file->Write(CID);
    file->Write(FID);
    if (secondEdition)
        file->Write(FT);
    file->Write(NW);
    file->Write(OL);
    file->Write(TL);
    file->Write(CCD);
    file->Write(CDF, codeWidth);
    file->Write(UO);
    if (secondEdition)
        file->Write(UOD);
    file->Write(OP);
    file->Write(CMT);
}

void TSorBlockGeneralParameters::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "LC  = '%s'\n", LC.data);
    std::fprintf(out, "CID = '%s'\n", CID.data);
    std::fprintf(out, "FID = '%s'\n", FID.data);
    std::fprintf(out, "FT  = %hd\n", FT);
    std::fprintf(out, "NW  = %hd\n", NW);
    std::fprintf(out, "OL  = '%s'\n", OL.data);
    std::fprintf(out, "TL  = '%s'\n", TL.data);
    std::fprintf(out, "CCD = '%s'\n", CCD.data);
    std::fprintf(out, "CDF = '%s'\n", CDF.data);
    std::fprintf(out, "UO  = %ld\n", static_cast<long>(UO));
    std::fprintf(out, "UOD = %ld\n", static_cast<long>(UOD));
    std::fprintf(out, "OP  = '%s'\n", OP.data);
    std::fprintf(out, "CMT = '%s'\n", CMT.data);
}

void TSorBlockGeneralParameters::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Text("LC", LC);
    visitor.Text("CID", CID);
    visitor.Text("FID", FID);
    visitor.Int("FT", FT);
    visitor.Int("NW", NW);
    visitor.Text("OL", OL);
    visitor.Text("TL", TL);
    visitor.Text("CCD", CCD);
    visitor.Text("CDF", CDF);
    visitor.Int("UO", UO);
    visitor.Int("UOD", UOD);
    visitor.Text("OP", OP);
    visitor.Text("CMT", CMT);
}
