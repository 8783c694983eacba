// TSorBlockGeneralParameters: the "GenParams" block, what was measured and where.
#pragma once

#include <cstdint>

#include "sor/sor-block.h"
#include "sor/sor-export.h"

// In the file: the name (second edition), then the fields below in their
// order. FT and UOD exist from revision 200 on; a first-edition record goes
// without them and they keep their values in memory.
class FIBERTEST_SOR_EXPORT TSorBlockGeneralParameters : public TSorBlock
{
public:
    TString LC;               // language code, fixed text of 2
    TString CID;              // cable ID
    TString FID;              // fiber ID
    std::int16_t FT = 652;    // fiber type (ITU-T recommendation number); second edition only
    std::int16_t NW = 1310;   // nominal wavelength, nm
    TString OL;               // originating location
    TString TL;               // terminating location
    TString CCD;              // cable code
    TString CDF;              // current data flag, fixed text of 2: "BC", "RC" or "OT"
    std::int32_t UO = 0;      // user offset, one-way time in 100 ps; a negative one is repaired on load
    std::int32_t UOD = 0;     // user offset distance; second edition only
    TString OP;               // operator
    TString CMT;              // comment

    TSorBlockGeneralParameters();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btGeneralParameters; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockGeneralParameters& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};
