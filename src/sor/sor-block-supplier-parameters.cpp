#include "sor/sor-block-supplier-parameters.h"

#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

TSorBlockSupplierParameters::TSorBlockSupplierParameters()
    : SN(" "), MFID(" "), OTDR(" "), OMID(" "), OMSN(" "), SR(" "), OT(" ")
{
    RevisionNo = 209;
    BID = "SupParams";
}

void TSorBlockSupplierParameters::Assign(const TSorBlockSupplierParameters& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    SN = other.SN;
    MFID = other.MFID;
    OTDR = other.OTDR;
    OMID = other.OMID;
    OMSN = other.OMSN;
    SR = other.SR;
    OT = other.OT;
}

void TSorBlockSupplierParameters::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    file->Read(SN);
    file->Read(MFID);
    file->Read(OTDR);
    file->Read(OMID);
    file->Read(OMSN);
    file->Read(SR);
    file->Read(OT);
}

void TSorBlockSupplierParameters::Write(TSorFile* file)
{
    WriteID(file);
    file->Write(SN);
    file->Write(MFID);
    file->Write(OTDR);
    file->Write(OMID);
    file->Write(OMSN);
    file->Write(SR);
    file->Write(OT);
}

void TSorBlockSupplierParameters::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "SN   = '%s'\n", SN.data);
    std::fprintf(out, "MFID = '%s'\n", MFID.data);
    std::fprintf(out, "OTDR = '%s'\n", OTDR.data);
    std::fprintf(out, "OMID = '%s'\n", OMID.data);
    std::fprintf(out, "OMSN = '%s'\n", OMSN.data);
    std::fprintf(out, "SR   = '%s'\n", SR.data);
    std::fprintf(out, "OT   = '%s'\n", OT.data);
}

void TSorBlockSupplierParameters::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Text("SN", SN);
    visitor.Text("MFID", MFID);
    visitor.Text("OTDR", OTDR);
    visitor.Text("OMID", OMID);
    visitor.Text("OMSN", OMSN);
    visitor.Text("SR", SR);
    visitor.Text("OT", OT);
}
