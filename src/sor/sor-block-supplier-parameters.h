// TSorBlockSupplierParameters: the "SupParams" block, who made the instrument
// and its software.
#pragma once

#include <cstdint>

#include "sor/sor-block.h"
#include "sor/sor-export.h"

// In the file: the name (second edition), then seven NUL-terminated texts in
// the order below; the same in both editions.
class FIBERTEST_SOR_EXPORT TSorBlockSupplierParameters : public TSorBlock
{
public:
    TString SN;    // supplier name
    TString MFID;  // mainframe ID
    TString OTDR;  // instrument ID
    TString OMID;  // optical module ID
    TString OMSN;  // optical module serial number
    TString SR;    // software revision
    TString OT;    // other; a part in square brackets takes part in the document's trust check

    TSorBlockSupplierParameters();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btSupplierParameters; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockSupplierParameters& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};
